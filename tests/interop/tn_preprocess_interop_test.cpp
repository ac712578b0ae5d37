// FFmpeg's frames and OpenCV's matrices as views: what they say of the pixels, cropped and turned ones
// by their tensors, and what is refused.
#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <memory>
#include <opencv2/imgproc.hpp>
#include <string>
#include <vector>

#include "tests/support/test_support.h"
#include "tn_preprocess_ffmpeg.h"
#include "tn_preprocess_opencv.h"

namespace {

using tn_test::FaultOf;
using namespace Tarn;

struct FrameDelete {
  void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};
using Frame = std::unique_ptr<AVFrame, FrameDelete>;

// A frame as FFmpeg makes one: padded rows, planes apart; every byte random.
Frame makeFrame(int format, int width, int height) {
  Frame frame(av_frame_alloc());
  frame->format = format;
  frame->width = width;
  frame->height = height;
  EXPECT_EQ(av_frame_get_buffer(frame.get(), 64), 0);
  std::uint32_t seed = 1;
  for (int i = 0; i < AV_NUM_DATA_POINTERS && frame->buf[i] != nullptr; ++i) {
    const tn_test::Guarded bytes = tn_test::RandomBytes(frame->buf[i]->size, seed++);
    std::memcpy(frame->buf[i]->data, bytes.data(), bytes.size());
  }
  return frame;
}

void setMatrix(AVFrame& frame, int a, int b, int c, int d) {
  const std::int32_t matrix[9] = {a, b, 0, c, d, 0, 77, -5, 1 << 30};
  AVFrameSideData* const data =
      av_frame_new_side_data(&frame, AV_FRAME_DATA_DISPLAYMATRIX, sizeof(matrix));
  ASSERT_NE(data, nullptr);
  std::memcpy(data->data, matrix, sizeof(matrix));
}

std::vector<float> tensorOf(const FrameView& view, Region region = {}) {
  TensorSpec spec;
  spec.width = 24;
  spec.height = 20;
  std::vector<float> tensor(spec.bytes() / sizeof(float));
  Preprocessor(spec).run(view, tensor.data(), spec.bytes(), region);
  return tensor;
}

constexpr struct {
  int frame;
  FrameFormat format;
  int planes;
} kFormats[] = {
    {AV_PIX_FMT_YUV420P, FrameFormat::kI420, 3},     {AV_PIX_FMT_YUVJ420P, FrameFormat::kI420, 3},
    {AV_PIX_FMT_NV12, FrameFormat::kNv12, 2},        {AV_PIX_FMT_NV21, FrameFormat::kNv21, 2},
    {AV_PIX_FMT_YUV422P, FrameFormat::kI422, 3},     {AV_PIX_FMT_YUVJ422P, FrameFormat::kI422, 3},
    {AV_PIX_FMT_YUV444P, FrameFormat::kI444, 3},     {AV_PIX_FMT_YUVJ444P, FrameFormat::kI444, 3},
    {AV_PIX_FMT_YUV420P10LE, FrameFormat::kI010, 3}, {AV_PIX_FMT_P010LE, FrameFormat::kP010, 2},
    {AV_PIX_FMT_YUYV422, FrameFormat::kYuyv, 1},     {AV_PIX_FMT_UYVY422, FrameFormat::kUyvy, 1},
    {AV_PIX_FMT_RGB24, FrameFormat::kRgb, 1},        {AV_PIX_FMT_BGR24, FrameFormat::kBgr, 1},
    {AV_PIX_FMT_RGBA, FrameFormat::kRgba, 1},        {AV_PIX_FMT_RGB0, FrameFormat::kRgba, 1},
    {AV_PIX_FMT_BGRA, FrameFormat::kBgra, 1},        {AV_PIX_FMT_BGR0, FrameFormat::kBgra, 1},
    {AV_PIX_FMT_GRAY8, FrameFormat::kGray, 1},
};

// Cropped on each side by 5, 3, 4 and 2: the view with its region shows what a region of the whole does.
// A frame whose rows lie bottom up has all its bytes inside its buffers, too.
TEST(PreprocessFfmpeg, EachFormatIsCroppedWithoutACopy) {
  for (const auto& f : kFormats)
    for (const bool bottom_up : {false, true}) {
      SCOPED_TRACE(testing::Message() << av_get_pix_fmt_name(static_cast<AVPixelFormat>(f.frame))
                                      << (bottom_up ? ", bottom up" : ""));
      const Frame frame = makeFrame(f.frame, 37, 29);
      const bool is_halved = f.format != FrameFormat::kI422 && f.format != FrameFormat::kI444;
      const auto last_row = [&](int plane) { return plane > 0 && is_halved ? 14 : 28; };
      for (int i = 0; bottom_up && i < f.planes; ++i) {
        frame->data[i] += last_row(i) * frame->linesize[i];
        frame->linesize[i] *= -1;
      }
      const FrameView whole = frameView(*frame);
      EXPECT_EQ(whole.format, f.format);
      EXPECT_EQ(whole.width, 37);
      EXPECT_EQ(whole.height, 29);
      for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(whole.planes[i] != nullptr, i < f.planes);
        if (i >= f.planes) continue;
        const AVBufferRef* const buffer = frame->buf[i] != nullptr ? frame->buf[i] : frame->buf[0];
        const auto* lowest = static_cast<const unsigned char*>(whole.planes[i]);
        if (bottom_up) lowest += last_row(i) * whole.strides[i];
        EXPECT_EQ(lowest + whole.bytes[i], buffer->data + buffer->size) << "plane " << i;
      }
      frame->crop_left = 5;
      frame->crop_right = 4;
      frame->crop_top = 3;
      frame->crop_bottom = 2;
      Region region = {1, 2, 3, 4};
      const FrameView cropped = frameView(*frame, &region);
      EXPECT_EQ(tensorOf(cropped, region), tensorOf(whole, {5, 3, 28, 24}));
      // The same turned: what the region names is upright.
      for (const auto& [a, b, c, d] : {std::array{-1, 0, 0, 1},
                                       {-1, 0, 0, -1},
                                       {1, 0, 0, -1},
                                       {0, 1, 1, 0},
                                       {0, 1, -1, 0},
                                       {0, -1, -1, 0},
                                       {0, -1, 1, 0}}) {
        constexpr int kOne = 1 << 16;
        setMatrix(*frame, a * kOne, b * kOne, c * kOne, d * kOne);
        const FrameView turned = frameView(*frame, &region);
        FrameView first = whole;
        first.orientation = turned.orientation;
        const bool x = a + b < 0, y = c + d < 0;
        Region upright = {x ? 4 : 5, y ? 2 : 3, 28, 24};
        if (a == 0) upright = {upright.y, upright.x, 24, 28};
        EXPECT_EQ(tensorOf(turned, region), tensorOf(first, upright)) << turned.orientation;
        av_frame_remove_side_data(frame.get(), AV_FRAME_DATA_DISPLAYMATRIX);
      }
    }
}

