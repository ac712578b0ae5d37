// The Kalman filter's textbook form in double precision, the gain by a linear solution.
#ifndef TN_KITS_TESTS_REFERENCE_PLAIN_KALMAN_H_
#define TN_KITS_TESTS_REFERENCE_PLAIN_KALMAN_H_

#include <Eigen/Dense>

#include "tn_kalmanfilter.h"

namespace tn_test {

struct PlainKalman {
  // With the matrices and the state of a filter.
  explicit PlainKalman(const Tarn::KalmanFilter& filter)
      : F(filter.transition.cast<double>()),
        H(filter.measurement.cast<double>()),
        Q(filter.processNoiseCov.cast<double>()),
        R(filter.measurementNoiseCov.cast<double>()),
        state(filter.correctedState.cast<double>()),
        covariance(filter.correctedErrorCov.cast<double>()) {}

  Eigen::MatrixXd F, H, Q, R, state, covariance;
  Eigen::MatrixXd FP, HP, S, gain, innovation;  // of the last step

  void predict() {
    state = (F * state).eval();
    FP = F * covariance;
    covariance = FP * F.transpose() + Q;
  }
  // gain = (S^-1 H P)^T, also for covariances that are not symmetric: gain^T solves S gain^T = H P.
  void correct(const Eigen::MatrixXd& z) {
    HP = H * covariance;
    S = HP * H.transpose() + R;
    gain = S.fullPivLu().solve(HP).transpose();
    innovation = z - H * state;
    state += gain * innovation;
    covariance = ((Eigen::MatrixXd::Identity(F.rows(), F.cols()) - gain * H) * covariance).eval();
  }
};

}  // namespace tn_test

#endif  // TN_KITS_TESTS_REFERENCE_PLAIN_KALMAN_H_
