// Grey and planar conversion of packed colour through the shared library. Buffers end at an unreadable
// page.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

#include "tests/reference/colour_reference.h"
#include "tests/support/test_support.h"
#include "tn_cv.h"

namespace {

using namespace TarnCPU;
using tn_test::ForEachTarget;
using tn_test::Guarded;
using tn_test::RandomBytes;

using Kernel = void (*)(const unsigned char*, unsigned char*, int);

struct Format {
  const char* name;
  Kernel gray, planar;
  std::size_t step, red, green, blue;  // bytes in a pixel, and where the channels sit in it
};
const Format kFormats[] = {
    {"BGRA", getGray_from_BGRA_HWC, getRGB_CHW_from_BGRA_HWC, 4, 2, 1, 0},
    {"RGBA", getGray_from_RGBA_HWC, getRGB_CHW_from_RGBA_HWC, 4, 0, 1, 2},
    {"RGB", getGray_from_RGB_HWC, getRGB_CHW_from_RGB_HWC, 3, 0, 1, 2},
};

struct Colour {
  std::uint8_t r, g, b;
};

// Packed pixels with an alpha that must not matter.
Guarded pack(const Format& f, const std::vector<Colour>& colours) {
  Guarded packed = RandomBytes(f.step * colours.size());
  for (std::size_t i = 0; i < colours.size(); ++i) {
    packed[f.step * i + f.red] = colours[i].r;
    packed[f.step * i + f.green] = colours[i].g;
    packed[f.step * i + f.blue] = colours[i].b;
  }
  return packed;
}

void expectGray(const Format& f, const std::vector<Colour>& colours,
                const std::vector<std::uint8_t>& expected) {
  const Guarded packed = pack(f, colours);
  ForEachTarget([&] {
    Guarded actual(colours.size(), 0xA5);
    f.gray(packed.data(), actual.data(), static_cast<int>(colours.size()));
    for (std::size_t i = 0; i < colours.size(); ++i)
      ASSERT_EQ(expected[i], actual[i])
          << f.name << ", pixel " << i << " of " << colours.size() << ": R " << int{colours[i].r}
          << " G " << int{colours[i].g} << " B " << int{colours[i].b};
  });
}

std::vector<std::uint8_t> grayOf(const std::vector<Colour>& colours) {
  std::vector<std::uint8_t> gray(colours.size());
  std::transform(colours.begin(), colours.end(), gray.begin(),
                 [](const Colour& c) { return tn_reference::gray(c.r, c.g, c.b); });
  return gray;
}

TEST(Gray, AllColoursOnEveryTarget) {
  std::vector<Colour> colours(65536);
  for (int r = 0; r < 256; ++r) {
    for (std::size_t i = 0; i < colours.size(); ++i)
      colours[i] = {static_cast<std::uint8_t>(r), static_cast<std::uint8_t>(i >> 8),
                    static_cast<std::uint8_t>(i)};
    const std::vector<std::uint8_t> expected = grayOf(colours);
    for (const Format& f : kFormats) expectGray(f, colours, expected);
    if (HasFatalFailure()) return;
  }
}

// Stretches of grey, of noise, of one colour whose exact sum is an integer, and of colours with two
// equal channels, which are not grey yet; they begin and end anywhere in a block.
TEST(Gray, MixedFootageOnEveryTarget) {
  const auto doubtful = [](const Colour& c) { return (587 * c.g + 299 * c.r + 114 * c.b) % 1000 == 0; };
  std::mt19937 random(20);
  const auto byte = [&] { return static_cast<std::uint8_t>(random() >> 24); };
  for (int picture = 0; picture < 60; ++picture) {
    std::vector<Colour> colours(1 + random() % 3000);
    for (std::size_t i = 0; i < colours.size();) {
      const std::size_t end = std::min<std::size_t>(colours.size(), i + 1 + random() % 400);
      const auto kind = random() % 6;
      Colour flat = {byte(), byte(), byte()};
      while (!doubtful(flat)) flat = {byte(), byte(), byte()};
      for (; i < end; ++i) {
        const std::uint8_t v = byte(), other = byte();
        const Colour choices[] = {{v, v, v},     {v, other, byte()}, flat,
                                  {v, v, other}, {v, other, v},      {other, v, v}};
        colours[i] = choices[kind];
      }
    }
    const std::vector<std::uint8_t> expected = grayOf(colours);
    for (const Format& f : kFormats) expectGray(f, colours, expected);
    if (HasFatalFailure()) return;
  }
}

TEST(Gray, HandMadeColoursAndEveryCount) {
  static constexpr struct {
    Colour colour;
    std::uint8_t gray;
  } cases[] = {
      {{255, 255, 255}, 255}, {{128, 128, 128}, 127}, {{1, 0, 0}, 0},
      {{255, 0, 0}, 76},      {{0, 255, 0}, 149},     {{0, 0, 255}, 29},
  };
  for (const Format& f : kFormats)
    for (std::size_t n = 1; n <= 300; n += n < 70 ? 1 : 23) {
      std::vector<Colour> colours(n);
      std::vector<std::uint8_t> expected(n);
      for (std::size_t i = 0; i < n; ++i) {
        const auto& c = cases[(i + n) % std::size(cases)];
        colours[i] = c.colour;
        expected[i] = c.gray;
      }
      expectGray(f, colours, expected);
      if (HasFatalFailure()) return;
    }
}

TEST(Planar, EveryByteLandsInItsPlaneOnEveryTarget) {
  // Every count around the step of 64 pixels and its double, then some that leave long tails.
  std::vector<std::size_t> counts = {255, 256, 1000, 4099};
  for (std::size_t n = 1; n <= 140; ++n) counts.push_back(n);
  for (const Format& f : kFormats)
    for (const std::size_t n : counts) {
      SCOPED_TRACE(testing::Message() << f.name << ", " << n << " pixels");
      const Guarded src = RandomBytes(f.step * n, static_cast<std::uint32_t>(n));
      ForEachTarget([&] {
        Guarded dst(3 * n, 0xA5);
        f.planar(src.data(), dst.data(), static_cast<int>(n));
        const std::size_t places[] = {f.red, f.green, f.blue};
        for (std::size_t i = 0; i < 3 * n; ++i)
          ASSERT_EQ(dst[i], src[f.step * (i % n) + places[i / n]]) << "byte " << i;
      });
      if (HasFatalFailure()) return;
    }
}

TEST(PackedColour, EmptyCountsTouchNothing) {
  for (const Format& f : kFormats)
    for (const int n : {0, -1, -2147483647 - 1}) {
      f.gray(nullptr, nullptr, n);
      f.planar(nullptr, nullptr, n);
    }
}

}  // namespace
