// The YUV toolkit beside its table rows: what is no tensor or no size, tables, the object's fields and
// memory.
#include "tn_yuvconverter.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <string>

#include "common/tn_sanitizers.h"
#include "tests/reference/yuv_reference.h"
#include "tests/support/test_support.h"

#if defined(TN_ADDRESS_SANITIZER)
#include <sanitizer/lsan_interface.h>
#endif

namespace {

using namespace Tarn;
using namespace tn_test;

constexpr std::uint8_t kUntouched = 0xA5;

// Every coefficient different and none a power of two, so that a change of order shows in the last bit.
_ConvertMatrixFromYUV oddMatrix() {
  return {1.164383f, 0.017f, 1.792741f, 1.17f,  -0.213249f, -0.532909f,
          1.159f,    2.11f,  -0.0031f,  -97.3f, 33.77f,     -115.21f};
}

_TN_Image image(int format, int w, int h, Guarded& memory) {
  return {0, format, w, h, 0, memory.data()};
}

bool sameBits(const Guarded& got, const Guarded& want) {
  return got.size() == want.size() && std::memcmp(got.data(), want.data(), got.size()) == 0;
}

TEST(YuvConvert, TouchesNothingThatIsNoTensor) {
  Guarded frame = RandomBytes(12 * 10 * 3 / 2), tensor(3 * 2 * 2 * 4, kUntouched);
  TarnYUVToolKit kit(12, 10, 6, 5, 2, 2);
  for (const int format : {12, TN_PIX_FMT_NV12, 0, -13})
    kit.convert(image(TN_PIX_FMT_NV12, 12, 10, frame), image(format, 2, 2, tensor));
  EXPECT_TRUE(sameBits(tensor, Guarded(tensor.size(), kUntouched)));
}

TEST(YuvConvert, TakesSizesWithoutPixels) {
  constexpr int kMost = std::numeric_limits<int>::max();
  for (const YuvSizes& s :
       {YuvSizes{8, 8, 4, 0, 8}, YuvSizes{8, 8, 4, 8, 0}, YuvSizes{8, 8, 4, 0, 0},
        YuvSizes{8, 8, 4, -4, -6}, YuvSizes{8, 8, 4, -4, 6}, YuvSizes{8, 8, 4, kMost, 0},
        YuvSizes{8, 8, 4, 0, kMost}, YuvSizes{0, 0, 0, 0, 0}}) {
    TarnYUVToolKit kit(s.src_w, s.src_h, s.src_uv_w, s.src_h / 2, s.dst_w, s.dst_h);
    Guarded frame(96), nothing(0);
    kit.convert(image(TN_PIX_FMT_NV12, 8, 8, frame), image(TN_PIX_FMT_CHW_F32, 0, 0, nothing));
  }
  // A frame without bytes reads as zeros.
  for (const YuvSizes& s :
       {YuvSizes{0, 0, 0, 8, 8}, YuvSizes{-5, 4, 0, 8, 8}, YuvSizes{5, -4, 2, 8, 8}}) {
    TarnYUVToolKit kit(s.src_w, s.src_h, s.src_uv_w, 0, s.dst_w, s.dst_h);
    kit.setCvtMat({1, 1, 1, 1, 1, 1, 1, 1, 1, 7, 7, 7});
    Guarded nothing(0), tensor(4 * 3 * 64, kUntouched);
    kit.convert(image(TN_PIX_FMT_NV12, 0, 0, nothing), image(TN_PIX_FMT_CHW_F32, 8, 8, tensor));
    EXPECT_EQ(tensor.floats()[63], 7.0f);
  }
}

// The object's fields, in order: part of the binary interface.
struct Fields {
  std::int32_t src_width, src_height, src_uv_width, src_uv_height, dst_width, dst_height;
  float mat[12];
  const float *buf_y, *buf_u, *buf_v, *weights_y, *weights_uv;
  const std::int32_t *index_y, *index_uv;
};

Fields fieldsOf(const TarnYUVToolKit& kit) {
  Fields fields;
  static_assert(sizeof fields == sizeof kit, "nothing else");
  std::memcpy(static_cast<void*>(&fields), static_cast<const void*>(&kit), sizeof fields);
  return fields;
}

TEST(YuvToolKit, TablesAreAFunctionOfTheSizes) {
  for (const YuvSizes& s :
       {YuvSizes{20, 12, 10, 8, 6}, YuvSizes{6, 6, 3, 9, 13}, YuvSizes{7, 9, 2, 7, 9}}) {
    const TarnYUVToolKit kit(s.src_w, s.src_h, s.src_uv_w, 99, s.dst_w, s.dst_h);
    const Fields f = fieldsOf(kit);
    EXPECT_EQ(f.src_width, s.src_w);
    EXPECT_EQ(f.src_uv_height, 99);
    EXPECT_EQ(f.dst_height, s.dst_h);
    const float sx = static_cast<float>(s.src_w) / static_cast<float>(s.dst_w);
    const float sy = static_cast<float>(s.src_h) / static_cast<float>(s.dst_h);
    for (int chroma = 0; chroma < 2; ++chroma) {
      const float* w = chroma ? f.weights_uv : f.weights_y;
      const std::int32_t* index = chroma ? f.index_uv : f.index_y;
      const int pitch = chroma ? 2 * s.src_uv_w : s.src_w, step = 1 + chroma;
      for (int y = 0; y < s.dst_h / step; ++y)
        for (int x = 0; x < s.dst_w / step; ++x, w += 4, index += 2) {
          const YuvPosition px(x, sx), py(y, sy);
          EXPECT_EQ(w[0], px.f0 * py.f0);
          EXPECT_EQ(w[1], px.f1 * py.f0);
          EXPECT_EQ(w[2], py.f1 * px.f0);
          EXPECT_EQ(w[3], py.f1 * px.f1);
          EXPECT_EQ(index[0], pitch * py.i0 + step * px.i0);
          EXPECT_EQ(index[1], pitch * (py.i0 + 1) + step * px.i0);
        }
    }
  }
}

TEST(YuvToolKit, AssignmentSharesTheBuffersAndCopiesTheMatrix) {
  // The target's own buffers are lost and its destructor must not run: that is the contract.
#if defined(TN_ADDRESS_SANITIZER)
  __lsan_disable();
#endif
  TarnYUVToolKit& target = *new TarnYUVToolKit(4, 4, 2, 2, 8, 8);
#if defined(TN_ADDRESS_SANITIZER)
  __lsan_enable();
#endif
  TarnYUVToolKit source(8, 6, 4, 3, 2, 2);
  source.setCvtMat(oddMatrix());
  target = source;
  EXPECT_EQ(fieldsOf(target).weights_y, fieldsOf(source).weights_y);
  EXPECT_EQ(fieldsOf(target).buf_y, fieldsOf(source).buf_y);
  EXPECT_EQ(fieldsOf(target).dst_width, 2);
  EXPECT_EQ(target.getCvtMat().offset[2], oddMatrix().offset[2]);

  target.setCvtMat({});
  EXPECT_EQ(source.getCvtMat().coef[0], oddMatrix().coef[0]);
  EXPECT_EQ(target.getCvtMat().coef[0], 0.0f);
  target.setCvtMat(oddMatrix());
  Guarded frame = RandomBytes(8 * 6 * 3 / 2), a(48, 1), b(48, 2);
  source.convert(image(TN_PIX_FMT_NV12, 8, 6, frame), image(TN_PIX_FMT_CHW_F32, 2, 2, a));
  target.convert(image(TN_PIX_FMT_NV12, 8, 6, frame), image(TN_PIX_FMT_CHW_F32, 2, 2, b));
  EXPECT_TRUE(sameBits(a, b));
  ::operator delete(&target);
}

TEST(YuvConvertSameSizeDeathTest, RefusesOtherFormats) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  Guarded frame(6), tensor(48);
  const auto run = [&](int in, int out) {
    TarnYUVToolKit::Convert(image(in, 2, 2, frame), image(out, 2, 2, tensor), oddMatrix());
  };
  // Whatever line the check stands on; the input is looked at first. Dots stand for "||".
  const char* const file = "tarnkit/src/cpu_x86/tn_yuvconverter_cpu_x86";
  const std::string input = tn_test::FailedCheck(
      "in_.pix_fmt == TN_PIX_FMT_NV12 .. in_.pix_fmt == TN_PIX_FMT_NV21 .. "
      "in_.pix_fmt == TN_PIX_FMT_YUVI420 .. in_.pix_fmt == TN_PIX_FMT_YUV420V",
      file, 1182);
  const std::string output = tn_test::FailedCheck("out_.pix_fmt == TN_PIX_FMT_CHW_F32", file, 1183);
  for (const int format : {0, 2, 4, 5, 6, 9, 10, 11, 12, 13}) EXPECT_DEATH(run(format, 0), input);
  for (const int format : {0, 7, 12, 14}) EXPECT_DEATH(run(TN_PIX_FMT_NV12, format), output);
}

}  // namespace
