// Sizes that have no extents, and the words in which the checked routines refuse. What extents are, and
// that the checked routines take exact buffers and refuse smaller ones, is shown by the table of
// routines.
#include "tn_checked.h"

#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <type_traits>
#include <vector>

#include "tests/support/test_support.h"

namespace {

namespace checked = Tarn::checked;
using checked::Bytes;
using checked::ConstBytes;
using checked::ConstFloats;
using checked::Floats;
using checked::Image;
using tn_test::FaultOf;

constexpr int kMost = std::numeric_limits<int>::max(), kLeast = std::numeric_limits<int>::min();

TEST(Extents, CountsOverflowBehindTheLargestExtent) {
  using Tarn::extents::Count;
  const Count most = std::numeric_limits<std::int64_t>::max(), negative = -1;
  for (const Count fits : {most + most, most * 2, most * 2 + 0, most * 0 * 9, Count(0) / 3})
    EXPECT_TRUE(fits.valid());
  EXPECT_EQ((most + most).value(), Tarn::kNoExtent.bytes - 1);
  for (const Count too_many :
       {most + most + 1, most * 3, (most + most) * 2, most * 3 / 9, negative, negative + 5, negative * 0,
        Tarn::extents::larger(negative, 5), Tarn::extents::larger(5, negative)})
    EXPECT_FALSE(too_many.valid());
}

TEST(Extents, NothingIsTouchedAtSizesBelowTheLeast) {
  using namespace Tarn;
  for (const Extent& extent :
       {pictureExtent(4, 3, -1), pictureExtent(-4, -3, 2), tensorExtent(4, 0, 1), tensorExtent(4, 3, -2),
        turnExtents(-1, 4, 3).dst, grayExtents(-5, 4).src, resizeExtents(0, 0, 4, -1, 3).src,
        warpExtents(8, 8, 0, 4, 9).src, warpSameSizeExtents(1, 9).dst, warpSameSizeExtents(9, 1).matrix,
        pasteExtents(1, 1, 4, -4, 3).dst, cropExtents(true, 4, 4, 4, 4, 2, 0, 1, 3).src,
        cropExtents(true, 4, 4, 4, 4, 4, 0, 5, 3).dst})
    EXPECT_EQ(extent.bytes, 0u) << extent.offset;
}

TEST(Extents, SizesOutsideAContractHaveNoneForAnyBuffer) {
  using namespace Tarn;
  const auto warp = [](int w, int h, int c, int dw) {
    const WarpExtents e = warpExtents(w, h, dw, 1, c);
    EXPECT_EQ(e.matrix == kNoExtent, e.src == kNoExtent);
    return TransferExtents{e.src, e.dst};
  };
  const auto input = [](int format, int w, int h, int to_w, int to_h) {
    const NetworkInputExtents e = networkInputExtents(format, w, h, to_w, to_h);
    EXPECT_EQ(e.work_b == kNoExtent, e.work_a == kNoExtent);
    return TransferExtents{e.image, e.work_a};
  };
  // Each line: the last sizes that are in the contract, then the first ones that are not.
  const struct {
    TransferExtents within;
    std::vector<TransferExtents> beyond;
  } cases[] = {
      {resizeExtents(1, 1, 3, 3, 1), {resizeExtents(0, 4, 3, 3, 1), resizeExtents(4, 0, 3, 3, 1)}},
      {cutPixelsExtents(65536, 65536, 1, 1, 65535, 32767, 1),
       {cutPixelsExtents(65536, 65536, 1, 1, 0, 32768, 1)}},
      {cutPlanesExtents(9, 8, 4, 3, 5, 5, 2),
       {cutPlanesExtents(9, 8, 4, 3, 6, 5, 2), cutPlanesExtents(9, 8, 4, 3, 5, 6, 2),
        cutPlanesExtents(9, 8, 4, 3, -1, 5, 2), cutPixelsExtents(9, 8, 4, 3, 5, -1, 2),
        cutPixelsExtents(9, 8, 10, 3, 0, 0, 2), cutPixelsExtents(9, 8, 4, 9, 0, 0, 2),
        cutPlanesExtents(kMost, kMost, 1, 1, kMost - 1, kMost - 1, 5)}},
      {pasteExtents(5, 4, 5, 4, 3), {pasteExtents(4, 9, 5, 4, 3), pasteExtents(9, 3, 5, 4, 3)}},
      {fromPixelsExtents(8 | 2 << 16, 4, 3),
       {fromPixelsExtents(3, 4, 3), fromPixelsExtents(1 | 3 << 16, 4, 3),
        fromPixelsExtents(-0xffff, 4, 3)}},
      {warp(kMost, kMost, 1, 1), {warp(kMost, kMost, 5, 1)}},
      {input(TN_PIX_FMT_RGB, 1, 1, 1, 1),
       {input(TN_PIX_FMT_RGB, 0, 1, 1, 1), input(TN_PIX_FMT_RGB, 1, 0, 1, 1),
        input(TN_PIX_FMT_RGB, 1, 1, 0, 1), input(TN_PIX_FMT_RGB, 1, 1, 1, 0),
        input(TN_PIX_FMT_YUV420V, 2, 2, 1, 1)}},
      {resampleExtents(4, 4, 0, 4, 4), {resampleExtents(4, 4, -1, 4, 4)}},
      {convertExtents(9, 7, 8, 6), {convertExtents(9, 7, 7, 6), convertExtents(9, 7, 8, 5)}},
      {cropExtents(false, 9, 9, 5, 4, 2, 2, 6, 5),
       {cropExtents(false, 9, 9, 4, 4, 2, 2, 6, 5), cropExtents(true, 9, 9, 5, 3, 2, 2, 6, 5),
        cropExtents(true, 0, 9, 5, 4, 2, 2, 6, 5), cropExtents(true, 9, 9, 5, 4, kLeast, 2, kMost, 5)}},
  };
  for (std::size_t i = 0; i < std::size(cases); ++i) {
    const auto& [within, beyond] = cases[i];
    EXPECT_TRUE(within.src != kNoExtent && within.dst != kNoExtent) << i;
    for (const TransferExtents& none : beyond)
      EXPECT_TRUE(none.src == kNoExtent && none.dst == kNoExtent) << i << ", " << &none - beyond.data();
  }
}

// Views without memory behind them: nothing may be touched.
constexpr std::size_t kAmple = std::size_t{1} << 40;
// NOLINTNEXTLINE(performance-no-int-to-ptr): an address is all that is wanted
unsigned char* const kNowhere = reinterpret_cast<unsigned char*>(std::uintptr_t{1} << 20);
const ConstBytes kFrom = {kNowhere, kAmple};
const Bytes kTo = {kNowhere + 2 * kAmple, kAmple};

TEST(Checked, SentencesNameTheArgumentAndWhatItMustBe) {
  std::uint8_t memory[64] = {};
  const Bytes few = {kTo.data, 5};
  const struct {
    std::function<void()> call;
    const char* sentence;
  } cases[] = {
      {[] { checked::yuv420f_to_rgb(kFrom, (1 << 24) + 1, 2, kTo); },
       "w is 16777217; it must be from 1 to 16777216"},
      {[] { checked::nv12_to_rgb_fast_asm(kFrom, 1 << 24, 1 << 24, kTo); },
       "src would be too large; a 16777216x16777216 frame with the chroma that is read behind it needs "
       "more than 2147483647 bytes"},
      // 4 * 2^30 would be 0 in 32 bits.
      {[] { checked::getGray_from_RGBA_HWC(kFrom, kTo, 1 << 30); },
       "src would be too large; 1073741824 RGBA pixels need more than 2147483647 bytes"},
      {[] { checked::flip_vertical(kFrom, 65536, 65536, kTo, 65536); },
       "src would be too large; a 65536x65536 picture of 65536 channels needs more than 2147483647 "
       "bytes"},
      // What each family calls its buffers.
      {[&] { checked::yuv420sp_to_rgb_fast_asm(kFrom, 4, 2, few); },
       "dst holds 5 bytes; a 4x2 RGB picture with the rows that are written behind it needs 36"},
      {[&] { checked::yuv420f_to_rgb(kFrom, 4, 2, few); },
       "dst holds 5 bytes; a 4x2 RGB picture, its last row paired, needs 24"},
      {[&] { checked::getGray_from_RGB_HWC(kFrom, few, 6); }, "dst holds 5 bytes; 6 grey pixels need 6"},
      {[&] { checked::getRGB_CHW_from_BGRA_HWC(kFrom, few, 2); },
       "dst holds 5 bytes; 2 pixels in planes need 6"},
      {[&] { checked::anti_rotate90_intrinsics_3_channel(kFrom, 4, 3, few); },
       "dst holds 5 bytes; a 3x4 picture of 3 channels needs 36"},
      {[&] { checked::flip_horizontal(kFrom, 4, 3, few, 2); },
       "dst holds 5 bytes; a 4x3 picture of 2 channels needs 24"},
      {[&] { checked::cut_sub_img_inhwc_outhwc(kFrom, 10, 8, few, 4, 2, 0, 0, 3); },
       "dst holds 5 bytes; a 4x2 picture of 3 channels needs 24"},
      {[] {
         checked::resize_bilinear_c3({kNowhere, 35}, 4, 3, kTo, 8, 8);
       },
       "src holds 35 bytes; a 4x3 picture of 3 channels needs 36"},
      {[] { checked::crop_resize_nearest_c1(kFrom, 4, 4, kTo, 8, 8, 3, 0, 2, 4); },
       "the rectangle goes from (3, 0) to (2, 4); it must not be inverted"},
      {[] { checked::cut_sub_img_inhwc_outhwc(kFrom, 10, 8, kTo, 4, 4, 7, 0, 3); },
       "the rectangle is 4x4 at column 7, row 0; it must lie inside the 10x8 source"},
      {[] { checked::cut_sub_img_inhwc_outhwc(kFrom, 10, 8, kTo, 4, 4, -1, 0, 3); },
       "the rectangle is 4x4 at column -1, row 0; it must lie inside the 10x8 source"},
      {[] { checked::cut_sub_img_inhwc_outhwc(kFrom, 10, 8, kTo, 4, 9, 0, -1, 3); },
       "the rectangle is 4x9 at column 0, row -1; it must lie inside the 10x8 source"},
      {[] { checked::cut_sub_img_inhwc_outhwc(kFrom, 10, 8, kTo, 4, 4, 0, kMost, 3); },
       "the rectangle is 4x4 at column 0, row 2147483647; it must lie inside the 10x8 source"},
      {[&] {
         checked::cut_sub_img_inchw_outchw({reinterpret_cast<float*>(kNowhere + 2), kAmple}, 10, 8,
                                           {reinterpret_cast<float*>(kNowhere + kAmple), kAmple}, 4, 4,
                                           0, 0, 3);
       },
       "src is not aligned; floats must start at a multiple of 4 bytes"},
      {[&] {
         checked::from_pixels({memory, 64}, 3, 4, 4);
       },
       "type is 3; it must be 1, 2 or 8, plus 65536 times 0, 1 or 2"},
      {[&] {
         checked::from_float_array({reinterpret_cast<const float*>(kNowhere), 31}, 2, 2, 2,
                                   TarnCPU::TensorShape::CHW, nullptr);
       },
       "data holds 31 bytes; a 2x2 tensor of 2 channels needs 32"},
      {[&] {
         checked::from_float_array({reinterpret_cast<const float*>(kNowhere), 32}, 2, 2, 2,
                                   static_cast<TarnCPU::TensorShape::Layout>(3), nullptr);
       },
       "layout is 3; it must be from 1 to 2"},
      {[] { checked::TarnYUVToolKit(65536, 65536, 320, 240, 32, 32); },
       "the frame's size in bytes is 4315938816; it must be from 1 to 2147483647"},
      {[] { checked::TarnYUVToolKit(8, 8, (1 << 24) + 1, 4, 32, 32); },
       "src_uv_width is 16777217; it must be from 0 to 16777216"},
      {[] { checked::TarnYUVToolKit(8, 8, 4, 4, 65536, 65536); },
       "the tensor's size in floats is 12884901888; it must be from 1 to 2147483647"},
  };
  for (const auto& c : cases) EXPECT_EQ(FaultOf(c.call), c.sentence);
}

Image imageOf(int pix_fmt, int width, int height, void* data, std::size_t bytes) {
  return {{0, pix_fmt, width, height, 0, data}, bytes};
}

// Assignment would leave two owners of the same memory.
static_assert(!std::is_copy_constructible_v<checked::TarnYUVToolKit>);
static_assert(!std::is_copy_assignable_v<checked::TarnYUVToolKit>);

TEST(CheckedToolKit, SentencesNameTheRecordAndWhatItMustBe) {
  checked::TarnYUVToolKit kit(1920, 1080, 960, 540, 32, 32);
  const auto frame = [](int format, int width, int height, std::size_t bytes) {
    return imageOf(format, width, height, kNowhere, bytes);
  };
  const auto tensor = [](int width, int height, std::size_t bytes) {
    return imageOf(TN_PIX_FMT_CHW_F32, width, height, kNowhere + kAmple, bytes);
  };
  const Image room = tensor(32, 32, 12288);
  const Image small = frame(TN_PIX_FMT_NV12, 8, 6, 72);
  const Image small_out = imageOf(TN_PIX_FMT_NV21, 4, 4, kNowhere + kAmple, 24);
  const auto convert = [](const Image& in, const Image& out) {
    checked::TarnYUVToolKit::Convert(in, out, Tarn::_ConvertMatrixFromYUV());
  };
  const auto crop = checked::TarnYUVToolKit::Crop;
  const std::pair<std::function<void()>, const char*> cases[] = {
      {[&] { kit.convert(frame(TN_PIX_FMT_NV12, 1920, 1080, 3110399), room); },
       "in holds 3110399 bytes; a 1920x1080 NV12 frame needs 3110400"},
      {[&] { kit.convert(frame(TN_PIX_FMT_BGRA, 1920, 1080, 3110400), room); },
       "in has pixel format 4 (BGRA); it must be one of NV12, NV21, YUV420V"},
      {[&] { kit.convert(frame(TN_PIX_FMT_NV12, 1080, 1920, 3110400), room); },
       "in is 1080x1920; it must be 1920x1080"},
      {[&] { kit.convert(frame(TN_PIX_FMT_NV21, 1920, 1080, 3110400), small); },
       "out has pixel format 7 (NV12); it must be one of CHW_F32"},
      {[&] { kit.convert(frame(TN_PIX_FMT_NV12, 1920, 1080, 3110400), tensor(64, 16, 12288)); },
       "out is 64x16; it must be 32x32"},
      {[&] { convert(frame(12, 8, 6, 144), room); },
       "in has pixel format 12 (unknown); it must be one of NV12, NV21, YUV420V, I420"},
      {[&] { convert(small, small_out); }, "out has pixel format 8 (NV21); it must be one of CHW_F32"},
      {[&] { convert(small, tensor(6, 6, 1000)); }, "out is 6x6; it must be 8x6"},
      {[&] { convert(small, tensor(8, 5, 1000)); }, "out is 8x5; it must be 8x6"},
      {[&] { convert(small, tensor(8, (1 << 24) + 1, 1000)); },
       "out is 8x16777217; its sides must be from 1 to 16777216"},
      {[&] { convert(frame(TN_PIX_FMT_NV12, (1 << 24) + 1, 6, 72), room); },
       "in is 16777217x6; its sides must be from 1 to 16777216"},
      {[&] { crop(small, small_out, kLeast, 0, kMost, 3); },
       "out is 4x4; it must be at least 4294967296x4 like the rectangle"},
      {[&] { crop(small, small_out, 0, 0, 3, 4); },
       "out is 4x4; it must be at least 4x5 like the rectangle"},
      {[&] { checked::TarnYUVToolKit::Crop_YUVI420(small, small_out, 0, 0, 3, 3); },
       "in has pixel format 7 (NV12); it must be one of I420"},
      {[&] { crop(small, small_out, 2, 3, 2, 2); },
       "the rectangle goes from (2, 3) to (2, 2); it must not be inverted"},
  };
  for (const auto& [call, sentence] : cases) EXPECT_EQ(FaultOf(call), sentence);
}

using TarnCPU::Mat;

Mat floatsAt(void* data, int w, int h, int c) {
  return Mat::from_float_array(static_cast<float*>(data), w, h, c, TarnCPU::TensorShape::CHW, nullptr);
}

TEST(CheckedInput, SentencesNameTheArgumentAndWhatItMustBe) {
  std::vector<float> memory(1000);
  unsigned char* const bytes = reinterpret_cast<unsigned char*>(memory.data());
  const std::vector<float> identity = {1, 0, 0, 0, 1, 0};
  const ConstFloats matrix = {identity.data(), 24};
  const Mat small = floatsAt(bytes, 4, 3, 3), apart = floatsAt(bytes + 1000, 4, 3, 3);
  const Mat beside = floatsAt(bytes + 140, 4, 3, 3);
  Mat rows = small, bytewise = small, out;
  rows.layout = TarnCPU::TensorShape::HWC;
  bytewise.elem_size = 1;
  const auto input = [&](int format, unsigned char* a, unsigned char* b, int width) {
    checked::getInMat(imageOf(format, 4, 2, bytes, 12), out, 0, width, 2, {a, 1000}, {b, 1000});
  };
  const auto cover = checked::cover_mid_img_with_littleImg_inMat_outFloatPointer;
  const std::pair<std::function<void()>, const char*> cases[] = {
      {[&] { input(TN_PIX_FMT_YUV420V, bytes + 12, bytes + 2000, 4); },
       "image has pixel format 3 (YUV420V); it must be one of I420, NV12, NV21, BGRA, RGBA, BGR, RGB"},
      {[&] { input(TN_PIX_FMT_NV12, bytes + 11, bytes + 2000, 4); },
       "work_a overlaps image; the two must lie apart"},
      {[&] { input(TN_PIX_FMT_RGBA, bytes + 32, bytes + 2000, 200); },
       "image holds 12 bytes; a 4x2 RGBA frame needs 32"},
      {[&] {
         checked::getInMat(imageOf(TN_PIX_FMT_RGBA, 4, 2, bytes, 32), out, 0, 4, 2, {bytes + 32, 32},
                           {bytes + 64, 31});
       },
       "work_b holds 31 bytes; a 4x2 work buffer of 4 channels needs 32"},
      {[&] { checked::affine(small, rows, matrix); },
       "dst has layout 2 and elements of 4 bytes; it must have layout 1 (CHW) and floats"},
      {[&] { checked::affine(bytewise, apart, matrix); },
       "src has layout 1 and elements of 1 bytes; it must have layout 1 (CHW) and floats"},
      {[&] { checked::affine(floatsAt(bytes, (1 << 24) + 1, 1, 3), apart, matrix); },
       "src is 16777217x1x3; its sides must be from 1 to 16777216"},
      {[&] { checked::affine(small, floatsAt(bytes, 1, (1 << 24) + 1, 3), matrix); },
       "dst is 1x16777217x3; its sides must be from 1 to 16777216"},
      {[&] {
         checked::affine(small, apart, {identity.data(), 20});
       },
       "matrix holds 20 bytes; a 2x3 matrix needs 24"},
      // Its last float is the first of dst; its first the last of dst, which src may be too.
      {[&] {
         checked::affine_optimized(small, apart, {memory.data() + 245, 24});
       },
       "dst overlaps matrix; the two must lie apart"},
      {[&] {
         checked::affine_sse_hwc(small, small, {memory.data() + 35, 24});
       },
       "dst overlaps matrix; the two must lie apart"},
      {[&] { checked::affine(small, beside, matrix); }, "dst overlaps src; the two must lie apart"},
      {[&] { checked::affine_sse(small, beside, matrix); }, "dst overlaps src; the two must lie apart"},
      {[&] { checked::affine_optimized(floatsAt(bytes, 4, 3, 2), apart, matrix); },
       "src has 2 planes; it must have at least the 3 of dst"},
      {[&] { checked::affine_sse(small, floatsAt(bytes + 1000, 3, 4, 3), matrix); },
       "dst is 3x4x3; it must be 4x3x3 like src"},
      {[&] { checked::affine_sse_hwc(small, floatsAt(bytes + 1000, 4, 3, 2), matrix); },
       "dst is 4x3x2; it must be 4x3x3 like src"},
      {[&] { checked::affine_sse_hwc(floatsAt(bytes, 4, 1, 3), apart, matrix); },
       "src is 4x1x3; it must have 3 planes and sides of 2 or more"},
      {[&] { checked::affine_sse(floatsAt(bytes, 1, 4, 3), apart, matrix); },
       "src is 1x4x3; it must have 3 planes and sides of 2 or more"},
      {[&] { checked::affine_sse(floatsAt(bytes, 4, 3, 4), apart, matrix); },
       "src is 4x3x4; it must have 3 planes and sides of 2 or more"},
      {[&] { checked::affine(floatsAt(nullptr, 4, 3, 3), apart, matrix); },
       "src is null; a 4x3 tensor of 3 channels needs 144"},
      {[&] { checked::affine(floatsAt(bytes, 65536, 32768, 1), apart, matrix); },
       "src would be too large; a 65536x32768 tensor of 1 channels needs more than 2147483647 floats"},
      {[&] {
         cover({memory.data() + 36, 1000}, 3, 5, small);
       },
       "dst is 3x5; it must be at least 4x3 like little"},
      {[&] {
         cover({memory.data() + 36, 1000}, 5, 2, small);
       },
       "dst is 5x2; it must be at least 4x3 like little"},
      {[&] {
         cover({memory.data() + 35, 1000}, 5, 5, small);
       },
       "dst overlaps little; the two must lie apart"},
  };
  for (const auto& [call, sentence] : cases) EXPECT_EQ(FaultOf(call), sentence);
  // The one that may warp a tensor onto itself, and what fits to the byte.
  EXPECT_EQ(FaultOf([&] { checked::affine_sse_hwc(small, small, matrix); }), "");
  EXPECT_EQ(FaultOf([&] { checked::affine(small, floatsAt(bytes + 144, 4, 3, 3), matrix); }), "");
  EXPECT_EQ(FaultOf([&] { cover({memory.data() + 36, 300}, 5, 5, small); }), "");
}

TEST(CheckedInput, WhatIsGivenArrives) {
  struct : TarnCPU::Allocator {
    void* allocate(std::size_t) override { return memory; }
    void release(void*) override {}
    alignas(64) float memory[64] = {};
  } allocator;
  const Mat view =
      checked::from_float_array({allocator.memory, 96}, 4, 3, 2, TarnCPU::TensorShape::HWC, &allocator);
  EXPECT_EQ((std::vector<int>{view.layout, view.c, view.h, view.w}), (std::vector<int>{2, 2, 3, 4}));
  EXPECT_TRUE(view.data == allocator.memory && view.allocator == &allocator);
  const std::uint8_t pixels[36] = {};
  EXPECT_EQ(checked::from_pixels({pixels, 36}, 1, 4, 3, &allocator).data, allocator.memory);
  checked::TarnYUVToolKit kit(8, 6, 4, 3, 4, 4);
  kit.setCvtMat({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12});
  EXPECT_EQ(kit.getCvtMat().offset[2], 12.0f);
}

}  // namespace
