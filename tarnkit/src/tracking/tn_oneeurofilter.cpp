#include "tarnkit/src/tracking/tn_oneeurofilter.h"

namespace Tarn {

using Eigen::Vector4d;
using Eigen::VectorXd;

namespace {

constexpr double kTwoPi = 6.283185307179586;

}  // namespace

VectorXd LowPassFilter::filterWithAlpha(VectorXd value, VectorXd alpha) { return smooth(value, alpha); }

Vector4d LowPassFilter::smooth(const Vector4d& value, const Vector4d& alpha) {
  const Vector4d out =
      hasInput ? Vector4d(lastOutput + (value - lastOutput).cwiseProduct(alpha)) : value;
  hasInput = true;
  lastOutput = out;
  lastInput = value;
  return out;
}

OneEuroFilter::OneEuroFilter(float fps, float minCutoff, float beta, float dCutoff)
    : lastTime(kNoTime),
      rate(static_cast<double>(fps)),
      betaCoeff(static_cast<double>(beta)),
      minCutoffs(Vector4d::Constant(static_cast<double>(minCutoff))),
      derivativeCutoffs(Vector4d::Constant(static_cast<double>(dCutoff))) {}

VectorXd OneEuroFilter::filter(VectorXd value, double timestamp) { return step(value, timestamp); }

Vector4d OneEuroFilter::step(const Vector4d& value, double timestamp) {
  updateRate(timestamp);
  // Speed is taken between raw inputs: the smoothed output lags and would understate it.
  const Vector4d speed = valueFilter.hasInput ? Vector4d(rate * (value - valueFilter.lastInput))
                                              : Vector4d(Vector4d::Zero());
  const Vector4d smooth_speed = derivativeFilter.smooth(speed, smoothingFactors(derivativeCutoffs));
  const Vector4d cutoffs = minCutoffs + betaCoeff * smooth_speed.cwiseAbs();
  return valueFilter.smooth(value, smoothingFactors(cutoffs));
}

VectorXd OneEuroFilter::predict(double timestamp) { return extrapolate(timestamp); }

Vector4d OneEuroFilter::extrapolate(double timestamp) {
  updateRate(timestamp);
  return valueFilter.lastOutput + derivativeFilter.lastOutput / rate;
}

VectorXd OneEuroFilter::alpha(VectorXd cutoffs) { return smoothingFactors(cutoffs); }

Vector4d OneEuroFilter::smoothingFactors(const Vector4d& cutoffs) const {
  const Eigen::Array4d tau = 1.0 / (kTwoPi * cutoffs.array());
  return 1.0 / (rate * tau + 1.0);
}

void OneEuroFilter::updateRate(double timestamp) {
  // Equal timestamps keep the previous rate: a clock may be coarser than the calls.
  if (lastTime != kNoTime && timestamp != kNoTime && timestamp != lastTime)
    rate = 1.0 / (timestamp - lastTime);
  lastTime = timestamp;
}

}  // namespace Tarn
