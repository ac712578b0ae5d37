// What a frame does to the tracks: matching, confidence, births and deaths.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <limits>
#include <random>

#include "tests/reference/literal_boxes_tracker.h"
#include "tests/support/test_support.h"
#include "tests/tracking/tracking_test_support.h"

namespace {

using namespace Tarn;
using namespace tn_test;
using OneEuro = TarnOneEuroFilterBoxTracker2D;
using Kalman = TarnKalmanFilterBoxTracker2D;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

// Two frames with the default parameters. A match and a birth can give the same box; where they would,
// the detection has another label, so that a match ends the track and gives nothing.
//
// The One-Euro filter returns its first measurement as it is, and a frame of powers of two scales
// without rounding, so the results are the detections themselves.
TEST(BoxesTracker, MatchesByItsRules) {
  const RestoreTracking restore;
  struct Case {
    const char* name;
    Boxes first, second, expected;
  };
  // A box of 3/4 by 1/4, shifted: by 1/8 it overlaps by 5/7, by 1/4 by 1/2, by 1/2 by exactly 0.2f.
  const auto at = [](float x, float score = 0.5f, int label = 0) {
    return TarnBoundingBox2D{x, 0.0f, 0.75f, 0.25f, score, label};
  };
  const TarnBoundingBox2D inside = {0.25f, 0.0625f, 0.25f, 0.125f, 0.25f, 0};
  const TarnBoundingBox2D empty = {0.5f, 0.5f, 0.0f, 0.0f, 1.0f, 0};
  const TarnBoundingBox2D empty_elsewhere = {0.75f, 0.5f, 0.0f, 0.0f, 1.0f, 7};
  const TarnBoundingBox2D nothing = {kNaN, kNaN, kNaN, kNaN, 1.0f, 0};
  const Case cases[] = {
      {"first detections come back", {}, {at(0), at(0), inside}, {at(0), at(0), inside}},
      {"no detections drop all", {at(0), at(4)}, {}, {}},
      {"the score is refreshed", {at(0, 0.5f)}, {at(0.125f, 0.75f)}, {at(0.125f, 0.75f)}},
      {"births follow old tracks", {at(0)}, {at(4), at(0), at(2)}, {at(0), at(4), at(2)}},
      {"inside beats a partial overlap", {at(0)}, {at(0.125f), inside}, {inside, at(0.125f)}},
      {"another label costs the track", {at(0, 1, 0)}, {at(0, 1, 7)}, {}},
      {"another label takes the track away",
       {at(0, 1, 0)},
       {at(0, 1, 7), at(0.125f, 1, 0)},
       {at(0.125f, 1, 0)}},
      // The track at 1 wants 1.25 (1/2) before 0.625 (1/3); the one at 1.375 gets it (5/7).
      {"the runner-up goes without",
       {at(1), at(1.375f)},
       {at(1.25f), at(0.625f, 1, 7)},
       {at(1.25f), at(0.625f, 1, 7)}},
      {"overlap at the threshold", {at(0)}, {at(0.5f, 1, 7)}, {at(0.5f, 1, 7)}},
      {"overlap just above", {at(0)}, {at(0.4999f, 1, 7)}, {}},
      {"empty boxes apart", {empty}, {empty_elsewhere}, {empty_elsewhere}},
      {"an empty box in its place", {empty}, {empty}, {empty}},
      {"NaNs match anything", {at(0), at(4)}, {nothing, at(4)}, {nothing, at(4)}},
  };
  for (const Case& c : cases) {
    ManualClock::install();
    TarnBoundingBoxesTracker<OneEuro> tracker(1024, 512);
    ASSERT_TRUE(sameBoxes(tracker.track(c.first), c.first)) << c.name;
    EXPECT_TRUE(sameBoxes(tracker.track(c.second), c.expected)) << c.name;
    EXPECT_EQ(ManualClock::reads, static_cast<int>(c.first.size()))
        << c.name << ": dying tracks read too";
  }
}

// A track's frames as a string: h for a detection of its label, l for one of another label, . for none.
// Expected is for each frame whether the track is reported. At + and - all three parameters
// go up or down by one.
TEST(BoxesTracker, ConfidenceDecidesWhatIsReportedAndWhatLives) {
  const RestoreTracking restore;
  struct Case {
    std::int32_t lost, valid, max;
    const char *frames, *reported;
  };
  constexpr std::int32_t kMost = std::numeric_limits<std::int32_t>::max();
  static const Case cases[] = {
      {0, 1, 1, "hhh.hlh", "1110101"},               // the defaults: no coasting
      {-2, 1, 3, "hhh....hh", "111110001"},          // 1 2 3 2 1 0 -1 0 1
      {-2, 1, 3, "hhh.....h", "111110001"},          // dead at -2: the last frame is a birth
      {-2, 1, 3, "hhhhhlllhl", "1111111010"},        // 1 2 3 3 3 2 1 0 1 0
      {-2, 1, 3, "hhh+h.....h", "1111110001"},       // 1 2 3 + 4 3 2 1 0 and dead at -1
      {-2, 1, 3, "hhh-h...", "1111110"},             // 1 2 3 - 2 1 0 -1
      {-5, 1, 1, "h....hhllllhh", "1000001000001"},  // never dies, and never sinks below -1
      {-3, -1, 2, "h.h..h", "101001"},               // -1 -2 -1 -2 -2 -1
      {0, 2, 3, "h.hhh...", "10111100"},             // 2 1 2 3 3 2 1 and dead
      {0, kMost, kMost, "hh.", "110"},               // the largest there is
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.frames);
    TarnBoundingBoxesTrackerParams params;
    params.lostThreshold = c.lost;
    params.validThreshold = c.valid;
    params.maxConfidence = c.max;
    setTrackerParams(params);
    TarnBoundingBoxesTracker<Kalman> tracker(640, 480);
    std::string reported;
    for (const char* frame = c.frames; *frame != '\0'; ++frame) {
      if (*frame == '+' || *frame == '-') {
        const int step = *frame == '+' ? 1 : -1;
        params.lostThreshold += step, params.validThreshold += step, params.maxConfidence += step;
        setTrackerParams(params);
        continue;
      }
      Boxes detections;
      const float score = static_cast<float>(frame - c.frames);
      if (*frame != '.') detections.push_back({0.5f, 0.5f, 0.1f, 0.1f, score, *frame == 'l' ? 8 : 4});
      const Boxes boxes = tracker.track(detections);
      reported += static_cast<char>('0' + boxes.size());
      if (boxes.size() != 1) continue;
      EXPECT_EQ(boxes[0].label, 4);
      EXPECT_EQ(boxes[0].score == score, *frame == 'h') << "scores come with the track's own label";
    }
    EXPECT_EQ(reported, c.reported);
  }
}

