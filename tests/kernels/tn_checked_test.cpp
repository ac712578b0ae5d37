// The checked routines: what they refuse and in which words, and that buffers of exactly the size needed
// pass and come out as from the routine itself.
#include "tn_checked.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <limits>
#include <string>
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
using TarnCPU::TN_CV;
using tn_test::FaultOf;
using tn_test::ForEachTarget;
using tn_test::Guarded;
using tn_test::RandomBytes;

constexpr int kMost = std::numeric_limits<int>::max(), kLeast = std::numeric_limits<int>::min();

ConstFloats floatsOf(ConstBytes view) { return {reinterpret_cast<const float*>(view.data), view.bytes}; }
Floats floatsOf(Bytes view) { return {reinterpret_cast<float*>(view.data), view.bytes}; }

// A routine from one buffer to another, at sizes for which the bytes read and written are spelt out.
struct Routine {
  const char* name;
  std::size_t read, written;
  std::function<void(ConstBytes, Bytes)> checked, plain;
};

const float* floatsOf(const std::uint8_t* bytes) { return reinterpret_cast<const float*>(bytes); }
float* floatsOf(std::uint8_t* bytes) { return reinterpret_cast<float*>(bytes); }

// Of 5x3 pixels, 7 pixels, or from 5x4 to 7x3 or 3x2 pixels. The two forms take the same arguments but
// for the buffers.
const std::vector<Routine>& routines() {
  static const std::vector<Routine> all = [] {
    std::vector<Routine> list;
    const auto add = [&](const char* name, std::size_t read, std::size_t written, auto checked_form,
                         auto plain_form, auto call) {
      list.push_back({name, read, written,
                      [=](ConstBytes src, Bytes dst) { call(checked_form, src, dst); },
                      [=](ConstBytes src, Bytes dst) { call(plain_form, src.data, dst.data); }});
    };
    const auto of_size = [](auto f, auto src, auto dst) { f(src, 5, 3, dst); };
    add("nv12", 35, 75, checked::nv12_to_rgb_fast_asm, TN_CV::nv12_to_rgb_fast_asm, of_size);
    add("nv21", 35, 75, checked::yuv420sp_to_rgb_fast_asm, TN_CV::yuv420sp_to_rgb_fast_asm, of_size);
    add("i420", 22, 60, checked::yuv420f_to_rgb, TN_CV::yuv420f_to_rgb, of_size);
    add("rotate90 3", 45, 45, checked::rotate90_intrinsics_3_channel,
        TN_CV::rotate90_intrinsics_3_channel, of_size);
    add("rotate90 4", 60, 60, checked::rotate90_intrinsics_4_channel,
        TN_CV::rotate90_intrinsics_4_channel, of_size);
    add("anti_rotate90 3", 45, 45, checked::anti_rotate90_intrinsics_3_channel,
        TN_CV::anti_rotate90_intrinsics_3_channel, of_size);
    add("anti_rotate90 4", 60, 60, checked::anti_rotate90_intrinsics_4_channel,
        TN_CV::anti_rotate90_intrinsics_4_channel, of_size);

    const auto of_count = [](auto f, auto src, auto dst) { f(src, dst, 7); };
    add("grey of BGRA", 28, 7, checked::getGray_from_BGRA_HWC, TarnCPU::getGray_from_BGRA_HWC, of_count);
    add("grey of RGBA", 28, 7, checked::getGray_from_RGBA_HWC, TarnCPU::getGray_from_RGBA_HWC, of_count);
    add("grey of RGB", 21, 7, checked::getGray_from_RGB_HWC, TarnCPU::getGray_from_RGB_HWC, of_count);
    add("planes of BGRA", 28, 21, checked::getRGB_CHW_from_BGRA_HWC, TarnCPU::getRGB_CHW_from_BGRA_HWC,
        of_count);
    add("planes of RGBA", 28, 21, checked::getRGB_CHW_from_RGBA_HWC, TarnCPU::getRGB_CHW_from_RGBA_HWC,
        of_count);
    add("planes of RGB", 21, 21, checked::getRGB_CHW_from_RGB_HWC, TarnCPU::getRGB_CHW_from_RGB_HWC,
        of_count);

    const auto of_pairs = [](auto f, auto src, auto dst) { f(src, 5, 3, dst, 2); };
    add("flip_horizontal", 30, 30, checked::flip_horizontal, TN_CV::flip_horizontal, of_pairs);
    add("flip_vertical", 30, 30, checked::flip_vertical, TN_CV::flip_vertical, of_pairs);
    add("cut of bytes", 60, 18, checked::cut_sub_img_inhwc_outhwc, TN_CV::cut_sub_img_inhwc_outhwc,
        [](auto f, auto src, auto dst) { f(src, 5, 4, dst, 3, 2, 2, 1, 3); });
    add("cut of floats", 160, 48, checked::cut_sub_img_inchw_outchw, TN_CV::cut_sub_img_inchw_outchw,
        [](auto f, auto src, auto dst) { f(floatsOf(src), 5, 4, floatsOf(dst), 3, 2, 2, 1, 2); });

    const auto resize = [](auto f, auto src, auto dst) { f(src, 5, 4, dst, 7, 3); };
    add("bilinear 1", 20, 21, checked::resize_bilinear_c1, TarnCPU::resize_bilinear_c1, resize);
    add("bilinear 2", 40, 42, checked::resize_bilinear_c2, TN_CV::resize_bilinear_c2, resize);
    add("bilinear 3", 60, 63, checked::resize_bilinear_c3, TarnCPU::resize_bilinear_c3, resize);
    add("bilinear 4", 80, 84, checked::resize_bilinear_c4, TarnCPU::resize_bilinear_c4, resize);
    add("nearest 1", 20, 21, checked::resize_nearest_c1, TarnCPU::resize_nearest_c1, resize);
    const auto crop = [](auto f, auto src, auto dst) { f(src, 5, 4, dst, 7, 3, -1, 1, 3, 9); };
    add("nearest crop 1", 20, 21, checked::crop_resize_nearest_c1, TarnCPU::crop_resize_nearest_c1,
        crop);
    add("nearest crop 3", 60, 63, checked::crop_resize_nearest_c3, TarnCPU::crop_resize_nearest_c3,
        crop);
    add("nearest crop 4", 80, 84, checked::crop_resize_nearest_c4, TarnCPU::crop_resize_nearest_c4,
        crop);
    return list;
  }();
  return all;
}

