// FFmpeg's frames as records: in place where they are packed, else by a copy.
#include "tn_interop_ffmpeg.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "tests/support/test_support.h"

namespace {

using Tarn::interop::asImage;
using Tarn::interop::packFrame;
using tn_test::FaultOf;

struct FrameDelete {
  void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};
using Frame = std::unique_ptr<AVFrame, FrameDelete>;

Frame makeFrame(int format, int width, int height) {
  Frame frame(av_frame_alloc());
  frame->format = format;
  frame->width = width;
  frame->height = height;
  return frame;
}

// A frame whose planes and rows lie in `memory` as a record has them.
Frame packedFrame(int format, int width, int height, unsigned char* memory) {
  Frame frame = makeFrame(format, width, height);
  frame->data[0] = memory;
  const Tarn::interop::FramePacking packing = Tarn::interop::packingOf(*frame);
  for (int i = 0; i < packing.planes; ++i) {
    frame->data[i] = memory + packing.plane[i].offset;
    frame->linesize[i] = static_cast<int>(packing.plane[i].row_bytes);
  }
  return frame;
}

// A frame as FFmpeg makes one: padded rows, planes apart; every byte random.
Frame paddedFrame(int format, int width, int height) {
  Frame frame = makeFrame(format, width, height);
  EXPECT_EQ(av_frame_get_buffer(frame.get(), 64), 0);
  std::uint32_t seed = 1;
  for (int i = 0; i < AV_NUM_DATA_POINTERS && frame->buf[i] != nullptr; ++i) {
    const tn_test::Guarded bytes = tn_test::RandomBytes(frame->buf[i]->size, seed++);
    std::memcpy(frame->buf[i]->data, bytes.data(), bytes.size());
  }
  return frame;
}

struct Format {
  int frame;
  int record;
  int planes;
  int pixel;  // bytes a pixel of the first plane
};
constexpr Format kFormats[] = {
    {AV_PIX_FMT_YUV420P, TN_PIX_FMT_YUVI420, 3, 1}, {AV_PIX_FMT_YUVJ420P, TN_PIX_FMT_YUVI420, 3, 1},
    {AV_PIX_FMT_NV12, TN_PIX_FMT_NV12, 2, 1},       {AV_PIX_FMT_NV21, TN_PIX_FMT_NV21, 2, 1},
    {AV_PIX_FMT_BGRA, TN_PIX_FMT_BGRA, 1, 4},       {AV_PIX_FMT_BGR0, TN_PIX_FMT_BGRA, 1, 4},
    {AV_PIX_FMT_RGBA, TN_PIX_FMT_RGBA, 1, 4},       {AV_PIX_FMT_RGB0, TN_PIX_FMT_RGBA, 1, 4},
    {AV_PIX_FMT_BGR24, TN_PIX_FMT_BGR, 1, 3},       {AV_PIX_FMT_RGB24, TN_PIX_FMT_RGB, 1, 3},
};

void expectRecord(const _TN_Image& image, const void* data, int format, int width, int height) {
  EXPECT_EQ(image.data, data);
  EXPECT_EQ(image.pix_fmt, format);
  EXPECT_EQ(image.width, width);
  EXPECT_EQ(image.height, height);
  EXPECT_EQ(image.orient, 0u);
}

TEST(InteropFfmpeg, PackedFramesBecomeRecordsWithoutACopy) {
  tn_test::Guarded memory(64 * 48 * 4);
  for (const Format& f : kFormats) {
    SCOPED_TRACE(av_get_pix_fmt_name(static_cast<AVPixelFormat>(f.frame)));
    const Frame frame = packedFrame(f.frame, 64, 48, memory.data());
    const _TN_Image image = asImage(*frame);
    expectRecord(image, memory.data(), f.record, 64, 48);
    // A plane of one row is packed whatever the distance to the next.
    const Frame flat = packedFrame(f.frame, 64, f.planes == 1 ? 1 : 2, memory.data());
    flat->linesize[f.planes - 1] += 32;
    EXPECT_EQ(asImage(*flat).data, memory.data());

    // A padded row or a plane elsewhere is found in every plane.
    for (int i = 0; i < f.planes; ++i) {
      SCOPED_TRACE(i);
      frame->linesize[i] += 2;
      EXPECT_EQ(FaultOf([&] { asImage(*frame); }).rfind("plane " + std::to_string(i), 0), 0u);
      frame->linesize[i] -= 2;
      if (i == 0) continue;
      ++frame->data[i];
      EXPECT_NE(FaultOf([&] { asImage(*frame); }).find("packFrame"), std::string::npos);
      --frame->data[i];
    }
    // Bottom row first: the right distance in the wrong direction.
    frame->linesize[0] = -frame->linesize[0];
    EXPECT_NE(FaultOf([&] { asImage(*frame); }), "");
  }
}

TEST(InteropFfmpeg, PackingPutsEveryByteWhereARecordHasIt) {
  for (const Format& f : kFormats)
    for (const auto& [w, h] :
         {std::pair(64, 48), std::pair(50, 34), std::pair(15, 9), std::pair(1, 1)}) {
      SCOPED_TRACE(testing::Message() << av_get_pix_fmt_name(static_cast<AVPixelFormat>(f.frame)) << ", "
                                      << w << " x " << h);
      const Frame frame = paddedFrame(f.frame, w, h);
      for (int i = 0; h == 34 && i < f.planes; ++i) {  // bottom row first
        frame->data[i] += ((i == 0 ? h : h / 2) - 1) * frame->linesize[i];
        frame->linesize[i] *= -1;
      }
      std::vector<unsigned char> bytes(99999, 0xEE), others(7, 0x11);
      const _TN_Image image = packFrame(*frame, bytes);
      packFrame(*frame, others);
      EXPECT_EQ(bytes, others) << "gaps between planes, too";
      expectRecord(image, bytes.data(), f.record, w, h);
      const int n = w * h;
      ASSERT_EQ(static_cast<int>(bytes.size()), f.planes == 1   ? n * f.pixel
                                                : f.planes == 2 ? n + w * (h / 2)
                                                                : n + n / 4 * 2);
      for (int plane = 0; plane < f.planes; ++plane) {
        const unsigned char* at = bytes.data() + (plane == 0 ? 0 : plane == 1 ? n : n + n / 4);
        const int row = plane == 0 ? w * f.pixel : f.planes == 2 ? w : w / 2;
        for (int y = 0; y < (plane == 0 ? h : h / 2); ++y, at += row)
          ASSERT_EQ(std::memcmp(at, frame->data[plane] + y * frame->linesize[plane],
                                static_cast<std::size_t>(row)),
                    0)
              << "plane " << plane << ", row " << y;
      }
    }
}

TEST(InteropFfmpeg, OtherFramesAreRefusedByName) {
  std::vector<unsigned char> bytes;
  const Frame deep = paddedFrame(AV_PIX_FMT_YUV420P10, 16, 16);
  const Frame frames[] = {makeFrame(AV_PIX_FMT_NV12, 16, 16), paddedFrame(AV_PIX_FMT_NV12, 16, 16),
                          paddedFrame(AV_PIX_FMT_NV12, 16, 16)};
  frames[1]->width = frames[2]->height = 0;
  const Frame nameless = paddedFrame(AV_PIX_FMT_RGBA, 16, 16);
  nameless->format = 100000;
  EXPECT_NE(FaultOf([&] { asImage(*deep); }).find("yuv420p10"), std::string::npos);
  EXPECT_NE(FaultOf([&] { packFrame(*deep, bytes); }), "");
  for (const Frame& empty : frames)
    EXPECT_EQ(FaultOf([&] { asImage(*empty); }), "the frame has no pixels");
  EXPECT_NE(FaultOf([&] { asImage(*nameless); }), "");
  EXPECT_TRUE(bytes.empty());
}

}  // namespace
