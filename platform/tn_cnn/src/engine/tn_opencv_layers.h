// What we change in layers while OpenCV imports a network: the precision of their weights, and the
// output names of recurrent ones.
#ifndef TN_KITS_PLATFORM_TN_CNN_SRC_ENGINE_TN_OPENCV_LAYERS_H_
#define TN_KITS_PLATFORM_TN_CNN_SRC_ENGINE_TN_OPENCV_LAYERS_H_

#include <map>
#include <mutex>
#include <string>

#include "tn_inference_config.h"

namespace TarnCPU {

// Whether layers of this type have weights that can be rounded.
bool canRoundWeights(const std::string& layer_type);

// While an object lives, each layer that this thread imports gets its own copy of its weights and
// biases, rounded. Recurrent layers also answer to their layer's name.
//
// Rounding happens before a layer is made: layers of several types copy or combine their weights then,
// and later changes would do nothing. OpenCV makes some layers only when they are asked for, so ask for
// all of them while the object lives. OpenCV's registry of layers belongs to the process; imports of
// other threads use it too and stay unchanged.
class WeightRounding {
 public:
  // precisions: by the engine's name of the layer; layers without an entry are not rounded. Must outlive
  // this object.
  explicit WeightRounding(const std::map<std::string, WeightPrecision>& precisions);
  WeightRounding(const WeightRounding&) = delete;
  WeightRounding& operator=(const WeightRounding&) = delete;
  ~WeightRounding();

 private:
  std::unique_lock<std::mutex> lock_;
};

}  // namespace TarnCPU

#endif  // TN_KITS_PLATFORM_TN_CNN_SRC_ENGINE_TN_OPENCV_LAYERS_H_
