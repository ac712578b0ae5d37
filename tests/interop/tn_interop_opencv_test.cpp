// OpenCV's matrices as records and tensors, and back: the same memory, or a refusal.
#include "tn_interop_opencv.h"

#include <gtest/gtest.h>

#include <opencv2/imgproc.hpp>
#include <string>
#include <vector>

#include "tests/support/test_support.h"

namespace {

using Tarn::interop::asImage;
using Tarn::interop::asMat;
using Tarn::interop::asTensor;
using Tarn::interop::packMat;
using TarnCPU::TensorShape;
using tn_test::FaultOf;

cv::Mat matOf(const std::vector<int>& sizes, int type) { return cv::Mat(sizes, type); }

TEST(InteropOpenCv, RecordsAndMatricesShareTheirPixelsBothWays) {
  const struct {
    cv::Mat mat;
    std::vector<int> formats;
  } cases[] = {
      {matOf({4, 6}, CV_8UC3), {TN_PIX_FMT_BGR, TN_PIX_FMT_RGB}},
      {matOf({4, 6}, CV_8UC4), {TN_PIX_FMT_BGRA, TN_PIX_FMT_RGBA}},
      {matOf({6, 6}, CV_8UC1),
       {TN_PIX_FMT_NV12, TN_PIX_FMT_NV21, TN_PIX_FMT_YUVI420, TN_PIX_FMT_YUV420V}},
      {matOf({3, 4, 6}, CV_32FC1), {TN_PIX_FMT_CHW_F32}},
      {matOf({1, 3, 4, 6}, CV_32FC1), {TN_PIX_FMT_CHW_F32}},
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
      EXPECT_EQ(back.total(), c.mat.total());
      EXPECT_TRUE(c.mat.dims == 4 || back.size == c.mat.size);
    }
}

TEST(InteropOpenCv, TensorsKeepTheirElementsInPlace) {
  const int c = 3, h = 4, w = 5;
  const auto sizes = [](const TarnCPU::Mat& tensor) {
    return std::vector<int>({tensor.layout, tensor.c, tensor.h, tensor.w});
  };
  for (const TensorShape::Layout layout : {TensorShape::CHW, TensorShape::HWC}) {
    TarnCPU::Mat tensor(w, h, c, layout);
    float* const data = static_cast<float*>(tensor.data);
    for (int i = 0; i < c * h * w; ++i) data[i] = static_cast<float>(i);
    const cv::Mat mat = asMat(tensor);
    const bool chw = layout == TensorShape::CHW;
    for (int q = 0; q < c; ++q)
      for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
          ASSERT_EQ(chw ? mat.at<float>(q, y, x) : mat.at<cv::Vec3f>(y, x)[q],
                    static_cast<float>(chw ? (q * h + y) * w + x : (y * w + x) * c + q));
    const TarnCPU::Mat back = asTensor(mat);
    EXPECT_EQ(back.data, tensor.data);
    EXPECT_EQ(back.refcount, nullptr);
    EXPECT_EQ(sizes(back), (std::vector<int>{layout, c, h, w}));
  }
  EXPECT_EQ(sizes(asTensor(matOf({h, w}, CV_32FC1))), (std::vector<int>{TensorShape::CHW, 1, h, w}));
  EXPECT_EQ(sizes(asTensor(matOf({1, c, h, w}, CV_32FC1))),
            (std::vector<int>{TensorShape::CHW, c, h, w}));
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
  const cv::Mat bgr(4, 6, CV_8UC3), floats(8, 8, CV_32FC2);
  const cv::Mat two_frames = matOf({2, 3, 4, 6}, CV_32FC1), five = matOf({1, 1, 3, 4, 6}, CV_32FC1);
  EXPECT_NE(FaultOf([&] { asImage(bgr, 2); }).find("code 2"), std::string::npos);
  const std::pair<cv::Mat, int> images[] = {
      {cv::Mat(), TN_PIX_FMT_BGR},
      {bgr, TN_PIX_FMT_BGRA},
      {matOf({4, 6}, CV_16UC3), TN_PIX_FMT_BGR},
      {matOf({5, 6}, CV_8UC1), TN_PIX_FMT_NV12},
      {matOf({6, 5}, CV_8UC1), TN_PIX_FMT_NV12},
      {matOf({4, 4, 6}, CV_8UC1), TN_PIX_FMT_YUVI420},
      {matOf({12, 6}, CV_32FC1), TN_PIX_FMT_CHW_F32},
      {matOf({4, 4, 6}, CV_32FC1), TN_PIX_FMT_CHW_F32},
      {two_frames, TN_PIX_FMT_CHW_F32},
      {five, TN_PIX_FMT_CHW_F32},
  };
  for (const auto& [mat, format] : images)
    EXPECT_NE(FaultOf([&m = mat, f = format] { asImage(m, f); }), "") << format << ", " << mat.size;

  unsigned char pixels[64];
  for (const _TN_Image& image : {_TN_Image{0, TN_PIX_FMT_BGR, 0, 4, 0, pixels},
                                 {0, TN_PIX_FMT_BGR, 4, 0, 0, pixels},
                                 {0, TN_PIX_FMT_BGR, 4, 4, 0, nullptr},
                                 {0, TN_PIX_FMT_NV12, 5, 4, 0, pixels},
                                 {0, TN_PIX_FMT_YUVI420, 4, 5, 0, pixels},
                                 {0, 6, 4, 4, 0, pixels}})
    EXPECT_NE(FaultOf([&] { asMat(image); }), "") << image.pix_fmt << ", " << image.width;

  for (const cv::Mat& mat :
       {cv::Mat(), bgr, floats(cv::Rect(0, 0, 4, 8)), matOf({4, 4, 6}, CV_32FC2), two_frames, five})
    EXPECT_NE(FaultOf([&] { asTensor(mat); }), "") << mat.size;

  TarnCPU::Mat tensor(2, 2, CV_CN_MAX + 1, TensorShape::HWC);
  EXPECT_NE(FaultOf([&] { asMat(tensor); }), "");
  EXPECT_EQ(FaultOf([] { asMat(TarnCPU::Mat(2, 2, CV_CN_MAX, TensorShape::HWC)); }), "");
  tensor.layout = TensorShape::CHW;
  EXPECT_EQ(FaultOf([&] { asMat(tensor); }), "");
  tensor.elem_size = 2;
  EXPECT_NE(FaultOf([&] { asMat(tensor); }), "");
  EXPECT_NE(FaultOf([&] { asMat(TarnCPU::Mat()); }), "");
}

}  // namespace
