// The interface between the network classes and an engine. TN_CNN_ENGINE picks the source that
// implements it when the library is built.
#ifndef TN_KITS_PLATFORM_TN_CNN_SRC_ENGINE_TN_ENGINE_H_
#define TN_KITS_PLATFORM_TN_CNN_SRC_ENGINE_TN_ENGINE_H_

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "tn_inference_config.h"
#include "tn_mat.h"
#include "tn_statistician.h"

namespace TarnCPU {

// A model file in memory.
struct ModelFile {
  std::string path;  // for messages
  std::vector<unsigned char> bytes;
};

struct RunRequest {
  std::map<int, Mat> inputs;  // by index, all of them; CHW or HWC floats
  int last = 0;               // the layer up to which to run
  bool keep_all = false;      // true: keep all blobs; false: those of the last layer and the outputs
  bool report = false;        // whether to fill RunResult::layers
  int threads = 0;            // 0: the engine's own choice
};

struct RunResult {
  std::map<int, Mat> blobs;  // by layer
  int threads = 0;           // number used by the run
  std::vector<LayerReport> layers;
};

// A built network. One run at a time.
class EngineNetwork {
 public:
  virtual ~EngineNetwork() = default;
  // Layers are numbered from 1; 0 is the input.
  virtual int lastLayer() const = 0;
  virtual int inputCount() const = 0;
  // Batch first, -1 for an open size; empty if not declared.
  virtual std::vector<int> inputShape(int index) const = 0;
  // Throws std::exception with a reason of one line or more.
  virtual RunResult run(const RunRequest& request) = 0;
};

// Throws std::exception with a reason if the model is malformed or needs something that the engine
// lacks. Logs each setting of `config` that does not apply.
std::unique_ptr<EngineNetwork> buildNetwork(const ModelFile& model, const LayerInferenceConfig& config);

}  // namespace TarnCPU

#endif  // TN_KITS_PLATFORM_TN_CNN_SRC_ENGINE_TN_ENGINE_H_
