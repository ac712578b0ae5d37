#include <gtest/gtest.h>

#include <iterator>
#include <limits>
#include <random>

#include "tarnkit/src/tracking/tn_boxkalmanfilter.h"
#include "tests/tracking/tracking_test_support.h"
#include "tn_boxtracker.h"

namespace {

using namespace Tarn;
using namespace tn_test;
using Eigen::MatrixXf;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

bool sameMatrix(const MatrixXf& a, const MatrixXf& b) {
  bool same = a.rows() == b.rows() && a.cols() == b.cols();
  for (int i = 0; same && i < a.size(); ++i) same = sameBits(a(i), b(i));
  return same;
}

using KF = KalmanFilter;
MatrixXf KF::*const kMembers[] = {
    &KF::predictedState, &KF::correctedState,    &KF::transition,          &KF::control,
    &KF::measurement,    &KF::processNoiseCov,   &KF::measurementNoiseCov, &KF::predictedErrorCov,
    &KF::gain,           &KF::correctedErrorCov, &KF::scratchFP,           &KF::scratchHP,
    &KF::innovationCov,  &KF::gainTransposed,    &KF::innovation};

// The steps as expressions over dynamic matrices, as Eigen computes them.
void predictByEigen(KalmanFilter& f) {
  f.predictedState = f.transition * f.correctedState;
  f.scratchFP = f.transition * f.correctedErrorCov;
  f.predictedErrorCov = f.scratchFP * f.transition.transpose() + f.processNoiseCov;
  f.correctedState = f.predictedState * 1.0f;
  f.correctedErrorCov = f.predictedErrorCov * 1.0f;
}
void correctByEigen(KalmanFilter& f, const MatrixXf& z) {
  f.scratchHP = f.measurement * f.predictedErrorCov;
  f.innovationCov = f.scratchHP * f.measurement.transpose() + f.measurementNoiseCov;
  f.gainTransposed = f.innovationCov.inverse() * f.scratchHP;
  f.gain = f.gainTransposed.transpose();
  f.innovation = z - f.measurement * f.predictedState;
  f.correctedState = f.predictedState + f.gain * f.innovation;
  f.correctedErrorCov = f.predictedErrorCov - f.gain * f.scratchHP;
}

TEST(BoxKalmanFilter, HasTheModelsConstants) {
  const float corners[4] = {1, 2, 3, 4};
  const BoxKalmanFilter filter(corners, 25.0f, 0.25f, 0.5f);
  MatrixXf transition = MatrixXf::Identity(12, 12);
  for (int i = 0; i < 8; ++i) transition(i, i + 4) = 0.04f;    // 0x3D23D70A
  for (int i = 0; i < 4; ++i) transition(i, i + 8) = 0.0008f;  // 0x3A51B717
  EXPECT_TRUE(sameMatrix(filter.transition, transition));
  EXPECT_TRUE(sameMatrix(filter.measurement, MatrixXf::Identity(4, 12)));
  EXPECT_TRUE(sameMatrix(filter.processNoiseCov, 0.25f * MatrixXf::Identity(12, 12)));
  EXPECT_TRUE(sameMatrix(filter.measurementNoiseCov, 0.5f * MatrixXf::Identity(4, 4)));
  for (int i = 0; i < 12; ++i) {
    EXPECT_EQ(filter.correctedState(i), i < 4 ? corners[i] : 0.0f);
    EXPECT_EQ(filter.predictedState(i), filter.correctedState(i));
  }
}

// Three ways to the same bits, in every member, after every frame: by coordinate, KalmanFilter's own
// steps, and Eigen's products. Some runs meet infinities and NaNs on the way or begin with a singular
// innovation.
TEST(BoxKalmanFilter, StepsAreThoseOfTheFullSizeFilter) {
  struct Case {
    const char* name;
    float fps, process_noise, measurement_noise, odd;
  };
  static const Case cases[] = {
      {"defaults", 25.0f, 0.001f, 0.001f, 3.0f},
      {"slow, noisy", 1.0f, 3.0f, 40.0f, -0.0f},
      {"no measurement noise", 30.0f, 0.01f, 0.0f, 5.0f},
      {"no process noise", 30.0f, 0.0f, 0.01f, 5.0f},
      {"negative zero noises", 30.0f, -0.0f, 0.01f, 5.0f},
      {"no noise at all", 30.0f, 0.0f, 0.0f, 5.0f},
      {"time step overflows", 1e-39f, 0.001f, 0.001f, 5.0f},
      {"its square overflows", 1e-30f, 0.001f, 0.001f, 5.0f},
      {"noise overflows", 25.0f, 3e38f, 3e38f, 5.0f},
      {"tiny noise", 25.0f, 1e-42f, 1e-42f, 5.0f},
      {"NaN measured", 25.0f, 0.001f, 0.001f, kNaN},
      {"infinity measured", 25.0f, 0.001f, 0.001f, kInfinity},
      {"huge measured", 25.0f, 0.001f, 0.001f, -3e38f},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    std::mt19937 random(11);
    std::normal_distribution<float> jitter(0.0f, 2.0f);
    float z[4] = {100.0f, -0.0f, 140.0f, 300.0f};
    BoxKalmanFilter box(z, c.fps, c.process_noise, c.measurement_noise);
    KalmanFilter full = box, eigen = box;
    for (int frame = 0; frame < 60; ++frame) {
      for (float& value : z) value += 4.0f + jitter(random);
      if (frame == 30) z[1] = c.odd;
      if (frame == 31 && !(std::abs(c.odd) < 100.0f)) z[1] = 80.0f;
      const bool measured = frame % 5 != 4;
      const float* const state = box.step(measured ? z : nullptr);
      const auto measurement = [&](const KalmanFilter& f) -> MatrixXf {
        if (measured) return Eigen::Map<const Eigen::Vector4f>(z);
        return f.predictedState.topRows(4);
      };
      full.predict();
      full.correct(measurement(full));
      predictByEigen(eigen);
      correctByEigen(eigen, measurement(eigen));
      ASSERT_EQ(state, box.correctedState.data());
      for (std::size_t m = 0; m < std::size(kMembers); ++m) {
        const MatrixXf& got = box.*kMembers[m];
        ASSERT_TRUE(sameMatrix(got, full.*kMembers[m])) << "member " << m << ", frame " << frame;
        ASSERT_TRUE(sameMatrix(got, eigen.*kMembers[m])) << "member " << m << ", frame " << frame;
      }
    }
  }
}

using Box = PlainBox;

TEST(KalmanBoxTracker, FollowsARestingAndAMovingBox) {
  // A frame of powers of two scales without rounding.
  TarnKalmanFilterBoxTracker2D tracker(1024, 512);
  const Box start = {0.25f, 0.5f, 0.0f, 0.125f};
  tracker.init(start.x, start.y, start.w, start.h);
  for (const Box& b : {predicted(tracker), tracked(tracker, start), predicted(tracker)}) {
    EXPECT_EQ(b.x, start.x);
    EXPECT_EQ(b.y, start.y);
    EXPECT_EQ(b.w, 0.0f);
    EXPECT_EQ(b.h, start.h);
  }
  // 4 pixels a frame to the right: the first step is not quite believed, then velocity and acceleration
  // build up (and swing over a little), and in the end the motion goes on by itself.
  const float step = 4.0f / 1024.0f;
  Box b = start;
  for (int frame = 1; frame <= 300; ++frame) {
    const float at = start.x + static_cast<float>(frame) * step;
    b = tracked(tracker, {at, start.y, start.w, start.h});
    const float lag = (at - b.x) / step;
    const float bound = frame < 20 ? 0.62f : frame < 50 ? 0.5f : frame < 200 ? 0.1f : 0.001f;
    ASSERT_LT(std::abs(lag), bound) << frame;
    if (frame == 1) {
      ASSERT_GT(lag, 0.3f);
    }
  }
  const Box next = predicted(tracker), after = predicted(tracker);
  EXPECT_NEAR(next.x - b.x, step, 0.001f * step);
  EXPECT_NEAR(after.x - next.x, step, 0.001f * step);
}

TEST(KalmanBoxTracker, ConvertsInADefinedOrder) {
  // Sizes that round at every operation; w is a difference of quotients.
  const int width = 1919, height = 1079;
  const Box in = {0.1f, 0.7f, 0.3f, 0.05f};
  TarnKalmanFilterBoxTracker2D tracker(width, height);
  tracker.init(in.x, in.y, in.w, in.h);
  const Box out = predicted(tracker);
  const float left = in.x * 1919.0f / 1919.0f, top = in.y * 1079.0f / 1079.0f;
  EXPECT_TRUE(sameBits(out.x, left));
  EXPECT_TRUE(sameBits(out.y, top));
  EXPECT_TRUE(sameBits(out.w, (in.x + in.w) * 1919.0f / 1919.0f - left));
  EXPECT_TRUE(sameBits(out.h, (in.y + in.h) * 1079.0f / 1079.0f - top));

  TarnKalmanFilterBoxTracker2D nowhere(0, 0);
  nowhere.init(in.x, in.y, in.w, in.h);
  EXPECT_TRUE(std::isnan(tracked(nowhere, in).x));
}

TEST(KalmanBoxTracker, ReadsItsParametersAtInit) {
  const RestoreTracking restore;
  TarnBoundingBoxesTrackerParams params;
  params.measurementNoise = 1e6f;
  setTrackerParams(params);
  TarnKalmanFilterBoxTracker2D sluggish(1024, 1024);
  sluggish.init(0, 0, 1, 1);
  setTrackerParams({});
  TarnKalmanFilterBoxTracker2D usual(1024, 1024);
  usual.init(0, 0, 1, 1);
  EXPECT_LT(tracked(sluggish, {0.5f, 0, 1, 1}).x, 1e-6f);
  EXPECT_GT(tracked(usual, {0.5f, 0, 1, 1}).x, 0.2f);
  EXPECT_LT(tracked(sluggish, {0.5f, 0, 1, 1}).x, 1e-6f);
}

}  // namespace