TEST(Checked, ExactBuffersPassAndComeOutAsFromTheRoutine) {
  for (const Routine& routine : routines()) {
    SCOPED_TRACE(routine.name);
    ForEachTarget([&] {
      const Guarded src = RandomBytes(routine.read);
      Guarded dst(routine.written, 0xA5), expected(routine.written, 0xA5);
      EXPECT_EQ(FaultOf([&] {
                  routine.checked({src.data(), src.size()}, {dst.data(), dst.size()});
                }),
                "");
      routine.plain({src.data(), src.size()}, {expected.data(), expected.size()});
      EXPECT_EQ(std::memcmp(dst.data(), expected.data(), dst.size()), 0);
    });
  }
}

TEST(Checked, BuffersTooSmallNullOrSharedAreRefused) {
  for (const Routine& routine : routines()) {
    SCOPED_TRACE(routine.name);
    const std::size_t read = routine.read, written = routine.written;
    std::vector<std::uint8_t> memory(read + written);
    std::uint8_t* const src = memory.data();
    std::uint8_t* const dst = src + read;
    const auto refused = [&](ConstBytes source, Bytes destination, const std::string& begin,
                             const std::string& end) {
      const std::string sentence = FaultOf([&] { routine.checked(source, destination); });
      EXPECT_EQ(sentence.substr(0, begin.size()), begin) << sentence;
      EXPECT_TRUE(sentence.size() > end.size() && sentence.substr(sentence.size() - end.size()) == end)
          << sentence;
    };
    const std::string reads = " " + std::to_string(read), writes = " " + std::to_string(written);
    refused({src, read - 1}, {dst, written}, "src holds " + std::to_string(read - 1) + " bytes; ",
            reads);
    refused({src, read}, {dst, written - 1}, "dst holds " + std::to_string(written - 1) + " bytes; ",
            writes);
    refused({nullptr, read}, {dst, written}, "src is null; ", reads);
    refused({src, read}, {nullptr, written}, "dst is null; ", writes);
    // Floats do not start at odd addresses, so by 4 bytes; and the other way round.
    const std::string overlap = "dst overlaps src; ", apart = "the two must lie apart";
    refused({src, read}, {dst - 4, written}, overlap, apart);
    refused({src + written - 4, read}, {src, written}, overlap, apart);
    EXPECT_EQ(FaultOf([&] { routine.checked({src, read}, {dst, written}); }), "");
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
  static const struct {
    std::function<void()> call;
    const char* sentence;
  } cases[] = {
      {[] { checked::yuv420f_to_rgb(kFrom, 0, 2, kTo); }, "w is 0; it must be from 1 to 16777216"},
      {[] { checked::yuv420f_to_rgb(kFrom, 2, kLeast, kTo); },
       "h is -2147483648; it must be from 1 to 16777216"},
      {[] { checked::nv12_to_rgb_fast_asm(kFrom, kMost, kMost, kTo); },
       "w is 2147483647; it must be from 1 to 16777216"},
      {[] { checked::nv12_to_rgb_fast_asm(kFrom, 1 << 24, 1 << 24, kTo); },
       "src would be too large; a 16777216x16777216 frame with the chroma that is read behind it needs "
       "more than 2147483647 bytes"},
      // 4 * 2^30 would be 0 in 32 bits.
      {[] { checked::getGray_from_RGBA_HWC(kFrom, kTo, 1 << 30); },
       "src would be too large; 1073741824 RGBA pixels need more than 2147483647 bytes"},
      {[] { checked::getGray_from_RGBA_HWC(kFrom, kTo, -1); },
       "n is -1; it must be from 1 to 2147483647"},
      {[] { checked::flip_vertical(kFrom, 2, 2, kTo, 0); }, "c is 0; it must be from 1 to 16777216"},
      {[] { checked::flip_vertical(kFrom, 65536, 65536, kTo, 65536); },
       "src would be too large; a 65536x65536 picture of 65536 channels needs more than 2147483647 "
       "bytes"},
      {[] {
         checked::resize_bilinear_c3({kNowhere, 35}, 4, 3, kTo, 8, 8);
       },
       "src holds 35 bytes; a 4x3 picture of 3 channels needs 36"},
      {[] {
         checked::cnn_resize_bilinear_c2({kNowhere, 23}, 4, 3, kTo, 8, 8);
       },
       "src holds 23 bytes; a 4x3 picture of 2 channels needs 24"},
      {[] { checked::resize_nearest_c1(kFrom, 4, 0, kTo, 8, 8); },
       "sh is 0; it must be from 1 to 16777216"},
      {[] { checked::crop_resize_nearest_c1(kFrom, 4, 4, kTo, 8, 8, 3, 0, 2, 4); },
       "the rectangle goes from (3, 0) to (2, 4); it must not be inverted"},
      {[] { checked::cut_sub_img_inhwc_outhwc(kFrom, 10, 8, kTo, 4, 4, 7, 0, 3); },
       "the rectangle is 4x4 at column 7, row 0; it must lie inside the 10x8 source"},
      {[] { checked::cut_sub_img_inhwc_outhwc(kFrom, 10, 8, kTo, 4, 4, 0, kMost, 3); },
       "the rectangle is 4x4 at column 0, row 2147483647; it must lie inside the 10x8 source"},
      {[] {
         checked::cut_sub_img_inchw_outchw({reinterpret_cast<float*>(kNowhere), kAmple}, 10, 8,
                                           {reinterpret_cast<float*>(kNowhere + kAmple), kAmple}, 4, 4,
                                           -1, 0, 3);
       },
       "the rectangle is 4x4 at column -1, row 0; it must lie inside the 10x8 source"},
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
         checked::from_pixels({memory, 63}, 1 << 16 | 8, 4, 4);
       },
       "pixels holds 63 bytes; a 4x4 picture of 4 channels needs 64"},
      {[&] {
         checked::from_float_array({reinterpret_cast<const float*>(kNowhere), 31}, 2, 2, 2,
                                   TarnCPU::TensorShape::CHW, nullptr);
       },
       "data holds 31 bytes; a 2x2 tensor of 2 channels needs 32"},
      {[] { checked::TarnYUVToolKit(640, 480, -1, 240, 32, 32); },
       "src_uv_width is -1; it must be from 0 to 16777216"},
      {[] { checked::TarnYUVToolKit(640, 480, 320, 240, 32, 0); },
       "dst_height is 0; it must be from 1 to 16777216"},
      {[] { checked::TarnYUVToolKit(65536, 65536, 320, 240, 32, 32); },
       "the frame's size in bytes is 2147483648; it must be from 1 to 2147483647"},
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
  const Image whole = frame(TN_PIX_FMT_NV12, 1920, 1080, 3110400), room = tensor(32, 32, 12288);
  const Image small = frame(TN_PIX_FMT_NV12, 8, 6, 72);
  const Image small_out = imageOf(TN_PIX_FMT_NV21, 4, 4, kNowhere + kAmple, 24);
  const Image planar = frame(TN_PIX_FMT_YUVI420, 8, 6, 72);
  const auto convert = [](const Image& in, const Image& out) {
    checked::TarnYUVToolKit::Convert(in, out, Tarn::_ConvertMatrixFromYUV());
  };
  const auto crop = checked::TarnYUVToolKit::Crop;
  const std::pair<std::function<void()>, const char*> cases[] = {
      {[&] { kit.convert(frame(TN_PIX_FMT_NV12, 1920, 1080, 3110399), room); },
       "in holds 3110399 bytes; a 1920x1080 NV12 frame needs 3110400"},
      {[&] { kit.convert(frame(TN_PIX_FMT_BGRA, 1920, 1080, 3110400), room); },
       "in has pixel format 4 (BGRA); it must be one of NV12, NV21, YUV420V"},
      {[&] { kit.convert(frame(6, 1920, 1080, 3110400), room); },
       "in has pixel format 6 (unknown); it must be one of NV12, NV21, YUV420V"},
      {[&] { kit.convert(frame(TN_PIX_FMT_NV12, 1080, 1920, 3110400), room); },
       "in is 1080x1920; it must be 1920x1080"},
      {[&] { kit.convert(whole, tensor(32, 32, 12287)); },
       "out holds 12287 bytes; a 32x32 tensor of 3 channels needs 12288"},
      {[&] { kit.convert(whole, tensor(32, 16, 12288)); }, "out is 32x16; it must be 32x32"},
      {[&] { kit.convert(whole, whole); }, "out has pixel format 7 (NV12); it must be one of CHW_F32"},
      {[&] { convert(frame(TN_PIX_FMT_NV12, 0, 2, 72), room); },
       "in is 0x2; its sides must be from 1 to 16777216"},
      {[&] { convert(small, tensor(6, 6, 1000)); }, "out is 6x6; it must be 8x6"},
      {[&] { convert(small, imageOf(TN_PIX_FMT_CHW_F32, 8, 6, kNowhere + 68, 1000)); },
       "out overlaps in; the two must lie apart"},
      {[&] { crop(small, small_out, 0, 0, 4, 3); },
       "out is 4x4; it must be at least 5x4 like the rectangle"},
      {[&] { crop(small, small_out, kLeast, 0, kMost, 3); },
       "out is 4x4; it must be at least 4294967296x4 like the rectangle"},
      {[&] { crop(small, small_out, 2, 3, 2, 2); },
       "the rectangle goes from (2, 3) to (2, 2); it must not be inverted"},
      {[&] { crop(planar, small_out, 0, 0, 3, 3); },
       "in has pixel format 1 (I420); it must be one of NV12, NV21, YUV420V"},
      {[&] { checked::TarnYUVToolKit::Crop_YUVI420(planar, small_out, 0, 0, 3, 3); },
       "out has pixel format 8 (NV21); it must be one of I420"},
  };
  for (const auto& [call, sentence] : cases) EXPECT_EQ(FaultOf(call), sentence);
}

