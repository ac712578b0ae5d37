// What a node of an ONNX graph may ask for.
#ifndef TN_CNN_SRC_ENGINE_TN_ONNX_NODES_H_
#define TN_CNN_SRC_ENGINE_TN_ONNX_NODES_H_

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace TarnCPU {

// A tensor as far as the file tells.
struct OnnxTensor {
  static constexpr int kUnknown = -1;
  int rank = kUnknown;
  bool is_constant = false;
  std::vector<std::int64_t> sizes;   // of a constant
  std::vector<std::int64_t> values;  // of a constant of 64-bit integers

  std::int64_t total() const;
};

using OnnxTensors = std::map<std::string, OnnxTensor>;

struct OnnxNode {
  std::string name, type;
  std::vector<std::string> inputs, outputs;
  std::map<std::string, std::vector<std::int64_t>> integers;  // attributes of one or more
};

// Throws std::runtime_error for a node that the engine would not survive: with attributes out of range,
// axes that its input does not have, constants that do not fit together or have no elements, targets
// larger than any blob may be. What a node's inputs turn out to be only as the network is put together
// is checked there.
void checkOnnxNode(const OnnxNode& node, const OnnxTensors& tensors);

// The dimensions of a node's outputs, as far as they follow from those of its inputs.
int rankOfOutputs(const OnnxNode& node, const OnnxTensors& tensors);

}  // namespace TarnCPU

#endif  // TN_CNN_SRC_ENGINE_TN_ONNX_NODES_H_