TEST(PreprocessFfmpeg, ColoursAreWhatTheFrameSays) {
  constexpr auto kNone = AVCOL_SPC_UNSPECIFIED;
  constexpr auto kAny = AVCHROMA_LOC_UNSPECIFIED;
  constexpr auto kLimited = YuvRange::kLimited, kFull = YuvRange::kFull;
  static constexpr struct {
    int format, rows;
    AVColorSpace space;
    AVColorRange range;
    AVChromaLocation location;
    YuvMatrix matrix;
    YuvRange wanted;
    ChromaSiting siting;
  } kCases[] = {
      {AV_PIX_FMT_NV12, 718, kNone, AVCOL_RANGE_UNSPECIFIED, kAny, YuvMatrix::kBt601, kLimited,
       ChromaSiting::kLeft},
      {AV_PIX_FMT_NV12, 720, kNone, AVCOL_RANGE_MPEG, AVCHROMA_LOC_TOPLEFT, YuvMatrix::kBt709, kLimited,
       ChromaSiting::kTopLeft},
      {AV_PIX_FMT_YUVJ420P, 720, AVCOL_SPC_SMPTE170M, AVCOL_RANGE_UNSPECIFIED, kAny, YuvMatrix::kBt601,
       kFull, ChromaSiting::kCentre},
      {AV_PIX_FMT_YUV420P, 16, AVCOL_SPC_BT709, AVCOL_RANGE_JPEG, AVCHROMA_LOC_LEFT, YuvMatrix::kBt709,
       kFull, ChromaSiting::kLeft},
      {AV_PIX_FMT_P010LE, 16, AVCOL_SPC_BT2020_NCL, AVCOL_RANGE_MPEG, AVCHROMA_LOC_CENTER,
       YuvMatrix::kBt2020, kLimited, ChromaSiting::kCentre},
      {AV_PIX_FMT_YUYV422, 720, AVCOL_SPC_BT470BG, AVCOL_RANGE_MPEG, kAny, YuvMatrix::kBt601, kLimited,
       ChromaSiting::kLeft},
  };
  for (const auto& c : kCases) {
    const Frame frame = makeFrame(c.format, 16, c.rows);
    frame->colorspace = c.space;
    frame->color_range = c.range;
    frame->chroma_location = c.location;
    const FrameView view = frameView(*frame);
    EXPECT_EQ(view.matrix, c.matrix) << &c - kCases;
    EXPECT_EQ(view.range, c.wanted) << &c - kCases;
    EXPECT_EQ(view.siting, c.siting) << &c - kCases;
    EXPECT_EQ(view.orientation, 1);
  }
  // What has no chroma of its own needs none of it.
  const Frame rgb = makeFrame(AV_PIX_FMT_BGR24, 16, 16);
  rgb->colorspace = AVCOL_SPC_RGB;
  rgb->chroma_location = AVCHROMA_LOC_BOTTOM;
  EXPECT_EQ(FaultOf([&] { frameView(*rgb); }), "");
}