template <class T>
class BothFilters : public testing::Test {};
TYPED_TEST_SUITE(BothFilters, tn_test::Filters, tn_test::FilterNames);

// Crowded scenes on a coarse grid with repeats, ties, nested boxes, several labels and unusual floats,
// on every instruction set, against the tracker with the full table; in between so many empty frames
// that all tracks die. Every reading of the clock gives another time, so that a filter with the reading
// of another track gives another box.
TYPED_TEST(BothFilters, EqualTheLiteralTrackerOnRandomScenes) {
  const RestoreTracking restore;
  constexpr float kInfinity = std::numeric_limits<float>::infinity();
  static const float odd[] = {kNaN, kInfinity, -kInfinity, -0.0f, -1.0f, 1e-40f, 1e-30f, 3e38f, 0.1f};
  ForEachTarget([] {
    for (unsigned seed = 0; seed < 32; ++seed) {
      SCOPED_TRACE(testing::Message() << "seed " << seed);
      std::mt19937 random(seed);
      TarnBoundingBoxesTrackerParams params;
      params.iouThreshold = std::array{0.0f, 0.2f, 0.5f, 1.0f}[seed / 2 % 4];
      if (seed % 2 == 1) params.maxConfidence = 3, params.lostThreshold = -2;
      ManualClock::install();
      TarnIdentifiedBoxesTracker<TypeParam> tracker(640, 480);
      LiteralBoxesTracker<TypeParam> literal(640, 480);
      std::vector<TarnIdentifiedBox> expected;
      for (int frame = 0; frame < 25; ++frame) {
        const float step = frame % 6 < 3 ? 0.125f : 0.1f;  // the latter misses ties by a rounding
        Boxes detections(frame / 6 == 2 ? 0u : random() % (seed % 16 < 8 ? 12u : 60u));
        for (auto& d : detections) {
          const auto grid = [&](unsigned steps) { return static_cast<float>(random() % steps) * step; };
          d = {grid(8),        grid(8), step + grid(4),
               step + grid(4), grid(9), static_cast<int>(random() % 20 == 0)};
          for (float* const value : {&d.x, &d.y, &d.w, &d.h})
            if (random() % 100 == 0) *value = odd[random() % std::size(odd)];
          if (random() % 50 == 0) d.w = d.h = 0.0f;
          if (random() % 200 == 0) d.y = d.x = kNaN;
        }
        // In half of the scenes the best overlap of a track meets the threshold exactly: with one
        // rounding more than in the plain form it would be above.
        if (seed >= 16 && !expected.empty()) {
          const TarnBoundingBox2D& track = expected[random() % expected.size()];
          float best = 0.0f;
          for (const auto& d : detections) best = std::max(best, computeIoU(&track.x, &d.x, "ltwh"));
          if (best > 0.0f && best < 1.0f) params.iouThreshold = best;
        }
        setTrackerParams(params);
        ManualClock::tick = 1.0 / 1024.0;
        ManualClock::seconds = frame;
        expected = literal.track(detections);
        ManualClock::seconds = frame;
        ASSERT_TRUE(sameBoxes(tracker.track(detections), expected)) << "frame " << frame;
      }
    }
  });
}

}  // namespace
