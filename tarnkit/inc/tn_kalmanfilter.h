/// A linear Kalman filter over dense single-precision matrices of sizes chosen at run time.
#ifndef TN_KALMANFILTER_H_
#define TN_KALMANFILTER_H_

#include <Eigen/Dense>

#include "tn_kits_export.h"

namespace Tarn {

class TN_KITS_API KalmanFilter {
 public:
  KalmanFilter(int DP, int MP, int CP);
  void init(int DP, int MP, int CP);
  const Eigen::MatrixXf& predict();
  const Eigen::MatrixXf& correct(Eigen::MatrixXf measurementVector);

  Eigen::MatrixXf predictedState;
  Eigen::MatrixXf correctedState;
  Eigen::MatrixXf transition;
  Eigen::MatrixXf control;
  Eigen::MatrixXf measurement;
  Eigen::MatrixXf processNoiseCov;
  Eigen::MatrixXf measurementNoiseCov;
  Eigen::MatrixXf predictedErrorCov;
  Eigen::MatrixXf gain;
  Eigen::MatrixXf correctedErrorCov;
  Eigen::MatrixXf scratchFP;
  Eigen::MatrixXf scratchHP;
  Eigen::MatrixXf innovationCov;
  Eigen::MatrixXf gainTransposed;
  Eigen::MatrixXf innovation;
};

}  // namespace Tarn

#endif  // TN_KALMANFILTER_H_