// Frames and tensors of exactly the size needed, in guarded memory, with sizes that make the walks run
// behind planes; one byte less is refused.
TEST(CheckedToolKit, ExactFramesPass) {
  const Tarn::_ConvertMatrixFromYUV mat(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12);
  struct Crop {
    bool planar;
    int w, h, out_w, out_h, x0, y0, x1, y1;
    std::size_t read, written;
  };
  static const Crop crops[] = {
      {false, 8, 6, 4, 4, 2, 2, 5, 5, 72, 24}, {false, 8, 6, 8, 6, -2, -2, 5, 3, 72, 72},
      {false, 5, 3, 5, 3, 0, 0, 4, 2, 24, 24}, {true, 8, 6, 4, 4, 2, 2, 5, 5, 72, 24},
      {true, 5, 3, 5, 3, 0, 0, 4, 2, 22, 22},  {false, 4, 4, 3, 3, 9, 9, 11, 11, 24, 12},
      {false, 4, 1, 4, 1, 0, 0, 3, 0, 8, 8},   {true, 4, 1, 4, 1, 0, 0, 3, 0, 8, 8},
  };
  ForEachTarget([&] {
    for (const bool resampled : {true, false}) {
      Guarded frame = RandomBytes(5 * 4 + 2 * 2 * 2);
      const int w = resampled ? 7 : 4, h = resampled ? 6 : 4;
      Guarded tensor(static_cast<std::size_t>(3 * w * h) * sizeof(float));
      const Image in = imageOf(TN_PIX_FMT_NV12, 5, 4, frame.data(), frame.size());
      checked::TarnYUVToolKit kit(5, 4, 2, 2, w, h);
      kit.setCvtMat(mat);
      const auto call = [&](std::size_t bytes) {
        kit.convert(in, imageOf(TN_PIX_FMT_CHW_F32, w, h, tensor.data(), bytes));
      };
      EXPECT_EQ(FaultOf([&] { call(tensor.size()); }), "");
      EXPECT_NE(FaultOf([&] { call(tensor.size() - 1); }), "");
    }
    Guarded frame = RandomBytes(5 * 4 + 2 * 5), tensor(3 * 4 * 4 * sizeof(float));
    checked::TarnYUVToolKit::Convert(imageOf(TN_PIX_FMT_YUV420V, 5, 4, frame.data(), frame.size()),
                                     imageOf(TN_PIX_FMT_CHW_F32, 4, 4, tensor.data(), tensor.size()),
                                     mat);

    for (const Crop& c : crops) {
      SCOPED_TRACE(testing::Message() << (c.planar ? "I420 " : "NV12 ") << c.w << "x" << c.h << " from "
                                      << c.x0 << "," << c.y0 << " to " << c.x1 << "," << c.y1);
      Guarded src = RandomBytes(c.read), dst(c.written, 0xA5), expected(c.written, 0xA5);
      const int format = c.planar ? TN_PIX_FMT_YUVI420 : TN_PIX_FMT_NV12;
      const auto call = [&](std::size_t read, std::size_t written) {
        const auto routine =
            c.planar ? checked::TarnYUVToolKit::Crop_YUVI420 : checked::TarnYUVToolKit::Crop;
        routine(imageOf(format, c.w, c.h, src.data(), read),
                imageOf(format, c.out_w, c.out_h, dst.data(), written), c.x0, c.y0, c.x1, c.y1);
      };
      EXPECT_EQ(FaultOf([&] { call(c.read, c.written); }), "");
      EXPECT_EQ(FaultOf([&] { call(c.read - 1, c.written); }).substr(0, 9), "in holds ");
      EXPECT_EQ(FaultOf([&] { call(c.read, c.written - 1); }).substr(0, 10), "out holds ");
      const auto plain = c.planar ? Tarn::TarnYUVToolKit::Crop_YUVI420 : Tarn::TarnYUVToolKit::Crop;
      plain(imageOf(format, c.w, c.h, src.data(), c.read).record,
            imageOf(format, c.out_w, c.out_h, expected.data(), c.written).record, c.x0, c.y0, c.x1,
            c.y1);
      EXPECT_EQ(std::memcmp(dst.data(), expected.data(), dst.size()), 0);
    }
  });
}

