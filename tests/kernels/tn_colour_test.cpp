// Grey conversion of all colours, and of colours worked out by hand. Counts, planes and buffers are in
// the table of routines.
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

struct Format {
  const char* name;
  void (*gray)(const unsigned char*, unsigned char*, int);
  std::size_t step, red, green, blue;  // bytes in a pixel, and where the channels sit in it
};
const Format kFormats[] = {
    {"BGRA", getGray_from_BGRA_HWC, 4, 2, 1, 0},
    {"RGBA", getGray_from_RGBA_HWC, 4, 0, 1, 2},
    {"RGB", getGray_from_RGB_HWC, 3, 0, 1, 2},
};

struct Colour {
  std::uint8_t r, g, b;
};

// Packed pixels with an alpha that must not matter, the same for the same colour.
Guarded pack(const Format& f, const std::vector<Colour>& colours) {
  Guarded packed(f.step * colours.size());
  for (std::size_t i = 0; i < colours.size(); ++i) {
    packed[f.step * i + f.red] = colours[i].r;
    packed[f.step * i + f.green] = colours[i].g;
    packed[f.step * i + f.blue] = colours[i].b;
    if (f.step == 4) packed[4 * i + 3] = static_cast<std::uint8_t>(3 * colours[i].r + 5 * colours[i].g);
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
    const std::vector<std::uint8_t> expected = grayOf(colours);
    for (const Format& f : kFormats) expectGray(f, colours, expected);
    if (HasFatalFailure()) return;
  }
}

TEST(Gray, HandMadeColours) {
  for (const Format& f : kFormats)
    expectGray(f, {{255, 255, 255}, {128, 128, 128}, {1, 0, 0}, {255, 0, 0}, {0, 255, 0}, {0, 0, 255}},
               {255, 127, 0, 76, 149, 29});
}

}  // namespace
