// The One-Euro filter for dynamic vectors; its steps are in the header.
#include "tarnkit/src/tracking/tn_oneeurofilter.h"

namespace Tarn {

using Eigen::Vector4d;
using Eigen::VectorXd;

VectorXd LowPassFilter::filterWithAlpha(VectorXd value, VectorXd alpha) { return smooth(value, alpha); }

OneEuroFilter::OneEuroFilter(float fps, float minCutoff, float beta, float dCutoff)
    : lastTime(kNoTime),
      rate(static_cast<double>(fps)),
      betaCoeff(static_cast<double>(beta)),
      minCutoffs(Vector4d::Constant(static_cast<double>(minCutoff))),
      derivativeCutoffs(Vector4d::Constant(static_cast<double>(dCutoff))),
      derivative_tau_(1.0 / (kTwoPi * static_cast<double>(dCutoff))) {}

VectorXd OneEuroFilter::filter(VectorXd value, double timestamp) { return step(value, timestamp); }

VectorXd OneEuroFilter::predict(double timestamp) { return extrapolate(timestamp); }

VectorXd OneEuroFilter::alpha(VectorXd cutoffs) { return smoothingFactors(cutoffs); }

}  // namespace Tarn
