// What we change in layers while OpenCV imports a network: the rounding of their weights,
// and checks that they lack.
#ifndef TN_CNN_SRC_ENGINE_TN_OPENCV_LAYERS_H_
#define TN_CNN_SRC_ENGINE_TN_OPENCV_LAYERS_H_

#include <map>
#include <mutex>
#include <string>

#include "tn_inference_config.h"

namespace TarnCPU {

// Whether layers of this type have weights that can be rounded.
bool canRoundWeights(const std::string& layer_type);

// While it lives, layers that this thread's imports make get weights and biases of their own, rounded
// first, layers that do not check what flows into them get that checked, and recurrent layers answer to
// their name.
//
// It must be then: layers of several types copy or combine their weights as they are made, so that
// changing them afterwards would do nothing. A layer may be made long after its import unless it is
// asked for. OpenCV's registry of layers belongs to the process; imports of other threads pass through
// it unchanged.
class WeightRounding {
 public:
  // precisions: by the engine's name of the layer, others stay as they are; must outlive this object.
  explicit WeightRounding(const std::map<std::string, WeightPrecision>& precisions);
  WeightRounding(const WeightRounding&) = delete;
  WeightRounding& operator=(const WeightRounding&) = delete;
  ~WeightRounding();

 private:
  std::unique_lock<std::mutex> lock_;
};

}  // namespace TarnCPU

#endif  // TN_CNN_SRC_ENGINE_TN_OPENCV_LAYERS_H_
