// The inputs of an ONNX file, and the checks of its sizes, before an engine reads it.
#ifndef TN_KITS_PLATFORM_TN_CNN_SRC_ENGINE_TN_ONNX_OUTLINE_H_
#define TN_KITS_PLATFORM_TN_CNN_SRC_ENGINE_TN_ONNX_OUTLINE_H_

#include <string>
#include <vector>

namespace TarnCPU {

struct OnnxInput {
  std::string name;
  std::vector<int> shape;  // -1 for an open size; empty if not declared
};

// The inputs of the graph in the file's order, without the initialisers, which older files list too.
//
// Engines do not give names or shapes of inputs. They also copy a tensor's data by its shape, so every
// tensor is measured here. Throws std::runtime_error with the reason for a file that is not ONNX or is
// cut off, for a tensor whose data does not match its shape, and for graphs nested more than 32 deep.
std::vector<OnnxInput> outlineOnnx(const std::vector<unsigned char>& file);

}  // namespace TarnCPU

#endif  // TN_KITS_PLATFORM_TN_CNN_SRC_ENGINE_TN_ONNX_OUTLINE_H_
