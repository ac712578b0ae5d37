// Weights rounded to fewer bits, kept as floats.
#ifndef TN_CNN_SRC_ENGINE_TN_WEIGHT_ROUNDING_H_
#define TN_CNN_SRC_ENGINE_TN_WEIGHT_ROUNDING_H_

#include "tn_inference_config.h"

namespace TarnCPU {

// The nearest value that `precision` has, of two equally near ones that with an even last bit. Signs of
// zeros, infinities, and that a value is not a number, stay; what is too large becomes infinite.
float roundWeight(float value, WeightPrecision precision);

}  // namespace TarnCPU

#endif  // TN_CNN_SRC_ENGINE_TN_WEIGHT_ROUNDING_H_
