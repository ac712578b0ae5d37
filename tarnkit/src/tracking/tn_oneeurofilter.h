// A low-pass filter whose cut-off frequency rises with the speed of the signal: calm signals lose their
// jitter, fast ones are followed closely.
#ifndef TN_KITS_TRACKING_TN_ONEEUROFILTER_H_
#define TN_KITS_TRACKING_TN_ONEEUROFILTER_H_

#include <Eigen/Dense>

namespace Tarn {

// Exponential smoothing of four values at once.
//
// Here and in OneEuroFilter the operations on VectorXd take and return four elements (Eigen's assertions
// end the program with other sizes); those on Vector4d are the same without the heap.
class LowPassFilter {
 public:
  // The first value passes through; later ones give last + (value - last) * alpha, in that form.
  Eigen::VectorXd filterWithAlpha(Eigen::VectorXd value, Eigen::VectorXd alpha);
  Eigen::Vector4d smooth(const Eigen::Vector4d& value, const Eigen::Vector4d& alpha);

  Eigen::Vector4d lastOutput = Eigen::Vector4d::Zero();
  Eigen::Vector4d lastInput = Eigen::Vector4d::Zero();
  bool hasInput = false;
};

class OneEuroFilter {
 public:
  OneEuroFilter(float fps, float minCutoff, float beta, float dCutoff);

  // One smoothing step for `value`, measured at `timestamp` seconds.
  Eigen::VectorXd filter(Eigen::VectorXd value, double timestamp);
  Eigen::Vector4d step(const Eigen::Vector4d& value, double timestamp);

  // The last smoothed value moved by its speed times the time since the last filter or predict. Both
  // low-pass filters stay as they are, so repeated predictions do not add up.
  Eigen::VectorXd predict(double timestamp);
  Eigen::Vector4d extrapolate(double timestamp);

  // The smoothing factor of each cut-off (Hz) at the current rate.
  Eigen::VectorXd alpha(Eigen::VectorXd cutoffs);
  Eigen::Vector4d smoothingFactors(const Eigen::Vector4d& cutoffs) const;

  LowPassFilter valueFilter;
  LowPassFilter derivativeFilter;
  double lastTime;  // seconds; kNoTime before the first call
  double rate;      // samples per second
  double betaCoeff;
  Eigen::Vector4d minCutoffs;         // Hz
  Eigen::Vector4d derivativeCutoffs;  // Hz

  static constexpr double kNoTime = -1.0;
  static constexpr double kTwoPi = 6.283185307179586;

 private:
  void updateRate(double timestamp);

  // 1 / (2 pi dCutoff), the same for all coordinates: it saves seven divisions a step. Writing to
  // derivativeCutoffs therefore has no effect.
  double derivative_tau_;
};

// Defined here to be inlined into the box tracker: a step is a few dozen operations.

inline Eigen::Vector4d LowPassFilter::smooth(const Eigen::Vector4d& value,
                                             const Eigen::Vector4d& alpha) {
  const Eigen::Vector4d out =
      hasInput ? Eigen::Vector4d(lastOutput + (value - lastOutput).cwiseProduct(alpha)) : value;
  hasInput = true;
  lastOutput = out;
  lastInput = value;
  return out;
}

inline void OneEuroFilter::updateRate(double timestamp) {
  // Equal timestamps keep the previous rate: a clock may be coarser than the calls.
  if (lastTime != kNoTime && timestamp != kNoTime && timestamp != lastTime)
    rate = 1.0 / (timestamp - lastTime);
  lastTime = timestamp;
}

inline Eigen::Vector4d OneEuroFilter::smoothingFactors(const Eigen::Vector4d& cutoffs) const {
  const Eigen::Array4d tau = 1.0 / (kTwoPi * cutoffs.array());
  return 1.0 / (rate * tau + 1.0);
}

inline Eigen::Vector4d OneEuroFilter::step(const Eigen::Vector4d& value, double timestamp) {
  updateRate(timestamp);
  // Speed is taken between raw inputs: the smoothed output lags and would understate it.
  const Eigen::Vector4d speed = valueFilter.hasInput
                                    ? Eigen::Vector4d(rate * (value - valueFilter.lastInput))
                                    : Eigen::Vector4d(Eigen::Vector4d::Zero());
  const double speed_alpha = 1.0 / (rate * derivative_tau_ + 1.0);
  const Eigen::Vector4d smooth_speed =
      derivativeFilter.smooth(speed, Eigen::Vector4d::Constant(speed_alpha));
  const Eigen::Vector4d cutoffs = minCutoffs + betaCoeff * smooth_speed.cwiseAbs();
  return valueFilter.smooth(value, smoothingFactors(cutoffs));
}

inline Eigen::Vector4d OneEuroFilter::extrapolate(double timestamp) {
  updateRate(timestamp);
  return valueFilter.lastOutput + derivativeFilter.lastOutput / rate;
}

}  // namespace Tarn

#endif  // TN_KITS_TRACKING_TN_ONEEUROFILTER_H_
