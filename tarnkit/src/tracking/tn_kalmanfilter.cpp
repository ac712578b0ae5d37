#include "tn_kalmanfilter.h"

#include "tarnkit/src/common/tn_check.h"

namespace Tarn {

using Eigen::MatrixXf;

KalmanFilter::KalmanFilter(int DP, int MP, int CP) { init(DP, MP, CP); }

void KalmanFilter::init(int DP, int MP, int CP) {
  TN_CHECK(DP > 0 && MP > 0);
  predictedState = MatrixXf::Zero(DP, 1);
  correctedState = MatrixXf::Zero(DP, 1);
  transition = MatrixXf::Identity(DP, DP);
  processNoiseCov = MatrixXf::Identity(DP, DP);
  measurement = MatrixXf::Zero(MP, DP);
  measurementNoiseCov = MatrixXf::Identity(MP, MP);
  predictedErrorCov = MatrixXf::Zero(DP, DP);
  correctedErrorCov = MatrixXf::Zero(DP, DP);
  gain = MatrixXf::Zero(DP, MP);
  if (CP > 0) control = MatrixXf::Zero(DP, CP);
  scratchFP = MatrixXf::Zero(DP, DP);
  scratchHP = MatrixXf::Zero(MP, DP);
  innovationCov = MatrixXf::Zero(MP, MP);
  gainTransposed = MatrixXf::Zero(MP, DP);
  innovation = MatrixXf::Zero(MP, 1);
}

const MatrixXf& KalmanFilter::predict() {
  predictedState.noalias() = transition * correctedState;
  scratchFP.noalias() = transition * correctedErrorCov;
  predictedErrorCov = scratchFP * transition.transpose() + processNoiseCov;
  correctedState = predictedState;
  correctedErrorCov = predictedErrorCov;
  return predictedState;
}

const MatrixXf& KalmanFilter::correct(MatrixXf measurementVector) {
  scratchHP.noalias() = measurement * predictedErrorCov;
  innovationCov = scratchHP * measurement.transpose() + measurementNoiseCov;
  gainTransposed.noalias() = innovationCov.inverse() * scratchHP;
  gain = gainTransposed.transpose();
  innovation = measurementVector - measurement * predictedState;
  correctedState = predictedState + gain * innovation;
  correctedErrorCov = predictedErrorCov - gain * scratchHP;
  return correctedState;
}

}  // namespace Tarn
