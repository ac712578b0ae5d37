// The One-Euro filter, the box tracker around it, and its clock.
#include <gtest/gtest.h>

#include <chrono>
#include <iterator>
#include <random>
#include <thread>

#include "tarnkit/src/tracking/tn_oneeurofilter.h"
#include "tarnkit/src/tracking/tn_trackerclock.h"
#include "tests/reference/plain_one_euro.h"
#include "tests/tracking/tracking_test_support.h"
#include "tn_boxtracker.h"

namespace {

using namespace Tarn;
using namespace tn_test;
using Eigen::Vector4d;
using Eigen::VectorXd;

TEST(OneEuroFilter, TakesDynamicVectorsOfFour) {
  OneEuroFilter fixed(25.0f, 1.0f, 0.01f, 10.0f), dynamic = fixed;
  EXPECT_EQ(dynamic.alpha(Vector4d(1.0, 10.0, 0.0, 1.0)),  // a cut-off of 0 holds the output
            VectorXd(Vector4d(0.20084864266483682, 0.7153652220047731, 0.0, 0.20084864266483682)));
  for (int i = 0; i < 5; ++i) {
    const Vector4d value = Vector4d(1, -2, 30, 0.5) * (i * i);
    EXPECT_EQ(VectorXd(fixed.step(value, 0.04 * i)), dynamic.filter(value, 0.04 * i));
    EXPECT_EQ(VectorXd(fixed.extrapolate(0.04 * i + 0.01)), dynamic.predict(0.04 * i + 0.01));
  }
  EXPECT_DEATH(dynamic.filter(VectorXd::Zero(3), 0.0), "Invalid sizes when resizing");
  LowPassFilter filter;
  filter.filterWithAlpha(Vector4d::Constant(2.0), Vector4d::Zero());  // the first passes through
  EXPECT_EQ(filter.filterWithAlpha(Vector4d::Constant(6.0), Vector4d(0, 0.25, 0.5, 1)),
            VectorXd(Vector4d(2, 3, 4, 6)));
}

// Corners in single precision, the filter in double, and one rounding at the end; with a clock that
// stands still, runs back, and at times has no time (-1) to give. The parameters count that are in force
// at init.
TEST(OneEuroBoxTracker, MatchesAPlainComputation) {
  const RestoreTracking restore;
  ManualClock::install();
  const int width = 1919, height = 1079;
  TarnOneEuroFilterBoxTracker2D tracker(width, height);
  PlainOneEuro plain[4];
  const PlainBox start = {0.3f, 0.1f, 0.05f, 0.7f};
  const auto corners = [](const PlainBox& b) {
    return Vector4d(static_cast<double>(b.x * 1919.0f), static_cast<double>(b.y * 1079.0f),
                    static_cast<double>((b.x + b.w) * 1919.0f),
                    static_cast<double>((b.y + b.h) * 1079.0f));
  };
  TarnBoundingBoxesTrackerParams params;
  params.fps = 37.5f;
  params.minCutoff = 1.5f;
  params.beta = -0.001f;
  params.dCutoff = 7.0f;
  setTrackerParams(params);
  tracker.init(start.x, start.y, start.w, start.h);
  setTrackerParams({});
  EXPECT_EQ(ManualClock::reads, 0);
  for (int i = 0; i < 4; ++i) {
    plain[i] = {37.5, 1.5, static_cast<double>(-0.001f), 7.0};
    plain[i].output = corners(start)(i);  // what predictions before the first measurement give
  }
  std::mt19937 random(9);
  std::normal_distribution<float> noise(0.0f, 0.01f);
  static const double pauses[] = {0.04, 0.0005, 0.0, 0.2, -0.03, 0.01};
  double now = 10.0;
  for (int frame = 0; frame < 200; ++frame) {
    now += pauses[random() % std::size(pauses)];
    ManualClock::seconds = frame < 9 || frame % 31 == 30 ? -1.0 : now;
    const PlainBox in = {0.3f + noise(random), 0.1f + noise(random), 0.05f, 0.7f + noise(random)};
    const bool measured = frame > 2 && frame % 4 != 0;
    const PlainBox out = measured ? tracked(tracker, in) : predicted(tracker);
    ASSERT_EQ(ManualClock::reads, frame + 1);
    double r[4];
    for (int i = 0; i < 4; ++i)
      r[i] = measured ? plain[i].filter(corners(in)(i), ManualClock::seconds)
                      : plain[i].predict(ManualClock::seconds);
    ASSERT_EQ(out.x, static_cast<float>(r[0] / width)) << frame;
    ASSERT_EQ(out.y, static_cast<float>(r[1] / height)) << frame;
    ASSERT_EQ(out.w, static_cast<float>(r[2] / width - r[0] / width)) << frame;
    ASSERT_EQ(out.h, static_cast<float>(r[3] / height - r[1] / height)) << frame;
  }
}

TEST(TrackerClock, NullBringsAClockOfSecondsBack) {
  const RestoreTracking restore;
  ManualClock::install();
  ManualClock::seconds = -77.0;
  EXPECT_EQ(nowSeconds(), -77.0);
  setTrackerClock(nullptr);
  using std::chrono::steady_clock;
  const auto before = steady_clock::now();
  const double first = nowSeconds();
  std::this_thread::sleep_for(std::chrono::milliseconds(30));
  const double passed = nowSeconds() - first;
  const std::chrono::duration<double> outside = steady_clock::now() - before;
  EXPECT_GE(first, 0.0);
  EXPECT_LT(first, 1e9) << "the time of day, which may run back";
  EXPECT_GE(passed, 0.029);
  EXPECT_LE(passed, 1.1 * outside.count()) << "a finer unit";
}

}  // namespace
