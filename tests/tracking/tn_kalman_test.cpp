// The Kalman filter of any size, that of one box, and the box tracker around it.
#include <gtest/gtest.h>

#include <limits>
#include <random>

#include "tarnkit/src/tracking/tn_boxkalmanfilter.h"
#include "tests/reference/plain_kalman.h"
#include "tests/tracking/tracking_test_support.h"
#include "tn_boxtracker.h"
#include "tn_kalmanfilter.h"

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

// The members and what init sets them to. Rows and columns are the first letter of a dimension, or 1.
using KF = KalmanFilter;
struct Member {
  MatrixXf KF::*matrix;
  char rows, cols;
  bool identity = false;
  MatrixXf initial(int DP, int MP, int CP) const {
    const auto size = [&](char name) {
      return name == 'D' ? DP : name == 'M' ? MP : name == 'C' ? CP : 1;
    };
    const MatrixXf zero = MatrixXf::Zero(size(rows), size(cols));
    return identity ? MatrixXf::Identity(zero.rows(), zero.cols()) : zero;
  }
};
const Member kMembers[] = {{&KF::predictedState, 'D', '1'},
                           {&KF::correctedState, 'D', '1'},
                           {&KF::transition, 'D', 'D', true},
                           {&KF::control, 'D', 'C'},
                           {&KF::measurement, 'M', 'D'},
                           {&KF::processNoiseCov, 'D', 'D', true},
                           {&KF::predictedErrorCov, 'D', 'D'},
                           {&KF::measurementNoiseCov, 'M', 'M', true},
                           {&KF::gain, 'D', 'M'},
                           {&KF::correctedErrorCov, 'D', 'D'},
                           {&KF::scratchFP, 'D', 'D'},
                           {&KF::scratchHP, 'M', 'D'},
                           {&KF::innovationCov, 'M', 'M'},
                           {&KF::gainTransposed, 'M', 'D'},
                           {&KF::innovation, 'M', '1'}};

// All small sizes, the fast path's among them, with matrices that have no structure at all, the
// covariances included: the gain of an asymmetric one shows which way round the products go.
TEST(KalmanFilter, MatchesAPlainComputation) {
  std::mt19937 random(3);
  const auto matrix = [&random](int rows, int cols, float reach) -> MatrixXf {
    std::uniform_real_distribution<float> uniform(-reach, reach);
    return MatrixXf::NullaryExpr(rows, cols, [&] { return uniform(random); });
  };
  for (int size = 0; size < 13 * 6; ++size) {
    const int DP = 1 + size / 6, MP = 1 + size % 6;
    KalmanFilter filter(DP, MP, 0);
    filter.transition = matrix(DP, DP, 0.5f);
    filter.measurement = matrix(MP, DP, 1.0f);
    filter.processNoiseCov += matrix(DP, DP, 0.2f);
    filter.measurementNoiseCov = 3.0f * filter.measurementNoiseCov + matrix(MP, MP, 0.5f);
    filter.correctedState = matrix(DP, 1, 4.0f);
    PlainKalman plain(filter);
    for (int step = 0; step < 12; ++step) {
      // Values of up to 10, some 50 roundings of 6e-8 each, condition numbers of about 10.
      const auto expect_near = [&](MatrixXf KF::*got, const Eigen::MatrixXd& expected) {
        ASSERT_LT(((filter.*got).cast<double>() - expected).cwiseAbs().maxCoeff(), 1e-4)
            << DP << " by " << MP << ", step " << step;
      };
      ASSERT_EQ(&filter.predict(), &filter.predictedState);
      plain.predict();
      expect_near(&KF::scratchFP, plain.FP);
      ASSERT_EQ(filter.correctedState, filter.predictedState);
      ASSERT_EQ(filter.correctedErrorCov, filter.predictedErrorCov);
      if (step % 4 != 3) {
        const MatrixXf z = matrix(MP, 1, 4.0f);
        ASSERT_EQ(&filter.correct(z), &filter.correctedState);
        plain.correct(z.cast<double>());
        ASSERT_EQ(filter.gain, filter.gainTransposed.transpose());
        expect_near(&KF::scratchHP, plain.HP);
        expect_near(&KF::innovationCov, plain.S);
        expect_near(&KF::gain, plain.gain);
        expect_near(&KF::innovation, plain.innovation);
      }
      expect_near(&KF::correctedState, plain.state);
      expect_near(&KF::correctedErrorCov, plain.covariance);
    }
  }
}