TEST(PreprocessFfmpeg, TheBytesOfAFrameWithoutBuffersAreItsRows) {
  std::vector<unsigned char> bytes(48 * 10 + 48 * 5);
  Frame frame(av_frame_alloc());
  frame->format = AV_PIX_FMT_NV12;
  frame->width = 40;
  frame->height = 10;
  frame->data[0] = bytes.data();
  frame->data[1] = bytes.data() + 480;
  frame->linesize[0] = frame->linesize[1] = 48;
  frame->crop_left = 6;
  frame->crop_top = 2;
  const FrameView view = frameView(*frame);
  EXPECT_EQ(view.bytes[0], 480u - 2 * 48 - 6);
  EXPECT_EQ(view.bytes[1], 240u - 48 - 6);
  frame->data[0] += 9 * 48;
  frame->data[1] += 4 * 48;
  frame->linesize[0] = frame->linesize[1] = -48;
  const FrameView bottom_up = frameView(*frame);
  EXPECT_EQ(bottom_up.planes[1], bytes.data() + 480 + 3 * 48 + 6);
  EXPECT_EQ(bottom_up.bytes[0], 480u - 6);
  EXPECT_EQ(bottom_up.bytes[1], 240u - 6);
}

// Rows that a damaged frame has outside its buffer are no bytes of the view, and are refused.
TEST(PreprocessFfmpeg, NoBytesLieOutsideTheBuffer) {
  const Frame frame = makeFrame(AV_PIX_FMT_GRAY8, 16, 16);
  frame->linesize[0] *= -1;
  EXPECT_EQ(FaultOf([&] { tensorOf(frameView(*frame)); }).rfind("bytes[0]: ", 0), 0u);
  frame->linesize[0] = 1 << 20;
  EXPECT_EQ(FaultOf([&] { tensorOf(frameView(*frame)); }).rfind("bytes[0]: ", 0), 0u);
  frame->crop_top = 1;
  EXPECT_EQ(frameView(*frame).bytes[0], 0u);
}

TEST(PreprocessFfmpeg, WhatNoViewShowsIsRefusedByItsField) {
  const struct {
    const char* fault;
    void (*spoil)(AVFrame&);
  } cases[] = {
      {"format: no view shows frames of the format yuv410p",
       [](AVFrame& f) { f.format = AV_PIX_FMT_YUV410P; }},
      {"format: ", [](AVFrame& f) { f.format = 100000; }},
      {"width: ", [](AVFrame& f) { f.width = 0; }},
      {"height: ", [](AVFrame& f) { f.height = -1; }},
      {"data: plane 1 ", [](AVFrame& f) { f.data[1] = nullptr; }},
      {"colorspace: 8 ", [](AVFrame& f) { f.colorspace = AVCOL_SPC_YCGCO; }},
      {"chroma_location: 6 ", [](AVFrame& f) { f.chroma_location = AVCHROMA_LOC_BOTTOM; }},
      {"crop_left: begins in the midst", [](AVFrame& f) { f.crop_left = 3; }},
      {"crop_top: begins in the midst", [](AVFrame& f) { f.crop_top = 1; }},
      {"crop_left: with crop_right", [](AVFrame& f) { f.crop_left = f.crop_right = 8; }},
      {"crop_top: with crop_bottom", [](AVFrame& f) { f.crop_bottom = SIZE_MAX, f.crop_top = 2; }},
      {"side_data: ", [](AVFrame& f) { setMatrix(f, 46341, 46341, -46341, 46341); }},
      {"side_data: ", [](AVFrame& f) { setMatrix(f, 65536, 0, 0, 32768); }},
      {"side_data: ", [](AVFrame& f) { setMatrix(f, 0, 0, 0, 0); }},
      {"side_data: ", [](AVFrame& f) { setMatrix(f, 0, 65536, 1, 0); }},
  };
  for (const auto& c : cases) {
    const Frame frame = makeFrame(AV_PIX_FMT_NV12, 16, 16);
    EXPECT_EQ(FaultOf([&] { frameView(*frame); }), "");
    c.spoil(*frame);
    EXPECT_EQ(FaultOf([&] { frameView(*frame); }).rfind(c.fault, 0), 0u) << c.fault;
  }
}

