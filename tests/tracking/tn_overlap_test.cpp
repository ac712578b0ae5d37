// The overlap of two boxes, and the vector form that matches a whole frame.
#include "tarnkit/src/tracking/tn_overlap.h"

#include <gtest/gtest.h>

#include <iterator>
#include <limits>
#include <random>
#include <vector>

#include "tarnkit/src/cpu_x86/tn_overlap_cpu_x86.h"
#include "tests/support/test_support.h"
#include "tests/tracking/tracking_test_support.h"

namespace {

using namespace Tarn;
using namespace tn_test;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

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
    const float overlap = computeIoU(c.a, c.b, c.format);
    EXPECT_TRUE(sameBits(overlap, c.expected)) << c.name << ": " << overlap << " not " << c.expected;
  }
}

// One array for each function of a box, of exactly `size` elements.
template <std::size_t N>
std::vector<Guarded> arrays(const Boxes& boxes, std::size_t size,
                            float (*const (&of)[N])(const TarnBoundingBox2D&)) {
  std::vector<Guarded> result;
  for (const auto& function : of) {
    result.emplace_back(size * sizeof(float), std::uint8_t{0xFF});
    for (std::size_t i = 0; i < boxes.size(); ++i) result.back().floats()[i] = function(boxes[i]);
  }
  return result;
}

// Scenes on a coarse grid, so that ties, nesting and common edges are frequent, with some unusual floats
// in them; track counts around the vector sizes.
TEST(Overlap, ManyAtOnceAreTheSameOnEveryTarget) {
  using Box = TarnBoundingBox2D;
  static constexpr float (*kOf[])(const Box&) = {
      [](const Box& b) { return b.x; },       [](const Box& b) { return b.y; },
      [](const Box& b) { return b.w; },       [](const Box& b) { return b.h; },
      [](const Box& b) { return b.x + b.w; }, [](const Box& b) { return b.y + b.h; },
      [](const Box& b) { return b.w * b.h; }};
  static const float odd[] = {kNaN, kInfinity, -kInfinity, -0.0f, -1.0f, 1e-40f, 1e-30f, 3e38f, 0.1f};
  ForEachTarget([] {
    std::mt19937 random(7);
    const auto boxes = [&random](std::size_t count, unsigned salt) {
      Boxes result(count);
      for (Box& b : result)
        for (float* value : {&b.x, &b.y, &b.w, &b.h})
          *value = salt != 0 && random() % salt == 0 ? odd[random() % std::size(odd)]
                                                     : static_cast<float>(random() % 8) * 0.125f;
      return result;
    };
    for (std::size_t count : {0u, 1u, 3u, 4u, 5u, 8u, 15u, 16u, 17u, 33u})
      for (unsigned salt : {0u, 40u, 6u})
        for (float threshold : {0.0f, 0.2f, 0.5f, 1.0f}) {
          const Boxes tracks = boxes(count, salt), detections = boxes(random() % 40, salt);
          const std::size_t padded = (count + kOverlapBlock - 1) / kOverlapBlock * kOverlapBlock;
          std::vector<Guarded> t = arrays(tracks, padded, kOf),
                               d = arrays(detections, detections.size(), kOf);
          Guarded best(padded * sizeof(float)), choice(padded * sizeof(std::int32_t));
          std::int32_t* const choices = reinterpret_cast<std::int32_t*>(choice.data());
          bestOverlaps(
              {count, t[0].floats(), t[1].floats(), t[4].floats(), t[5].floats(), t[6].floats()},
              {detections.size(), d[0].floats(), d[1].floats(), d[2].floats(), d[3].floats(),
               d[4].floats(), d[5].floats(), d[6].floats()},
              threshold, best.floats(), choices);
          for (std::size_t i = 0; i < count; ++i) {
            float expected = threshold;
            std::int32_t expected_choice = -1;
            for (std::size_t j = 0; j < detections.size(); ++j) {
              const float overlap = computeIoU(&tracks[i].x, &detections[j].x, "ltwh");
              if (!(overlap > expected)) continue;
              expected = overlap;
              expected_choice = static_cast<std::int32_t>(j);
            }
            ASSERT_EQ(choices[i], expected_choice) << "track " << i << " of " << count;
            ASSERT_TRUE(sameBits(best.floats()[i], expected)) << "threshold " << threshold;
          }
        }
  });
}

}  // namespace
