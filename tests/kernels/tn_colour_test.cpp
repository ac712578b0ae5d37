// Colours beside the table of routines: the grey of all colours, the forms of the YUV converters inside
// the library, which stop at the image's end, and the matrices of the published standards.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <random>
#include <utility>
#include <vector>

#include "tarnkit/src/cpu_x86/tn_yuv2rgb_cpu_x86.h"
#include "tests/reference/colour_reference.h"
#include "tests/support/test_support.h"
#include "tn_colormatrix.h"
#include "tn_cv.h"

namespace {

using namespace Tarn;
using namespace TarnCPU;
using tn_test::ForEachTarget;
using tn_test::Guarded;
using tn_test::RandomBytes;

constexpr std::uint8_t kUnwritten = 0xA5;

struct Colour {
  std::uint8_t r, g, b;
};

void expectGray(const std::vector<Colour>& colours) {
  static const struct {
    const char* name;
    void (*gray)(const unsigned char*, unsigned char*, int);
    std::size_t step, red;  // bytes in a pixel, and where red and, opposite, blue sit in it
  } formats[] = {{"BGRA", getGray_from_BGRA_HWC, 4, 2},
                 {"RGBA", getGray_from_RGBA_HWC, 4, 0},
                 {"RGB", getGray_from_RGB_HWC, 3, 0}};
  std::vector<std::uint8_t> expected;
  for (const Colour& c : colours) expected.push_back(tn_reference::gray(c.r, c.g, c.b));
  for (const auto& f : formats) {
    // With an alpha that must not matter, the same for the same colour.
    Guarded packed(f.step * colours.size());
    for (std::size_t i = 0; i < colours.size(); ++i) {
      const auto [r, g, b] = colours[i];
      std::uint8_t* const pixel = &packed[f.step * i];
      pixel[f.step - 1] = static_cast<std::uint8_t>(3 * r + 5 * g);
      pixel[f.red] = r;
      pixel[1] = g;
      pixel[2 - f.red] = b;
    }
    ForEachTarget([&] {
      Guarded actual(colours.size(), kUnwritten);
      f.gray(packed.data(), actual.data(), static_cast<int>(colours.size()));
      for (std::size_t i = 0; i < colours.size(); ++i)
        ASSERT_EQ(expected[i], actual[i])
            << f.name << ", pixel " << i << " of " << colours.size() << ": R " << int{colours[i].r}
            << " G " << int{colours[i].g} << " B " << int{colours[i].b};
    });
  }
}

TEST(Gray, AllColoursOnEveryTarget) {
  std::vector<Colour> colours(65536);
  for (int r = 0; r < 256; ++r) {
    for (std::size_t i = 0; i < colours.size(); ++i)
      colours[i] = {static_cast<std::uint8_t>(r), static_cast<std::uint8_t>(i >> 8),
                    static_cast<std::uint8_t>(i)};
    expectGray(colours);
    if (HasFatalFailure()) return;
  }
}

// Stretches of pure grey, of noise, of colours whose exact sum is an integer (one, two in turn, or
// many), and of colours with two equal channels, which are not grey yet; they begin and end anywhere in
// a block.
TEST(Gray, MixedPicturesOnEveryTarget) {
  std::mt19937 random(20);
  const auto byte = [&] { return static_cast<std::uint8_t>(random() >> 24); };
  const auto exact = [&] {
    for (;;) {
      const Colour c = {byte(), byte(), byte()};
      if ((587 * c.g + 299 * c.r + 114 * c.b) % 1000 == 0) return c;
    }
  };
  for (int picture = 0; picture < 60; ++picture) {
    std::vector<Colour> colours(1 + random() % 3000);
    for (std::size_t i = 0; i < colours.size();) {
      const std::size_t end = std::min<std::size_t>(colours.size(), i + 1 + random() % 400);
      const auto kind = random() % 8;
      const Colour flat[] = {exact(), exact()};
      for (; i < end; ++i) {
        const std::uint8_t v = byte(), other = byte();
        const Colour choices[] = {{v, v, v},     {v, other, byte()}, flat[0],      flat[i % 2],
                                  {v, v, other}, {v, other, v},      {other, v, v}};
        colours[i] = kind < 7 ? choices[kind] : exact();
        // Now and then one channel of an area's colour differs.
        if (kind == 2 && v < 3) (v == 0 ? colours[i].r : v == 1 ? colours[i].g : colours[i].b) ^= 0x40;
      }
    }
    expectGray(colours);
    if (HasFatalFailure()) return;
  }
}

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
      for (const auto order : {ChromaOrder::kUFirst, ChromaOrder::kVFirst}) {
        tn_reference::semiPlanarWalk(src.data(), w, h, order == ChromaOrder::kUFirst, walk.data());
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
      semiPlanarImageToRgb(y.data() + (second ? w : 0), pairs.data(), w, 1, ChromaOrder::kUFirst,
                           actual.data() + (second ? 3 * w : 0));
    expectSame(expected, actual);
  });
}

