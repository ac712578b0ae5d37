// The forms of the YUV converters inside the library, which stop at the image's end, and colours worked
// out by hand. The exported forms are in the table of routines.
#include "tarnkit/src/cpu_x86/tn_yuv2rgb_cpu_x86.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>

#include "tests/reference/colour_reference.h"
#include "tests/support/test_support.h"
#include "tn_cv.h"

namespace {

using namespace TarnCPU;
using tn_test::ForEachTarget;
using tn_test::Guarded;
using tn_test::RandomBytes;

constexpr std::uint8_t kUnwritten = 0xA5;

std::size_t bytes(int count) { return static_cast<std::size_t>(count); }

void expectSame(const Guarded& expected, const Guarded& actual) {
  ASSERT_EQ(expected.size(), actual.size());
  for (std::size_t i = 0; i < expected.size(); ++i)
    ASSERT_EQ(expected[i], actual[i]) << "byte " << i << " of " << expected.size();
}

// Every width and height around one and two vectors of every instruction set, then some larger.
void forEachSize(const std::function<void(int w, int h)>& body) {
  for (int h = 1; h <= 20; ++h)
    for (int w = 1; w <= 70; ++w) {
      SCOPED_TRACE(testing::Message() << w << "x" << h);
      body(w, h);
      if (testing::Test::HasFatalFailure()) return;
    }
  for (const int w : {129, 254, 643})
    for (const int h : {2, 3, 37}) {
      SCOPED_TRACE(testing::Message() << w << "x" << h);
      body(w, h);
      if (testing::Test::HasFatalFailure()) return;
    }
}

TEST(SemiPlanarToRgb, ImageFormStopsAtTheEnd) {
  ForEachTarget([] {
    forEachSize([](int w, int h) {
      const int rows = (h + 1) / 2 * 2;
      const std::size_t luma = bytes(w * h);
      const Guarded src = RandomBytes(bytes(w * (h + rows)), static_cast<std::uint32_t>(w + 100 * h));
      Guarded y(luma), chroma(2 * bytes((w * h + 1) / 2));
      std::memcpy(y.data(), src.data(), luma);
      std::memcpy(chroma.data(), src.data() + luma, chroma.size());
      for (const auto order : {Tarn::ChromaOrder::kUFirst, Tarn::ChromaOrder::kVFirst}) {
        Guarded walk(bytes(3 * w * (rows + 1)), kUnwritten), expected(3 * luma),
            image(3 * luma, kUnwritten);
        tn_reference::semiPlanarWalk(src.data(), w, h, order == Tarn::ChromaOrder::kUFirst, walk.data());
        std::memcpy(expected.data(), walk.data(), expected.size());
        semiPlanarImageToRgb(y.data(), chroma.data(), w, h, order, image.data());
        expectSame(expected, image);
      }
    });
  });
}

TEST(PlanarToRgb, ImageFormStopsAtTheEnd) {
  ForEachTarget([] {
    forEachSize([](int w, int h) {
      const int passes = (h + 1) / 2;
      const Guarded y = RandomBytes(bytes(w * h), 3), u = RandomBytes(bytes(w / 2 * passes), 5),
                    v = RandomBytes(bytes(w / 2 * passes), 6);
      Guarded padded(bytes(2 * passes * w)), walk(bytes(6 * passes * w), kUnwritten);
      std::memcpy(padded.data(), y.data(), y.size());
      tn_reference::planarWalk(padded.data(), u.data(), v.data(), w, h, walk.data());
      Guarded expected(3 * y.size()), actual(3 * y.size(), kUnwritten);
      std::memcpy(expected.data(), walk.data(), expected.size());
      planarImageToRgb(y.data(), u.data(), v.data(), w, h, actual.data());
      expectSame(expected, actual);
    });
  });
}

// All 65536 chroma pairs, each under four luma samples: the 16-bit steps of the kernels have their
// extremes here.
TEST(YuvToRgb, WrapsForEveryChromaPair) {
  constexpr int w = 2 * 65536;
  Guarded y = RandomBytes(2 * w, 9), pairs(w), u(w / 2), v(w / 2), expected(6 * w);
  for (int i = 0; i < w / 2; ++i) {
    pairs[bytes(2 * i)] = u[bytes(i)] = static_cast<std::uint8_t>(i);
    pairs[bytes(2 * i + 1)] = v[bytes(i)] = static_cast<std::uint8_t>(i >> 8);
    y[bytes(2 * i)] = 0;
    y[bytes(2 * i + 1)] = 255;
  }
  tn_reference::planarWalk(y.data(), u.data(), v.data(), w, 2, expected.data());
  ForEachTarget([&] {
    Guarded actual(expected.size(), kUnwritten);
    planarImageToRgb(y.data(), u.data(), v.data(), w, 2, actual.data());
    expectSame(expected, actual);
    std::memset(actual.data(), kUnwritten, actual.size());
    for (const bool second : {false, true})
      semiPlanarImageToRgb(y.data() + (second ? w : 0), pairs.data(), w, 1, Tarn::ChromaOrder::kUFirst,
                           actual.data() + (second ? 3 * w : 0));
    expectSame(expected, actual);
  });
}

// Worked out by hand, so that kernels and plain form cannot be wrong together.
TEST(YuvToRgb, HandMadeColours) {
  static constexpr struct {
    std::uint8_t y, u, v, rgb[3];
  } cases[] = {
      {0, 128, 128, {0, 0, 0}}, {255, 128, 128, {255, 255, 255}}, {255, 128, 255, {177, 163, 255}},
      {0, 0, 0, {76, 136, 30}}, {255, 255, 128, {255, 211, 223}}, {100, 129, 127, {98, 100, 101}},
  };
  ForEachTarget([] {
    for (const auto& c : cases) {
      constexpr int w = 64;
      Guarded y(w, c.y), u(w / 2, c.u), v(w / 2, c.v), dst(3 * w, kUnwritten);
      planarImageToRgb(y.data(), u.data(), v.data(), w, 1, dst.data());
      for (std::size_t i = 0; i < dst.size(); ++i) ASSERT_EQ(dst[i], c.rgb[i % 3]) << "byte " << i;
    }
  });
}

}  // namespace