// The tensor of each format is that of the picture which cv::cvtColor makes of it.
TEST(PreprocessOpenCv, MatricesOfAnyStepShowTheirPixels) {
  cv::Mat around(60, 80, CV_8UC1), wide(40, 80, CV_8UC2), colours(40, 50, CV_8UC4);
  for (cv::Mat& mat : {std::ref(around), std::ref(wide), std::ref(colours)}) cv::randu(mat, 0, 256);
  const cv::Mat yuv = around.colRange(0, 64), packed = yuv.clone();
  cv::Mat rgb;
  cv::cvtColor(colours, rgb, cv::COLOR_RGBA2RGB);
  const cv::Rect part(3, 5, 30, 20), pairs(4, 3, 50, 30);
  const struct {
    cv::Mat mat;
    FrameFormat format;
    int to_rgb;  // -1: as it is
  } cases[] = {
      {yuv, FrameFormat::kNv12, cv::COLOR_YUV2RGB_NV12},
      {yuv, FrameFormat::kNv21, cv::COLOR_YUV2RGB_NV21},
      {packed, FrameFormat::kI420, cv::COLOR_YUV2RGB_I420},
      {packed, FrameFormat::kYv12, cv::COLOR_YUV2RGB_YV12},
      {wide(pairs), FrameFormat::kYuyv, cv::COLOR_YUV2RGB_YUYV},
      {wide(pairs), FrameFormat::kUyvy, cv::COLOR_YUV2RGB_UYVY},
      {rgb(part), FrameFormat::kRgb, -1},
      {rgb(part), FrameFormat::kBgr, cv::COLOR_BGR2RGB},
      {colours(part), FrameFormat::kRgba, cv::COLOR_RGBA2RGB},
      {colours(part), FrameFormat::kBgra, cv::COLOR_BGRA2RGB},
      {around(part), FrameFormat::kGray, cv::COLOR_GRAY2RGB},
      {rgb.row(39), FrameFormat::kRgb, -1},
  };
  TensorSpec spec;
  spec.type = ElementType::kUint8;
  spec.layout = TensorLayout::kNhwc;
  spec.fit = Fit::kStretch;
  spec.resampling = Resampling::kOpencvLinear;
  for (const auto& c : cases) {
    cv::Mat wanted = c.mat.clone();
    if (c.to_rgb >= 0) cv::cvtColor(c.mat, wanted, c.to_rgb);
    const FrameView view = frameView(c.mat, c.format);
    ASSERT_EQ(cv::Size(view.width, view.height), wanted.size());
    spec.width = view.width;
    spec.height = view.height;
    cv::Mat got(view.height, view.width, CV_8UC3);
    Preprocessor(spec).run(view, got.data, spec.bytes());
    EXPECT_EQ(cv::norm(got, wanted, cv::NORM_INF), 0) << static_cast<int>(c.format);
    const unsigned char* const last = static_cast<const unsigned char*>(view.planes[0]) + view.bytes[0];
    EXPECT_EQ(last, c.mat.dataend);
  }
}

TEST(PreprocessOpenCv, WhatDoesNotFitIsRefused) {
  const cv::Mat bytes(12, 16, CV_8UC1), pairs(12, 16, CV_8UC2);
  const int four[] = {2, 3, 4, 4};
  const struct {
    const char* fault;
    cv::Mat mat;
    FrameFormat format;
  } cases[] = {
      {"format: ", bytes, FrameFormat::kI444},
      {"format: ", bytes, FrameFormat::kP010},
      {"dims: ", cv::Mat(4, four, CV_8UC1), FrameFormat::kGray},
      {"data: ", cv::Mat(), FrameFormat::kRgb},
      {"type: the matrix holds CV_8UC1, not CV_8UC3", bytes, FrameFormat::kBgr},
      {"type: ", pairs, FrameFormat::kNv12},
      {"rows: ", bytes.rowRange(0, 11), FrameFormat::kNv12},
      {"cols: ", bytes.colRange(0, 15), FrameFormat::kNv21},
      {"step: ", bytes.colRange(0, 14), FrameFormat::kI420},
      {"cols: ", pairs.colRange(0, 15), FrameFormat::kYuyv},
      {"data: begins in the midst", pairs.colRange(1, 15), FrameFormat::kUyvy},
  };
  for (const auto& c : cases)
    EXPECT_EQ(FaultOf([&] { frameView(c.mat, c.format); }).rfind(c.fault, 0), 0u) << c.fault;
}

}  // namespace