TEST(KalmanFilter, InitResetsEverythingButControl) {
  KalmanFilter filter(12, 4, 3);
  for (const Member& m : kMembers) (filter.*m.matrix).setConstant(7.0f);
  filter.init(3, 2, 0);
  EXPECT_EQ(filter.control, MatrixXf::Constant(12, 3, 7.0f));
  filter.init(3, 2, 5);
  for (const Member& m : kMembers)
    EXPECT_TRUE(sameMatrix(filter.*m.matrix, m.initial(3, 2, 5))) << &m - kMembers;
  EXPECT_EQ(KalmanFilter(3, 2, -1).control.size(), 0);
}

TEST(KalmanFilter, ASingularInnovationCovarianceGoesThroughUnreported) {
  KalmanFilter filter(12, 4, 0);
  filter.measurementNoiseCov.setZero();
  filter.predict();
  EXPECT_TRUE(filter.correct(MatrixXf::Ones(4, 1)).array().isNaN().all());
}

// One that is only written takes the size that it should have.
TEST(KalmanFilterDeathTest, WrongSizesMeetAssertions) {
  for (MatrixXf KF::*const written :
       {&KF::predictedState, &KF::scratchFP, &KF::predictedErrorCov, &KF::gain, &KF::scratchHP,
        &KF::innovationCov, &KF::gainTransposed, &KF::innovation}) {
    KalmanFilter right(12, 4, 0);
    right.measurement.setIdentity();
    KalmanFilter wrong = right;
    (wrong.*written).resize(1, 1);
    for (KalmanFilter* const filter : {&right, &wrong}) {
      filter->predict();
      filter->correct(MatrixXf::Ones(4, 1));
    }
    for (const Member& m : kMembers) EXPECT_TRUE(sameMatrix(right.*m.matrix, wrong.*m.matrix));
  }
  const auto spoilt = [](MatrixXf KalmanFilter::*member, int rows, int cols) {
    KalmanFilter filter(12, 4, 0);
    (filter.*member).setZero(rows, cols);
    filter.predict();
    filter.correct(MatrixXf::Zero(4, 1));
  };
  const char* const product = "invalid matrix product";
  const char* const sum = "aLhs.rows\\(\\) == aRhs.rows\\(\\) && aLhs.cols\\(\\) == aRhs.cols\\(\\)";
  EXPECT_DEATH(KalmanFilter(0, 4, 0), "DP > 0 && MP > 0");
  EXPECT_DEATH(KalmanFilter(12, -1, 0), "DP > 0 && MP > 0");
  EXPECT_DEATH(spoilt(&KalmanFilter::transition, 12, 11), product);
  EXPECT_DEATH(spoilt(&KalmanFilter::correctedState, 11, 1), product);
  EXPECT_DEATH(spoilt(&KalmanFilter::processNoiseCov, 11, 12), sum);
  EXPECT_DEATH(spoilt(&KalmanFilter::measurement, 4, 11), product);
  EXPECT_DEATH(spoilt(&KalmanFilter::measurementNoiseCov, 4, 3), sum);
  for (int DP : {12, 6}) {
    KalmanFilter filter(DP, 4, 0);
    EXPECT_DEATH(filter.correct(MatrixXf::Zero(3, 1)), sum) << DP;
    EXPECT_DEATH(filter.correct(MatrixXf::Zero(1, 4)), sum) << DP;
  }
}

TEST(BoxKalmanFilter, HasTheModelsConstants) {
  const float corners[4] = {1, 2, 3, 4};
  const BoxKalmanFilter filter(corners, 12.5f, 0.25f, 0.5f);
  MatrixXf transition = MatrixXf::Identity(12, 12);
  for (int i = 0; i < 8; ++i) transition(i, i + 4) = 0.08f;
  for (int i = 0; i < 4; ++i) transition(i, i + 8) = 0.0032f;
  EXPECT_EQ(filter.transition, transition);
  EXPECT_EQ(filter.measurement, MatrixXf::Identity(4, 12));
  EXPECT_EQ(filter.processNoiseCov, 0.25f * MatrixXf::Identity(12, 12));
  EXPECT_EQ(filter.measurementNoiseCov, 0.5f * MatrixXf::Identity(4, 4));
  for (int i = 0; i < 12; ++i) EXPECT_EQ(filter.correctedState(i), i < 4 ? corners[i] : 0.0f);
  EXPECT_EQ(filter.predictedState, filter.correctedState);
}

