#include "tn_kalmanfilter.h"

#include <gtest/gtest.h>

#include <random>
#include <utility>

#include "tests/reference/plain_kalman.h"

namespace {

using Eigen::MatrixXf;
using Tarn::KalmanFilter;
using tn_test::PlainKalman;

MatrixXf randomMatrix(std::mt19937& random, int rows, int cols, float reach) {
  std::uniform_real_distribution<float> uniform(-reach, reach);
  return MatrixXf::NullaryExpr(rows, cols, [&] { return uniform(random); });
}

// One state, one measurement: every number can be checked by hand.
TEST(KalmanFilter, FollowsAHandComputedSequence) {
  KalmanFilter filter(1, 1, 0);
  filter.transition(0) = 2.0f;
  filter.measurement(0) = 1.0f;
  filter.processNoiseCov(0) = 1.0f;
  filter.measurementNoiseCov(0) = 5.0f;
  filter.correctedState(0) = 3.0f;
  filter.correctedErrorCov(0) = 0.5f;

  EXPECT_EQ(&filter.predict(), &filter.predictedState);
  EXPECT_EQ(filter.predictedState(0), 6.0f);     // 2 * 3
  EXPECT_EQ(filter.scratchFP(0), 1.0f);          // 2 * 0.5
  EXPECT_EQ(filter.predictedErrorCov(0), 3.0f);  // 1 * 2 + 1
  EXPECT_EQ(&filter.correct(MatrixXf::Constant(1, 1, 14.0f)), &filter.correctedState);
  EXPECT_EQ(filter.innovationCov(0), 8.0f);        // 3 + 5
  EXPECT_EQ(filter.gain(0), 0.375f);               // 3 / 8
  EXPECT_EQ(filter.innovation(0), 8.0f);           // 14 - 6
  EXPECT_EQ(filter.correctedState(0), 9.0f);       // 6 + 0.375 * 8
  EXPECT_EQ(filter.correctedErrorCov(0), 1.875f);  // 3 - 0.375 * 3

  filter.predict();
  filter.predict();  // goes on from the prediction
  EXPECT_EQ(filter.predictedState(0), 36.0f);
  EXPECT_EQ(filter.predictedErrorCov(0), (1.875f * 4.0f + 1.0f) * 4.0f + 1.0f);
}

// Sizes on both sides of the fast way's, with matrices that have no structure at all, the covariances
// included: the gain of an asymmetric one shows which way round the products go.
TEST(KalmanFilter, MatchesAPlainComputation) {
  std::mt19937 random(3);
  for (const auto& [DP, MP] : {std::pair{12, 4}, {12, 3}, {11, 4}, {13, 5}, {2, 1}, {3, 6}}) {
    KalmanFilter filter(DP, MP, 0);
    filter.transition = randomMatrix(random, DP, DP, 0.5f);
    filter.measurement = randomMatrix(random, MP, DP, 1.0f);
    filter.processNoiseCov += randomMatrix(random, DP, DP, 0.2f);
    filter.measurementNoiseCov = 3.0f * filter.measurementNoiseCov + randomMatrix(random, MP, MP, 0.5f);
    filter.correctedState = randomMatrix(random, DP, 1, 4.0f);
    PlainKalman plain(filter);
    for (int step = 0; step < 12; ++step) {
      filter.predict();
      plain.predict();
      ASSERT_EQ(filter.correctedState, filter.predictedState);
      ASSERT_EQ(filter.correctedErrorCov, filter.predictedErrorCov);
      if (step % 4 != 3) {
        const MatrixXf z = randomMatrix(random, MP, 1, 4.0f);
        filter.correct(z);
        plain.correct(z.cast<double>());
        ASSERT_EQ(filter.gain, filter.gainTransposed.transpose());
      }
      // Values of up to 10, some 50 roundings of 6e-8 each, condition numbers of about 10.
      const auto error = [](const MatrixXf& got, const Eigen::MatrixXd& expected) {
        return (got.cast<double>() - expected).cwiseAbs().maxCoeff();
      };
      ASSERT_LT(error(filter.correctedState, plain.state), 1e-4) << DP << ", step " << step;
      ASSERT_LT(error(filter.correctedErrorCov, plain.covariance), 1e-4) << DP << ", step " << step;
    }
  }
}

TEST(KalmanFilter, InitResetsEverythingButControl) {
  KalmanFilter filter(12, 4, 3);
  for (MatrixXf* m :
       {&filter.predictedState, &filter.correctedState, &filter.transition, &filter.control,
        &filter.measurement, &filter.processNoiseCov, &filter.measurementNoiseCov,
        &filter.predictedErrorCov, &filter.gain, &filter.correctedErrorCov, &filter.scratchFP,
        &filter.scratchHP, &filter.innovationCov, &filter.gainTransposed, &filter.innovation})
    m->setConstant(7.0f);
  filter.init(3, 2, 0);
  EXPECT_EQ(filter.control, MatrixXf::Constant(12, 3, 7.0f));
  const auto zero = [](const MatrixXf& m, int rows, int cols) {
    return m.rows() == rows && m.cols() == cols && m.isZero(0.0f);
  };
  EXPECT_TRUE(zero(filter.predictedState, 3, 1) && zero(filter.correctedState, 3, 1));
  EXPECT_TRUE(zero(filter.predictedErrorCov, 3, 3) && zero(filter.correctedErrorCov, 3, 3));
  EXPECT_TRUE(zero(filter.scratchFP, 3, 3) && zero(filter.scratchHP, 2, 3));
  EXPECT_TRUE(zero(filter.measurement, 2, 3) && zero(filter.gainTransposed, 2, 3));
  EXPECT_TRUE(zero(filter.gain, 3, 2) && zero(filter.innovationCov, 2, 2));
  EXPECT_TRUE(zero(filter.innovation, 2, 1));
  EXPECT_TRUE(zero(filter.transition - MatrixXf::Identity(3, 3), 3, 3));
  EXPECT_TRUE(zero(filter.processNoiseCov - MatrixXf::Identity(3, 3), 3, 3));
  EXPECT_TRUE(zero(filter.measurementNoiseCov - MatrixXf::Identity(2, 2), 2, 2));
  filter.init(3, 2, 5);
  EXPECT_EQ(filter.control, MatrixXf::Zero(3, 5));
  EXPECT_EQ(KalmanFilter(3, 2, 0).control.size(), 0);
  EXPECT_EQ(filter.predict(), MatrixXf::Zero(3, 1));
  EXPECT_EQ(filter.predictedErrorCov, MatrixXf::Identity(3, 3));
}

TEST(KalmanFilter, AMeasurementAsPredictedMovesNothingButTheCovariance) {
  for (int DP : {12, 5}) {
    KalmanFilter filter(DP, 4, 0);
    filter.measurement.setIdentity();
    filter.correctedState.setConstant(2.0f);
    const MatrixXf z = filter.measurement * filter.predict();
    EXPECT_EQ(filter.correct(z), filter.predictedState);
    for (int i = 0; i < 4; ++i)
      EXPECT_LT(filter.correctedErrorCov(i, i), filter.predictedErrorCov(i, i));
  }
}

TEST(KalmanFilter, ASingularInnovationCovarianceGoesThroughUnreported) {
  KalmanFilter filter(12, 4, 0);
  filter.measurementNoiseCov.setZero();
  filter.predict();
  EXPECT_TRUE(filter.correct(MatrixXf::Ones(4, 1)).array().isNaN().all());
}

TEST(KalmanFilterDeathTest, WrongSizesMeetAssertions) {
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

}  // namespace