float apply(const _ConvertMatrixFromYUV& mat, int row, float y, float c1, float c2) {
  return mat.coef[3 * row] * y + mat.coef[3 * row + 1] * c1 + mat.coef[3 * row + 2] * c2 +
         mat.offset[row];
}

// The coefficients as they are published for full range, to their six decimals: red from Cr, green from
// Cb and Cr, blue from Cb. Limited range stretches 219 steps of luma and 224 of chroma to 255.
TEST(ColorMatrix, HasThePublishedCoefficients) {
  struct Case {
    YuvStandard standard;
    double red_cr, green_cb, green_cr, blue_cb;
  };
  static const Case cases[] = {
      {YuvStandard::kBt601, 1.402, -0.344136, -0.714136, 1.772},
      {YuvStandard::kBt709, 1.5748, -0.187324, -0.468124, 1.8556},
      {YuvStandard::kBt2020, 1.4746, -0.164553, -0.571353, 1.8814},
  };
  for (const Case& c : cases)
    for (const bool limited : {false, true}) {
      SCOPED_TRACE(testing::Message() << c.red_cr << (limited ? " limited" : " full"));
      YuvToRgbOptions options;
      options.standard = c.standard;
      options.range = limited ? YuvRange::kLimited : YuvRange::kFull;
      const _ConvertMatrixFromYUV mat = makeYuvToRgbMatrix(options);

      const double l = limited ? 255.0 / 219.0 : 1.0, k = limited ? 255.0 / 224.0 : 1.0;
      const double coef[9] = {l, 0, k * c.red_cr, l, k * c.green_cb, k * c.green_cr, l, k * c.blue_cb,
                              0};
      // Half a unit of the last published decimal, stretched by the range.
      for (int i = 0; i < 9; ++i) EXPECT_NEAR(mat.coef[i], coef[i], 1e-6) << "coefficient " << i;
      // Black and white are exact colours whatever the standard.
      for (int channel = 0; channel < 3; ++channel) {
        EXPECT_NEAR(apply(mat, channel, limited ? 16 : 0, 128, 128), 0.0, 1e-4) << channel;
        EXPECT_NEAR(apply(mat, channel, limited ? 235 : 255, 128, 128), 255.0, 1e-4) << channel;
      }
    }
}

TEST(ColorMatrix, WhatNoListHasIsTheFirstOfIt) {
  YuvToRgbOptions first, other;
  first.standard = YuvStandard::kBt601;
  first.range = YuvRange::kFull;
  other.standard = static_cast<YuvStandard>(3);
  other.range = static_cast<YuvRange>(2);
  other.chroma_order = static_cast<ChromaOrder>(2);
  other.channel_order = static_cast<ChannelOrder>(-1);
  const _ConvertMatrixFromYUV a = makeYuvToRgbMatrix(first), b = makeYuvToRgbMatrix(other);
  EXPECT_EQ(std::memcmp(&a, &b, sizeof a), 0);
}

TEST(ColorMatrix, FoldsOrderAndNormalisation) {
  YuvToRgbOptions options;
  const _ConvertMatrixFromYUV plain = makeYuvToRgbMatrix(options);

  options.channel_order = ChannelOrder::kBgr;
  options.chroma_order = ChromaOrder::kVFirst;
  const float mean[3] = {103.5f, 116.25f, 123.75f}, scale[3] = {0.0175f, -2.0f, 0.5f};
  for (int i = 0; i < 3; ++i) options.mean[i] = mean[i], options.scale[i] = scale[i];
  const _ConvertMatrixFromYUV folded = makeYuvToRgbMatrix(options);

  for (int channel = 0; channel < 3; ++channel) {
    const float colour = apply(plain, 2 - channel, 120, 90, 200);
    // Both sides round their coefficients to float: a few units in the last place of 255 * scale.
    EXPECT_NEAR(apply(folded, channel, 120, 200, 90), (colour - mean[channel]) * scale[channel],
                1e-4f * std::abs(scale[channel]));
  }
}

}  // namespace
