#include <gtest/gtest.h>

#include <iterator>
#include <random>

#include "tarnkit/src/tracking/tn_oneeurofilter.h"
#include "tarnkit/src/tracking/tn_trackerclock.h"
#include "tests/reference/plain_one_euro.h"
#include "tests/tracking/tracking_test_support.h"
#include "tn_boxtracker.h"

#if defined(_WIN32)
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
#endif

namespace {

using namespace Tarn;
using namespace tn_test;
using Eigen::Vector4d;
using Eigen::VectorXd;

TEST(OneEuroFilter, SmoothingFactors) {
  OneEuroFilter filter(25.0f, 1.0f, 0.01f, 10.0f);
  const VectorXd alpha = filter.alpha(Vector4d(1.0, 10.0, 0.0, 1.0));
  ASSERT_EQ(alpha.size(), 4);
  EXPECT_EQ(alpha(0), 0.20084864266483682);
  EXPECT_EQ(alpha(1), 0.7153652220047731);
  EXPECT_EQ(alpha(2), 0.0);  // a cut-off of 0 holds the output
}

TEST(LowPassFilter, PassesTheFirstValueAndThenMovesByAlpha) {
  LowPassFilter filter;
  filter.lastOutput.setConstant(99.0);
  EXPECT_EQ(filter.filterWithAlpha(Vector4d::Constant(2.0), Vector4d::Zero()),
            VectorXd(Vector4d::Constant(2.0)));
  EXPECT_EQ(filter.filterWithAlpha(Vector4d::Constant(6.0), Vector4d(0, 0.25, 0.5, 1)),
            VectorXd(Vector4d(2, 3, 4, 6)));
  EXPECT_EQ(filter.lastInput, Vector4d::Constant(6.0));
}

TEST(OneEuroFilter, DynamicVectorsAreTheSameFilter) {
  OneEuroFilter fixed(25.0f, 1.0f, 0.01f, 10.0f), dynamic = fixed;
  for (int i = 0; i < 5; ++i) {
    const Vector4d value = Vector4d(1, -2, 30, 0.5) * (i * i);
    EXPECT_EQ(VectorXd(fixed.step(value, 0.04 * i)), dynamic.filter(value, 0.04 * i));
    EXPECT_EQ(VectorXd(fixed.extrapolate(0.04 * i + 0.01)), dynamic.predict(0.04 * i + 0.01));
  }
}

TEST(OneEuroFilterDeathTest, TakesFourValues) {
  OneEuroFilter filter(25.0f, 1.0f, 0.01f, 10.0f);
  EXPECT_DEATH(filter.filter(VectorXd::Zero(3), 0.0), "Invalid sizes when resizing");
}

using Box = PlainBox;

// Corners in single precision, the filter in double, and one rounding at the end; with a clock that
// stands still, runs back, and at times has no time (-1) to give.
TEST(OneEuroBoxTracker, MatchesAPlainComputation) {
  const RestoreTracking restore;
  ManualClock::install();
  const int width = 1919, height = 1079;
  TarnOneEuroFilterBoxTracker2D tracker(width, height);
  PlainOneEuro plain[4];
  const Box start = {0.3f, 0.1f, 0.05f, 0.7f};
  const auto corners = [](const Box& b) {
    return Vector4d(static_cast<double>(b.x * 1919.0f), static_cast<double>(b.y * 1079.0f),
                    static_cast<double>((b.x + b.w) * 1919.0f),
                    static_cast<double>((b.y + b.h) * 1079.0f));
  };
  tracker.init(start.x, start.y, start.w, start.h);
  EXPECT_EQ(ManualClock::reads, 0);
  for (int i = 0; i < 4; ++i) {
    plain[i] = {25.0, 1.0, static_cast<double>(0.01f), 10.0};
    plain[i].output = corners(start)(i);  // what predictions before the first measurement give
  }
  std::mt19937 random(9);
  std::normal_distribution<float> noise(0.0f, 0.01f);
  static const double pauses[] = {0.04, 0.04, 0.0, 0.2, -0.03, 0.01};
  double now = 10.0;
  for (int frame = 0; frame < 200; ++frame) {
    now += pauses[random() % std::size(pauses)];
    ManualClock::seconds = frame % 31 == 30 ? -1.0 : now;
    const Box in = {0.3f + noise(random), 0.1f + noise(random), 0.05f, 0.7f + noise(random)};
    const bool measured = frame > 2 && frame % 4 != 0;
    const Box out = measured ? tracked(tracker, in) : predicted(tracker);
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

TEST(TrackerClock, NullBringsAMonotonicClockBack) {
  const RestoreTracking restore;
  ManualClock::install();
  ManualClock::seconds = -77.0;
  EXPECT_EQ(nowSeconds(), -77.0);
  setTrackerClock(nullptr);
  const double first = nowSeconds();
  EXPECT_GE(first, 0.0);
  double last = first;
  for (int i = 0; i < 1000000 && last == first; ++i) last = nowSeconds();
  EXPECT_GT(last, first);
  EXPECT_LT(last, first + 60.0);  // seconds, not a finer unit
}

#if defined(_WIN32)
TEST(TrackerClock, IsThePerformanceCounterInSeconds) {
  const auto counter = [] {
    LARGE_INTEGER count, frequency;
    QueryPerformanceCounter(&count);
    QueryPerformanceFrequency(&frequency);
    return static_cast<double>(count.QuadPart) / static_cast<double>(frequency.QuadPart);
  };
  for (int i = 0; i < 1000; ++i) {
    const double before = counter(), now = nowSeconds(), after = counter();
    ASSERT_LE(before, now);
    ASSERT_LE(now, after);
  }
}
#endif

}  // namespace
