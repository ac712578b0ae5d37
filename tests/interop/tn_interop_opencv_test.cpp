#include "tn_interop_opencv.h"

#include <gtest/gtest.h>

#include <opencv2/imgproc.hpp>
#include <string>
#include <vector>

#include "tests/support/test_support.h"
#include "tn_yuvconverter.h"

namespace {

using Tarn::interop::asImage;
using Tarn::interop::asMat;
using Tarn::interop::asTensor;
using Tarn::interop::packMat;
using tn_test::FaultOf;

TEST(InteropOpenCv, RecordsAndMatricesShareTheirPixelsBothWays) {
  const int blob[] = {3, 4, 6}, batch[] = {1, 3, 4, 6};
  const struct {
    cv::Mat mat;
    std::vector<int> formats;
  } cases[] = {
      {cv::Mat(4, 6, CV_8UC3), {TN_PIX_FMT_BGR, TN_PIX_FMT_RGB}},
      {cv::Mat(4, 6, CV_8UC4), {TN_PIX_FMT_BGRA, TN_PIX_FMT_RGBA}},
      {cv::Mat(6, 6, CV_8UC1),
       {TN_PIX_FMT_NV12, TN_PIX_FMT_NV21, TN_PIX_FMT_YUVI420, TN_PIX_FMT_YUV420V}},
      {cv::Mat(3, blob, CV_32FC1), {TN_PIX_FMT_CHW_F32}},
      {cv::Mat(4, batch, CV_32FC1), {TN_PIX_FMT_CHW_F32}},
  };
  for (const auto& c : cases)
    for (const int format : c.formats) {
      SCOPED_TRACE(testing::Message() << "format " << format << ", " << c.mat.dims << " dimensions");
      const _TN_Image image = asImage(c.mat, format);
      EXPECT_EQ(image.data, c.mat.data);
      EXPECT_EQ(image.pix_fmt, format);
      EXPECT_EQ(image.width, 6);
      EXPECT_EQ(image.height, 4);
      const cv::Mat back = asMat(image);
      EXPECT_EQ(back.data, c.mat.data);
      EXPECT_EQ(back.type(), c.mat.type());
      EXPECT_EQ(back.total() * back.elemSize(), c.mat.total() * c.mat.elemSize());
      if (c.mat.dims < 4) {
        EXPECT_EQ(back.size, c.mat.size);
      }
    }
}

// The two libraries agree on where things are: the same frame through both.
TEST(InteropOpenCv, AFrameGoesThroughTheToolkitIntoAMatrix) {
  cv::Mat frame(6, 4, CV_8UC1);
  cv::randu(frame, 0, 256);
  const int sizes[] = {3, 4, 4};
  cv::Mat planes(3, sizes, CV_32FC1);
  const Tarn::_ConvertMatrixFromYUV luma_thrice(1, 0, 0, 1, 0, 0, 1, 0, 0, 0, 0, 0);
  Tarn::TarnYUVToolKit::Convert(asImage(frame, TN_PIX_FMT_NV12), asImage(planes, TN_PIX_FMT_CHW_F32),
                                luma_thrice);
  for (int channel = 0; channel < 3; ++channel)
    for (int y = 0; y < 4; ++y)
      for (int x = 0; x < 4; ++x)
        EXPECT_EQ(planes.at<float>(channel, y, x), static_cast<float>(frame.at<unsigned char>(y, x)));
}

TEST(InteropOpenCv, TensorsKeepTheirElementsInPlace) {
  using TarnCPU::TensorShape;
  const int c = 3, h = 4, w = 5;
  for (const TensorShape::Layout layout : {TensorShape::CHW, TensorShape::HWC}) {
    TarnCPU::Mat tensor(w, h, c, layout);
    float* const data = static_cast<float*>(tensor.data);
    for (int i = 0; i < c * h * w; ++i) data[i] = static_cast<float>(i);
    const cv::Mat mat = asMat(tensor);
    for (int q = 0; q < c; ++q)
      for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
          if (layout == TensorShape::CHW)
            ASSERT_EQ(mat.at<float>(q, y, x), static_cast<float>((q * h + y) * w + x));
          else
            ASSERT_EQ(mat.at<cv::Vec3f>(y, x)[q], static_cast<float>((y * w + x) * c + q));
        }
    const TarnCPU::Mat back = asTensor(mat);
    EXPECT_EQ(back.data, tensor.data);
    EXPECT_EQ(back.refcount, nullptr);
    EXPECT_EQ(back.layout, layout);
    EXPECT_EQ(std::vector<int>({back.c, back.h, back.w}), std::vector<int>({c, h, w}));
  }
  const TarnCPU::Mat gray = asTensor(cv::Mat(h, w, CV_32FC1));
  EXPECT_EQ(gray.layout, TensorShape::CHW);
  EXPECT_EQ(std::vector<int>({gray.c, gray.h, gray.w}), std::vector<int>({1, h, w}));
  const int batch[] = {1, c, h, w};
  const TarnCPU::Mat first = asTensor(cv::Mat(4, batch, CV_32FC1));
  EXPECT_EQ(std::vector<int>({first.c, first.h, first.w}), std::vector<int>({c, h, w}));
}