// Two computations with the same bits in every member after every frame: by coordinate, and by the
// general filter's own steps. Some runs meet infinities and NaNs on the way or begin with a singular
// innovation.
TEST(BoxKalmanFilter, StepsAreThoseOfTheFullSizeFilter) {
  // With the smallest, the time step overflows; with the next, its square.
  for (const float fps : {25.0f, 1e-30f, 1e-39f})
    for (const float process_noise : {0.0f, -0.0f, 0.001f, 40.0f, 1e-42f, 3e38f})
      for (const float measurement_noise : {0.0f, -0.0f, 0.001f, 40.0f, 1e-42f, 3e38f})
        for (const float odd : {5.0f, -0.0f, kNaN, kInfinity, -3e38f}) {
          SCOPED_TRACE(testing::Message()
                       << fps << ", " << process_noise << ", " << measurement_noise << ", " << odd);
          std::mt19937 random(11);
          std::normal_distribution<float> jitter(0.0f, 2.0f);
          float z[4] = {100.0f, -0.0f, 140.0f, 300.0f};
          BoxKalmanFilter box(z, fps, process_noise, measurement_noise);
          KalmanFilter full = box;
          for (int frame = 0; frame < 60; ++frame) {
            for (float& value : z) value += 4.0f + jitter(random);
            if (frame == 30) z[1] = odd;
            if (frame == 31 && !(std::abs(odd) < 100.0f)) z[1] = 80.0f;
            const bool measured = frame % 5 != 4;
            ASSERT_EQ(box.step(measured ? z : nullptr), box.correctedState.data());
            full.predict();
            full.correct(measured ? MatrixXf(Eigen::Map<const Eigen::Vector4f>(z))
                                  : MatrixXf(full.predictedState.topRows(4)));
            for (const Member& m : kMembers)
              ASSERT_TRUE(sameMatrix(box.*m.matrix, full.*m.matrix))
                  << "member " << &m - kMembers << ", frame " << frame;
          }
        }
}

TEST(KalmanBoxTracker, ConvertsInADefinedOrder) {
  // With these numbers the divided difference of the corners is another w.
  const PlainBox usual = {0.01f, 0.7f, 0.02f, 0.05f}, inverted_outside = {-0.3f, 1.7f, -0.02f, -0.05f};
  for (const PlainBox& in : {usual, inverted_outside}) {
    TarnKalmanFilterBoxTracker2D tracker(1919, 1079), nowhere(0, 0);
    tracker.init(in.x, in.y, in.w, in.h);
    const float left = in.x * 1919.0f / 1919.0f, top = in.y * 1079.0f / 1079.0f;
    // At rest a prediction and a measurement in place change nothing.
    for (const PlainBox& out : {predicted(tracker), tracked(tracker, in), predicted(tracker)}) {
      EXPECT_EQ(out.x, left);
      EXPECT_EQ(out.y, top);
      EXPECT_EQ(out.w, (in.x + in.w) * 1919.0f / 1919.0f - left);
      EXPECT_EQ(out.h, (in.y + in.h) * 1079.0f / 1079.0f - top);
    }
    nowhere.init(in.x, in.y, in.w, in.h);
    EXPECT_TRUE(std::isnan(tracked(nowhere, in).x));
  }
}

TEST(KalmanBoxTracker, ReadsItsParametersAtInit) {
  const RestoreTracking restore;
  TarnKalmanFilterBoxTracker2D tracker(1024, 1024);
  TarnBoundingBoxesTrackerParams params;
  params.fps = 50.0f;
  params.processNoise = 0.5f;
  params.measurementNoise = 0.25f;
  setTrackerParams(params);
  tracker.init(0, 0, 1, 1);
  setTrackerParams({});
  const float start[] = {0, 0, 1024, 1024}, moved[] = {512, 0, 1536, 1024};
  BoxKalmanFilter filter(start, 50.0f, 0.5f, 0.25f);
  for (int frame = 0; frame < 3; ++frame)
    EXPECT_EQ(tracked(tracker, {0.5f, 0, 1, 1}).x, filter.step(moved)[0] / 1024.0f);
}

}  // namespace
