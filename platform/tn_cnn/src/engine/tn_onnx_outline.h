// What an ONNX file says of itself before an engine takes it up.
#ifndef TN_CNN_SRC_ENGINE_TN_ONNX_OUTLINE_H_
#define TN_CNN_SRC_ENGINE_TN_ONNX_OUTLINE_H_

#include <string>
#include <vector>

namespace TarnCPU {

struct OnnxInput {
  std::string name;
  std::vector<int> shape;  // -1 for an open size; empty if not declared
};

// The inputs of the graph, those that are weights aside, in the file's order.
//
// Engines have no names or shapes of inputs to give, and take a tensor's word for how many bytes it has.
// So all tensors are measured on the way, and nodes held against what engines survive. Throws
// std::runtime_error with the reason for a file that is not ONNX, is cut off, has a tensor with other
// than the bytes that its shape asks for, or a node that checkOnnxNode refuses.
std::vector<OnnxInput> outlineOnnx(const std::vector<unsigned char>& file);

}  // namespace TarnCPU

#endif  // TN_CNN_SRC_ENGINE_TN_ONNX_OUTLINE_H_
