#include "tn_resize.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "tests/reference/resize_reference.h"
#include "tests/support/test_support.h"
#include "tn_cv.h"

namespace {

using tn_reference::Bytes;
using tn_reference::Rectangle;
using tn_test::ForEachTarget;
using tn_test::Guarded;
using tn_test::RandomBytes;

constexpr int kLowest = std::numeric_limits<int>::min(), kHighest = std::numeric_limits<int>::max();

std::size_t bytes(int w, int h, int c) {
  return static_cast<std::size_t>(w) * static_cast<std::size_t>(h) * static_cast<std::size_t>(c);
}

using ResizeFunction = void (*)(const unsigned char*, int, int, unsigned char*, int, int);
using PlainFunction = Bytes (*)(const std::uint8_t*, int, int, int, int, int);
struct Resizer {
  const char* name;
  ResizeFunction resize;
  PlainFunction plain;
  int c;
};
const Resizer kResizers[] = {
    {"bilinear c1", TarnCPU::resize_bilinear_c1, tn_reference::resizeBilinear, 1},
    {"bilinear c2", TarnCPU::resize_bilinear_c2, tn_reference::resizeBilinear, 2},
    {"bilinear c3", TarnCPU::resize_bilinear_c3, tn_reference::resizeBilinear, 3},
    {"bilinear c4", TarnCPU::resize_bilinear_c4, tn_reference::resizeBilinear, 4},
    {"bilinear c2 of the other library", TarnCPU::TN_CV::resize_bilinear_c2,
     tn_reference::resizeBilinear, 2},
    {"nearest c1", TarnCPU::resize_nearest_c1, tn_reference::resizeNearest, 1},
};

using CropFunction = void (*)(const unsigned char*, int, int, unsigned char*, int, int, int, int, int,
                              int);
struct Cropper {
  const char* name;
  CropFunction crop;
  int c;
};
const Cropper kCroppers[] = {
    {"crop c1", TarnCPU::crop_resize_nearest_c1, 1},
    {"crop c3", TarnCPU::crop_resize_nearest_c3, 3},
    {"crop c4", TarnCPU::crop_resize_nearest_c4, 4},
};

// A source of these bytes that a page follows, or goes before, as the loop has it.
Guarded guardedCopy(const Bytes& from) {
  Guarded copy(from.size());
  std::memcpy(copy.data(), from.data(), from.size());
  return copy;
}

Bytes randomBytes(std::size_t size, std::uint32_t seed) {
  const Guarded random = RandomBytes(size, seed);
  return Bytes(random.data(), random.data() + size);
}

struct Shape {
  int sw, sh, dw, dh;
};

void expectResize(const Resizer& r, const std::vector<Shape>& shapes) {
  std::vector<Bytes> sources, expected;
  for (const Shape& s : shapes) {
    sources.push_back(randomBytes(bytes(s.sw, s.sh, r.c), 17));
    expected.push_back(r.plain(sources.back().data(), s.sw, s.sh, s.dw, s.dh, r.c));
  }
  ForEachTarget([&] {
    for (std::size_t i = 0; i < shapes.size(); ++i) {
      const Shape& s = shapes[i];
      const Guarded src = guardedCopy(sources[i]);
      for (std::uint8_t fill : {std::uint8_t{0xA5}, std::uint8_t{0x5A}}) {
        Guarded dst(expected[i].size(), fill);
        r.resize(src.data(), s.sw, s.sh, dst.data(), s.dw, s.dh);
        ASSERT_EQ(Bytes(dst.data(), dst.data() + dst.size()), expected[i])
            << r.name << " " << s.sw << "x" << s.sh << " to " << s.dw << "x" << s.dh;
      }
    }
  });
}

// Rows around the 16 bytes of a window, and scales at which a block of samples takes 1, 2, 4 or 8
// windows or none holds two samples; outputs around a step of each vector width.
TEST(Resizers, EveryWidthEqualsTheRule) {
  std::vector<Shape> shapes;
  for (int sw : {1, 2, 3, 4, 5, 6, 7, 8, 9, 15, 16, 17, 18, 40, 100, 333, 1500})
    for (int dw : {1, 2, 3, 5, 8, 11, 16, 17, 21, 22, 31, 32, 33, 43, 63, 64, 65, 100, 130})
      shapes.push_back({sw, 3, dw, 2});
  for (const Resizer& r : kResizers) expectResize(r, shapes);
}

TEST(Resizers, EveryHeightEqualsTheRule) {
  std::vector<Shape> shapes;
  for (int sh : {1, 2, 3, 4, 5, 8, 13, 40})
    for (int dh : {1, 2, 3, 4, 5, 8, 19, 20, 39, 40, 41, 120}) shapes.push_back({23, sh, 18, dh});
  for (const Resizer& r : kResizers) expectResize(r, shapes);
}

TEST(Resizers, RandomShapesEqualTheRule) {
  std::mt19937 random(5);
  const auto up_to = [&](unsigned most) { return static_cast<int>(1 + random() % most); };
  std::vector<Shape> shapes;
  for (int i = 0; i < 40; ++i) shapes.push_back({up_to(300), up_to(60), up_to(300), up_to(60)});
  // Far from the origin positions are rounded to few bits, and halves of a weight are common.
  shapes.push_back({5003, 2, 3001, 1});
  // Nothing lies beside a single pixel; and three of them to 2048 have weights of halves.
  for (const Shape& s : {Shape{1, 1, 9, 7}, Shape{2, 1, 40, 7}, Shape{1, 11, 40, 7}, Shape{9, 1, 9, 7},
                         Shape{3, 3, 2048, 5}})
    shapes.push_back(s);
  for (const Resizer& r : kResizers) expectResize(r, shapes);
}

// Three pixels to 2048: every weight is a half rounded up, so the two of a pixel add up to 2049.
TEST(Resizers, WeightsThatAddUpToMoreThanOneDoNotWrap) {
  for (const Resizer& r : kResizers) {
    const Bytes white(bytes(8, 3, r.c), 255);
    Bytes dst(bytes(2048, 2048, r.c));
    ForEachTarget([&] {
      r.resize(white.data(), 8, 3, dst.data(), 2048, 2048);
      ASSERT_EQ(dst, Bytes(dst.size(), 255)) << r.name;
    });
  }
}

TEST(Resizers, TheSameSizeIsACopy) {
  for (const Resizer& r : kResizers) {
    const Bytes src = randomBytes(bytes(77, 9, r.c), 3);
    ForEachTarget([&] {
      Bytes dst(src.size());
      r.resize(src.data(), 77, 9, dst.data(), 77, 9);
      ASSERT_EQ(dst, src) << r.name;
    });
  }
}

void expectCrop(const Cropper& k, const Shape& s, const Rectangle& crop) {
  const Bytes pixels = randomBytes(bytes(s.sw, s.sh, k.c), 31);
  const Bytes background = randomBytes(bytes(s.dw, s.dh, k.c), 37);
  const Bytes expected =
      tn_reference::cropResizeNearest(pixels.data(), s.sw, s.sh, background, s.dw, s.dh, k.c, crop);
  ForEachTarget([&] {
    const Guarded src = guardedCopy(pixels);
    Guarded dst = guardedCopy(background);
    k.crop(src.data(), s.sw, s.sh, dst.data(), s.dw, s.dh, crop.left, crop.top, crop.right, crop.bottom);
    ASSERT_EQ(Bytes(dst.data(), dst.data() + dst.size()), expected)
        << k.name << " (" << crop.left << ", " << crop.top << ", " << crop.right << ", " << crop.bottom
        << ") of " << s.sw << "x" << s.sh << " to " << s.dw << "x" << s.dh;
  });
}

TEST(CropResize, EveryRectangleEqualsTheRuleAndKeepsTheBackground) {
  constexpr int kW = 61, kH = 23;
  static const Rectangle rectangles[] = {
      {0, 0, kW - 1, kH - 1},
      {5, 3, 40, 20},
      {30, 11, 30, 11},   // one pixel
      {-20, -9, 30, 10},  // over the corners and sides
      {40, 15, 90, 60},
      {-30, -30, 100, 100},
      {-3, 5, 65, 5},
      {0, -40, 8, 60},
      {60, 22, 61, 23},
      {kW, 0, kW + 20, 10},  // outside
      {-20, 0, -1, 10},
      {0, kH, 10, kH + 5},
      {5, -8, 9, -1},
      {10, 5, 9, 15},  // empty, inverted
      {5, 10, 15, 9},
      {40, 20, 5, 3},
      {kHighest, kHighest, kLowest, kLowest},
      {kLowest, kLowest, kHighest, kHighest},  // as far as it goes
      {kLowest, 0, 30, 10},
      {0, 0, kHighest, kHighest},
      {kLowest, kLowest, kLowest, kLowest},
      {kHighest, kHighest, kHighest, kHighest},
      {-1000000, -3, 1000100, 30},
  };
  for (const Cropper& k : kCroppers)
    for (const Rectangle& crop : rectangles)
      for (const Shape& s : {Shape{kW, kH, 64, 9}, Shape{kW, kH, 7, 50}, Shape{kW, kH, 150, 31}}) {
        expectCrop(k, s, crop);
        if (HasFatalFailure()) return;
      }
}

TEST(CropResize, EverySourceWidthEqualsTheRule) {
  for (const Cropper& k : kCroppers)
    for (int sw : {1, 3, 4, 5, 6, 15, 16, 17, 200})
      for (int dw : {1, 16, 33, 65, 300}) {
        expectCrop(k, {sw, 4, dw, 5}, {-1, 0, sw - 1, 3});
        if (HasFatalFailure()) return;
      }
}

// Any access would crash.
TEST(Resizers, EmptySizesTouchNothing) {
  ForEachTarget([] {
    for (int none : {0, -1, kLowest}) {
      for (const Resizer& r : kResizers) {
        r.resize(nullptr, 8, 8, nullptr, none, 8);
        r.resize(nullptr, 8, 8, nullptr, 8, none);
      }
      for (const Cropper& k : kCroppers) {
        k.crop(nullptr, 8, 8, nullptr, none, 8, 0, 0, 7, 7);
        k.crop(nullptr, 8, 8, nullptr, 8, none, 0, 0, 7, 7);
      }
    }
  });
}

}  // namespace
