// The forms of the YUV converters inside the library, which stop at the image's end, and colours worked
// out by hand. The exported forms are in the table of routines.
#include "tarnkit/src/cpu_x86/tn_yuv2rgb_cpu_x86.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>
#include <vector>

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

// The first rows of what the exported forms give, between unreadable pages.
TEST(YuvToRgb, ImageFormsStopAtTheEnd) {
  // Every size around one and two vectors of every instruction set, then some larger.
  std::vector<std::pair<int, int>> sizes = {{129, 2}, {254, 3}, {643, 37}};
  for (int h = 1; h <= 20; ++h)
    for (int w = 1; w <= 70; ++w) sizes.emplace_back(w, h);
  ForEachTarget([&] {
    for (const auto& [w, h] : sizes) {
      const int rows = (h + 1) / 2 * 2;
      SCOPED_TRACE(testing::Message() << w << "x" << h);
      const std::size_t luma = bytes(w * h), quarter = bytes(w / 2 * (rows / 2));
      const Guarded src = RandomBytes(bytes(w * (h + rows)), static_cast<std::uint32_t>(w + 100 * h));
      Guarded y(luma), chroma(2 * bytes((w * h + 1) / 2)), u(quarter), v(quarter);
      std::memcpy(y.data(), src.data(), luma);
      std::memcpy(chroma.data(), src.data() + luma, chroma.size());
      Guarded walk(bytes(3 * w * (rows + 1)), kUnwritten), image(3 * luma, kUnwritten);
      const auto expect_first_rows = [&walk, &image] {
        for (std::size_t i = 0; i < image.size(); ++i)
          ASSERT_EQ(walk[i], image[i]) << "byte " << i << " of " << image.size();
      };
      for (const auto order : {Tarn::ChromaOrder::kUFirst, Tarn::ChromaOrder::kVFirst}) {
        tn_reference::semiPlanarWalk(src.data(), w, h, order == Tarn::ChromaOrder::kUFirst, walk.data());
        semiPlanarImageToRgb(y.data(), chroma.data(), w, h, order, image.data());
        expect_first_rows();
      }
      if (quarter > 0) {
        std::memcpy(u.data(), chroma.data(), quarter);
        std::memcpy(v.data(), src.data() + src.size() - quarter, quarter);
      }
      std::memset(walk.data(), kUnwritten, walk.size());
      std::memset(image.data(), kUnwritten, image.size());
      tn_reference::planarWalk(src.data(), u.data(), v.data(), w, h, walk.data());
      planarImageToRgb(y.data(), u.data(), v.data(), w, h, image.data());
      expect_first_rows();
    }
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