using TarnCPU::Mat;

Mat floatsAt(void* data, int w, int h, int c) {
  return Mat::from_float_array(static_cast<float*>(data), w, h, c, TarnCPU::TensorShape::CHW, nullptr);
}

TEST(CheckedInput, BuffersOfExactlyTheSizeNeededPass) {
  struct Case {
    int format, w, h;
    std::size_t frame, work_b;  // bytes; the target is 7x5
  };
  static const Case cases[] = {
      {TN_PIX_FMT_YUVI420, 5, 3, 20, 105}, {TN_PIX_FMT_NV12, 5, 3, 19, 105},
      {TN_PIX_FMT_NV21, 1, 8, 8, 105},     {TN_PIX_FMT_BGRA, 5, 3, 60, 140},
      {TN_PIX_FMT_RGBA, 5, 3, 60, 140},    {TN_PIX_FMT_BGR, 5, 3, 45, 105},
      {TN_PIX_FMT_RGB, 5, 3, 45, 105},     {TN_PIX_FMT_YUVI420, 8, 1, 8, 105},
  };
  ForEachTarget([] {
    for (const Case& c : cases)
      for (const bool cropped : {false, true}) {
        SCOPED_TRACE(testing::Message() << "format " << c.format << (cropped ? ", cropped" : ""));
        Guarded frame = RandomBytes(c.frame), work_a(140), work_b(c.work_b);
        Mat out;
        const auto call = [&](std::size_t frame_bytes, std::size_t a, std::size_t b) {
          return FaultOf([&] {
            const Image in = imageOf(c.format, c.w, c.h, frame.data(), frame_bytes);
            if (cropped)
              checked::getInMat_m1(in, out, 0, 7, 5, {work_a.data(), a}, {work_b.data(), b}, -1, 0,
                                   kMost, 1, true);
            else
              checked::getInMat(in, out, 0, 7, 5, {work_a.data(), a}, {work_b.data(), b});
          });
        };
        EXPECT_EQ(call(c.frame, 140, c.work_b), "");
        EXPECT_TRUE(out.w == 7 && out.h == 5 && out.c == 3);
        EXPECT_EQ(call(c.frame - 1, 140, c.work_b).substr(0, 12), "image holds ");
        EXPECT_EQ(call(c.frame, 139, c.work_b).substr(0, 16), "work_a holds 139");
        EXPECT_EQ(call(c.frame, 140, c.work_b - 1).substr(0, 13), "work_b holds ");
      }
  });
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
      {[&] { input(TN_PIX_FMT_RGB, bytes + 12, bytes + 2000, 4); },
       "image holds 12 bytes; a 4x2 RGB frame needs 24"},
      {[&] { input(TN_PIX_FMT_NV12, bytes + 12, bytes + 2000, -4); },
       "width is -4; it must be from 1 to 16777216"},
      {[&] { input(TN_PIX_FMT_NV12, bytes + 11, bytes + 2000, 4); },
       "work_a overlaps image; the two must lie apart"},
      {[&] { input(TN_PIX_FMT_NV12, bytes + 2000, bytes, 4); },
       "work_b overlaps image; the two must lie apart"},
      {[&] { input(TN_PIX_FMT_NV12, bytes + 12, bytes + 43, 4); },
       "work_b overlaps work_a; the two must lie apart"},
      {[&] { checked::affine(small, rows, matrix); },
       "dst has layout 2 and elements of 4 bytes; it must have layout 1 (CHW) and floats"},
      {[&] { checked::affine(bytewise, apart, matrix); },
       "src has layout 1 and elements of 1 bytes; it must have layout 1 (CHW) and floats"},
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
      {[&] { checked::affine_sse_hwc(floatsAt(bytes, 4, 1, 3), apart, matrix); },
       "src is 4x1x3; it must have 3 planes and sides of 2 or more"},
      {[&] { checked::affine(Mat(), apart, matrix); },
       "src has layout 1 and elements of 0 bytes; it must have layout 1 (CHW) and floats"},
      {[&] { checked::affine(floatsAt(nullptr, 4, 3, 3), apart, matrix); },
       "src is null; a 4x3 tensor of 3 channels needs 144"},
      {[&] { checked::affine(floatsAt(bytes, 65536, 32768, 1), apart, matrix); },
       "src would be too large; a 65536x32768 tensor of 1 channels needs more than 2147483647 floats"},
      {[&] {
         cover({memory.data() + 36, 299}, 5, 5, small);
       },
       "dst holds 299 bytes; a 5x5 tensor of 3 channels needs 300"},
      {[&] {
         cover({memory.data() + 36, 1000}, 3, 5, small);
       },
       "dst is 3x5; it must be at least 4x3 like little"},
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

}  // namespace