TEST(InteropOpenCv, PartsOfMatricesArePackedByACopyAndWholeOnesAreNot) {
  cv::Mat whole(8, 8, CV_8UC3);
  cv::randu(whole, 0, 256);
  EXPECT_EQ(packMat(whole).data, whole.data);
  const cv::Mat part = whole(cv::Rect(1, 2, 4, 5));
  EXPECT_NE(FaultOf([&] { asImage(part, TN_PIX_FMT_BGR); }).find("packMat"), std::string::npos);
  const cv::Mat packed = packMat(part);
  EXPECT_EQ(asImage(packed, TN_PIX_FMT_BGR).width, 4);
  EXPECT_EQ(cv::norm(packed, part, cv::NORM_INF), 0);
}

TEST(InteropOpenCv, WhatDoesNotFitIsRefused) {
  const int four[] = {4, 4, 6}, two_frames[] = {2, 3, 4, 6}, five[] = {1, 1, 3, 4, 6};
  const cv::Mat bgr(4, 6, CV_8UC3);
  const std::string no_such_format = FaultOf([&] { asImage(bgr, 2); });
  EXPECT_NE(no_such_format.find("code 2"), std::string::npos) << no_such_format;
  const struct {
    cv::Mat mat;
    int format;
  } images[] = {
      {cv::Mat(), TN_PIX_FMT_BGR},
      {bgr, TN_PIX_FMT_BGRA},
      {cv::Mat(4, 6, CV_16UC3), TN_PIX_FMT_BGR},
      {cv::Mat(5, 6, CV_8UC1), TN_PIX_FMT_NV12},
      {cv::Mat(6, 5, CV_8UC1), TN_PIX_FMT_NV12},
      {cv::Mat(3, four, CV_8UC1), TN_PIX_FMT_YUVI420},
      {cv::Mat(12, 6, CV_32FC1), TN_PIX_FMT_CHW_F32},
      {cv::Mat(3, four, CV_32FC1), TN_PIX_FMT_CHW_F32},
      {cv::Mat(4, two_frames, CV_32FC1), TN_PIX_FMT_CHW_F32},
      {cv::Mat(5, five, CV_32FC1), TN_PIX_FMT_CHW_F32},
  };
  for (const auto& c : images)
    EXPECT_NE(FaultOf([&] { asImage(c.mat, c.format); }), "")
        << "format " << c.format << ", " << c.mat.size;

  unsigned char pixels[64];
  const _TN_Image records[] = {
      {0, TN_PIX_FMT_BGR, 0, 4, 0, pixels},
      {0, TN_PIX_FMT_BGR, 4, 4, 0, nullptr},
      {0, TN_PIX_FMT_NV12, 5, 4, 0, pixels},
      {0, TN_PIX_FMT_YUVI420, 4, 5, 0, pixels},
      {0, 6, 4, 4, 0, pixels},
  };
  for (const _TN_Image& image : records)
    EXPECT_NE(FaultOf([&] { asMat(image); }), "") << image.pix_fmt << ", " << image.width;

  const cv::Mat floats(8, 8, CV_32FC2);
  const cv::Mat no_tensors[] = {cv::Mat(),
                                bgr,
                                floats(cv::Rect(0, 0, 4, 8)),
                                cv::Mat(3, four, CV_32FC2),
                                cv::Mat(4, two_frames, CV_32FC1),
                                cv::Mat(5, five, CV_32FC1)};
  for (const cv::Mat& mat : no_tensors) EXPECT_NE(FaultOf([&] { asTensor(mat); }), "") << mat.size;

  TarnCPU::Mat tensor(2, 2, CV_CN_MAX + 1, TarnCPU::TensorShape::HWC);
  EXPECT_NE(FaultOf([&] { asMat(tensor); }), "");
  tensor.layout = TarnCPU::TensorShape::CHW;
  EXPECT_EQ(FaultOf([&] { asMat(tensor); }), "");
  tensor.elem_size = 2;
  EXPECT_NE(FaultOf([&] { asMat(tensor); }), "");
  EXPECT_NE(FaultOf([&] { asMat(TarnCPU::Mat()); }), "");
}

}  // namespace
