#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <vector>

#include "tests/reference/geometry_reference.h"
#include "tests/support/test_support.h"
#include "tn_cv.h"

namespace {

using TarnCPU::TN_CV;
using tn_reference::Bytes;
using tn_test::ForEachTarget;
using tn_test::Guarded;
using tn_test::RandomBytes;

std::size_t bytes(int a, int b, int c = 1) {
  return static_cast<std::size_t>(a) * static_cast<std::size_t>(b) * static_cast<std::size_t>(c);
}

// Runs `kernel(dst)` on every instruction set, on two different fills so that a byte left as it was
// shows, and compares with `expected`. `slack` moves dst off the alignment that its size gives it.
template <class Kernel>
void expectOnEveryTarget(const Bytes& expected, Kernel kernel, std::size_t slack = 0) {
  ForEachTarget([&] {
    for (std::uint8_t fill : {std::uint8_t{0xA5}, std::uint8_t{0x5A}}) {
      Guarded dst(expected.size() + slack, fill);
      kernel(dst.data());
      ASSERT_EQ(Bytes(dst.data(), dst.data() + expected.size()), expected);
      for (std::size_t i = 0; i < slack; ++i) ASSERT_EQ(dst[expected.size() + i], fill);
    }
  });
}

struct Turn {
  const char* name;
  void (*turn)(const unsigned char*, int, int, unsigned char*);
  Bytes (*plain)(const std::uint8_t*, int, int, int);
  int c;
  bool clockwise;
};
const Turn kTurns[] = {
    {"rotate90 3", TN_CV::rotate90_intrinsics_3_channel, tn_reference::turnClockwise, 3, true},
    {"rotate90 4", TN_CV::rotate90_intrinsics_4_channel, tn_reference::turnClockwise, 4, true},
    {"anti 3", TN_CV::anti_rotate90_intrinsics_3_channel, tn_reference::turnAnticlockwise, 3, false},
    {"anti 4", TN_CV::anti_rotate90_intrinsics_4_channel, tn_reference::turnAnticlockwise, 4, false},
};

void expectTurn(const Turn& t, int w, int h, std::size_t slack = 0) {
  SCOPED_TRACE(testing::Message() << t.name << ", " << w << "x" << h << ", slack " << slack);
  const Guarded src = RandomBytes(bytes(w, h, t.c) + slack);
  expectOnEveryTarget(
      t.plain(src.data(), w, h, t.c), [&](std::uint8_t* dst) { t.turn(src.data(), w, h, dst); }, slack);
}

TEST(Turns, EverySizeEqualsTheBlockWalk) {
  for (const Turn& t : kTurns)
    for (int w = 1; w <= 40; ++w)
      for (int h = 1; h <= 40; ++h) {
        expectTurn(t, w, h);
        if (HasFatalFailure()) return;
      }
}

// Wider than a strip of the walk, higher than two of its steps, and off every alignment.
TEST(Turns, SeveralStripsAndSteps) {
  static const int sizes[][2] = {{64, 48}, {68, 32},  {130, 67}, {200, 100}, {4, 300},
                                 {300, 4}, {127, 33}, {192, 52}, {260, 36}};
  for (const Turn& t : kTurns)
    for (const auto& size : sizes)
      for (std::size_t slack : {0u, 1u, 7u}) expectTurn(t, size[0], size[1], slack);
}

// Said without blocks: where each pixel of a picture with sides that are multiples of 4 goes.
TEST(Turns, MultiplesOfFourTurnAndTurnBack) {
  const int w = 24, h = 76;
  for (int c : {3, 4}) {
    const Turn &right = kTurns[c - 3], &left = kTurns[c - 1];
    const Guarded src = RandomBytes(bytes(w, h, c), 7);
    Guarded once(src.size()), back(src.size()), twice(src.size()), thrice(src.size()), four(src.size());
    right.turn(src.data(), w, h, once.data());
    left.turn(once.data(), h, w, back.data());
    right.turn(once.data(), h, w, twice.data());
    right.turn(twice.data(), w, h, thrice.data());
    right.turn(thrice.data(), h, w, four.data());
    const auto pixel = [&](const Guarded& image, int width, int y, int x) {
      const std::uint8_t* const p = image.data() + (y * width + x) * c;
      return Bytes(p, p + c);
    };
    for (int y = 0; y < h; ++y)
      for (int x = 0; x < w; ++x) {
        ASSERT_EQ(pixel(once, h, x, h - 1 - y), pixel(src, w, y, x)) << c << " " << y << " " << x;
        ASSERT_EQ(pixel(twice, w, h - 1 - y, w - 1 - x), pixel(src, w, y, x))
            << c << " " << y << " " << x;
      }
    EXPECT_EQ(std::memcmp(back.data(), src.data(), src.size()), 0) << c;
    EXPECT_EQ(std::memcmp(four.data(), src.data(), src.size()), 0) << c;
  }
}

TEST(Flips, EveryPixelLandsMirrored) {
  std::vector<int> widths;
  for (int w = 1; w <= 70; ++w) widths.push_back(w);
  for (int w : {85, 86, 127, 128, 129, 191, 192, 193, 1000}) widths.push_back(w);
  for (int c : {1, 2, 3, 4, 5, 16})
    for (int w : widths)
      for (int h : {1, 3})
        for (std::size_t slack : {0u, 1u}) {
          SCOPED_TRACE(testing::Message() << w << "x" << h << ", " << c << " bytes, slack " << slack);
          const Guarded src = RandomBytes(bytes(w, h, c) + slack);
          expectOnEveryTarget(
              tn_reference::flipHorizontal(src.data(), w, h, c),
              [&](std::uint8_t* dst) { TN_CV::flip_horizontal(src.data(), w, h, dst, c); }, slack);
          expectOnEveryTarget(
              tn_reference::flipVertical(src.data(), w, h, c),
              [&](std::uint8_t* dst) { TN_CV::flip_vertical(src.data(), w, h, dst, c); }, slack);
          if (HasFatalFailure()) return;
        }
}

struct Cut {
  int src_w, src_h, x0, y0, w, h;
};
const Cut kCuts[] = {
    {1, 1, 0, 0, 1, 1},     {9, 5, 0, 0, 9, 5},     {9, 5, 0, 0, 9, 3},   {9, 5, 0, 2, 9, 3},
    {33, 21, 32, 20, 1, 1}, {33, 21, 5, 7, 28, 14}, {64, 8, 1, 1, 62, 6}, {130, 40, 3, 39, 127, 1},
};

TEST(Cuts, TakeTheRectangleAndNothingElse) {
  for (const Cut& k : kCuts)
    for (int c : {1, 2, 3, 4, 7}) {
      SCOPED_TRACE(testing::Message() << k.w << "x" << k.h << " at " << k.x0 << "," << k.y0 << " of "
                                      << k.src_w << "x" << k.src_h << ", " << c << " channels");
      const Guarded src = RandomBytes(bytes(k.src_w, k.src_h, c));
      expectOnEveryTarget(
          tn_reference::cutPacked(src.data(), k.src_w, k.w, k.h, k.x0, k.y0, c), [&](std::uint8_t* dst) {
            TN_CV::cut_sub_img_inhwc_outhwc(src.data(), k.src_w, k.src_h, dst, k.w, k.h, k.x0, k.y0, c);
          });

      // Random bytes are floats of every kind; a plane's floats move like pixels of four bytes.
      Guarded planes = RandomBytes(bytes(k.src_w, k.src_h, 4 * c));
      Bytes expected;
      for (int plane = 0; plane < c; ++plane) {
        const Bytes cut = tn_reference::cutPacked(planes.data() + bytes(k.src_w, k.src_h, 4 * plane),
                                                  k.src_w, k.w, k.h, k.x0, k.y0, 4);
        expected.insert(expected.end(), cut.begin(), cut.end());
      }
      Guarded dst(expected.size(), 0xA5);
      TN_CV::cut_sub_img_inchw_outchw(planes.floats(), k.src_w, k.src_h, dst.floats(), k.w, k.h, k.x0,
                                      k.y0, c);
      ASSERT_EQ(Bytes(dst.data(), dst.data() + dst.size()), expected);
    }
}

// 65536 rows of 65536 pixels are 2^32 of them: the start comes round to the first row, before it too.
TEST(Cuts, ThePackedStartWrapsAt32Bits) {
  const Guarded src = RandomBytes(64);
  std::uint8_t out[6] = {};
  TN_CV::cut_sub_img_inhwc_outhwc(src.data(), 65536, 65537, out, 2, 1, 5, 65536, 3);
  EXPECT_EQ(std::memcmp(out, src.data() + 15, 6), 0);
  TN_CV::cut_sub_img_inhwc_outhwc(src.data() + 12, 65536, 65536, out, 2, 1, 65532, 65535, 3);
  EXPECT_EQ(std::memcmp(out, src.data(), 6), 0);
}

// Any access would crash.
TEST(Geometry, EmptySizesTouchNothing) {
  constexpr int kLowest = std::numeric_limits<int>::min();
  ForEachTarget([] {
    for (int none : {0, -1, -8, kLowest}) {
      for (const Turn& t : kTurns) {
        t.turn(nullptr, none, 8, nullptr);
        t.turn(nullptr, 8, none, nullptr);
        t.turn(nullptr, none, none, nullptr);
      }
      for (auto flip : {TN_CV::flip_horizontal, TN_CV::flip_vertical}) {
        flip(nullptr, none, 8, nullptr, 3);
        flip(nullptr, 8, none, nullptr, 3);
        flip(nullptr, 8, 8, nullptr, none);
      }
      TN_CV::cut_sub_img_inchw_outchw(nullptr, 8, 8, nullptr, none, 2, 0, 0, 3);
      TN_CV::cut_sub_img_inchw_outchw(nullptr, 8, 8, nullptr, 2, none, 0, 0, 3);
      TN_CV::cut_sub_img_inchw_outchw(nullptr, 8, 8, nullptr, 2, 2, 0, 0, none);
      TN_CV::cut_sub_img_inhwc_outhwc(nullptr, 8, 8, nullptr, none, 2, 0, 0, 3);
      TN_CV::cut_sub_img_inhwc_outhwc(nullptr, 8, 8, nullptr, 2, none, 0, 0, 3);
      TN_CV::cut_sub_img_inhwc_outhwc(nullptr, 8, 8, nullptr, 2, 2, 0, 0, none);
    }
  });
}

}  // namespace
