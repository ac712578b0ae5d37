// The engine of builds without one: tensors, resizers and configs work, but networks cannot be loaded.
#include <stdexcept>

#include "platform/tn_cnn/src/engine/tn_engine.h"

namespace TarnCPU {

std::unique_ptr<EngineNetwork> buildNetwork(const ModelFile&, const LayerInferenceConfig&) {
  throw std::runtime_error("the library was built without a network engine");
}

}  // namespace TarnCPU
