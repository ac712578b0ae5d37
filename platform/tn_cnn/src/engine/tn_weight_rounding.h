// Rounding of weights to fewer bits. They stay floats.
#ifndef TN_KITS_PLATFORM_TN_CNN_SRC_ENGINE_TN_WEIGHT_ROUNDING_H_
#define TN_KITS_PLATFORM_TN_CNN_SRC_ENGINE_TN_WEIGHT_ROUNDING_H_

#include "tn_inference_config.h"

namespace TarnCPU {

// The nearest value of `precision`, ties to even. The sign of a zero stays, and so do infinities and
// NaN. Values too large for `precision` become infinite.
float roundWeight(float value, WeightPrecision precision);

}  // namespace TarnCPU

#endif  // TN_KITS_PLATFORM_TN_CNN_SRC_ENGINE_TN_WEIGHT_ROUNDING_H_
