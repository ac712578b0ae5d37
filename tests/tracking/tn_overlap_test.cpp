// The overlap of two boxes.
#include "tarnkit/src/tracking/tn_overlap.h"

#include <gtest/gtest.h>

#include <limits>

#include "tests/support/same_bits.h"

namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

TEST(Overlap, FollowsItsRules) {
  struct Case {
    const char* name;
    float a[4], b[4];
    const char* format;
    float expected;
  };
  static const Case cases[] = {
      {"the same box", {1, 2, 3, 4}, {1, 2, 3, 4}, "ltwh", 1},
      {"half a width apart", {0, 0, 1, 1}, {0.5f, 0, 1, 1}, "ltwh", 0.5f / 1.5f},
      {"half a height apart", {0, 0.5f, 1, 1}, {0, 0, 1, 1}, "ltwh", 0.5f / 1.5f},
      {"offset along both", {0, 0, 2, 2}, {1, 1, 2, 2}, "ltwh", 1.0f / 7.0f},
      {"offset along x, nested along y", {0, 0, 2, 4}, {1, 1, 2, 2}, "ltwh", 2.0f / 10.0f},
      {"inside", {0, 0, 8, 8}, {3, 3, 1, 1}, "ltwh", 1},
      {"around", {3, 3, 1, 1}, {0, 0, 8, 8}, "ltwh", 1},
      {"inside, an edge in common", {0, 0, 8, 8}, {0, 7, 1, 1}, "ltwh", 1},
      {"wider and lower", {0, 1, 3, 1}, {1, 0, 1, 3}, "ltwh", 1},
      {"touching", {0, 0, 1, 1}, {1, 0, 1, 1}, "ltwh", 0},
      {"touching, nested along y", {0, 0, 1, 4}, {1, 1, 1, 1}, "ltwh", 0},
      {"apart, nested along x", {0, 0, 4, 1}, {1, 5, 1, 1}, "ltwh", 0},
      {"apart along both", {0, 0, 1, 1}, {5, 5, 1, 1}, "ltwh", 0},
      {"empty boxes apart", {0, 0, 0, 0}, {1, 0, 0, 0}, "ltwh", kNaN},
      {"nothing comparable", {kNaN, kNaN, 1, 1}, {0, 0, 1, 1}, "ltwh", 1},
      {"offset along both, by centres", {1, 1, 2, 2}, {2, 2.5f, 3, 4}, "cxcywh", 2.25f / 13.75f},
      {"inside, by centres", {4, 4, 8, 8}, {4, 2, 1, 1}, "cxcywh", 1},
      {"around, by edges the other way", {4, 4, 8, 8}, {4, 2, 1, 1}, "ltwh", 0},
      {"capitals", {0, 0, 1, 1}, {0, 0, 1, 1}, "LTWH", 0},
      {"trailing blank", {0, 0, 1, 1}, {0, 0, 1, 1}, "ltwh ", 0},
      {"no terminator in place", {0, 0, 1, 1}, {0, 0, 1, 1}, "cxcyw", 0},
      {"no format", {0, 0, 1, 1}, {0, 0, 1, 1}, "", 0},
  };
  for (const Case& c : cases) {
    const float overlap = Tarn::computeIoU(c.a, c.b, c.format);
    EXPECT_TRUE(tn_test::sameBits(overlap, c.expected))
        << c.name << ": " << overlap << " not " << c.expected;
  }
}

}  // namespace
