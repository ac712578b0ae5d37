// Engines check what people get wrong, in the shapes that meet in a layer. Numbers that no tool would
// write they divide by, count down from and take for places in memory.
#include "platform/tn_cnn/src/engine/tn_onnx_nodes.h"

#include <algorithm>
#include <cstddef>
#include <functional>
#include <iterator>
#include <numeric>
#include <stdexcept>
#include <string_view>

#include "platform/tn_cnn/src/engine/tn_engine_limits.h"

namespace TarnCPU {
namespace {

constexpr std::int64_t kMostStep = 32767;         // kernels, strides, pads
constexpr std::int64_t kMostSize = 1 << 20;       // channels and other sizes given as such
constexpr std::int64_t kMostRepetitions = 10000;  // each becomes an input of a layer
constexpr int kMostRank = 8;                      // where the file does not tell

struct Range {
  const char* attribute;
  std::int64_t least, most;
};

constexpr Range kRanges[] = {
    {"blocksize", 1, kMostStep},     {"dilations", 1, kMostStep},      {"group", 1, kMostSize},
    {"hidden_size", 1, kMostSize},   {"kernel_shape", 1, kMostStep},   {"output_height", 1, kMostStep},
    {"output_width", 1, kMostStep},  {"output_padding", 0, kMostStep}, {"output_shape", 1, kMostSize},
    {"pads", -kMostStep, kMostStep}, {"size", 1, kMostStep},           {"split", 1, kMostBlobElements},
    {"strides", 1, kMostStep},
};

// What types need: so many inputs with names, and a first one with so many dimensions.
struct Needs {
  const char* type;
  std::size_t inputs;
  int least_rank, most_rank;
};

constexpr Needs kNeeds[] = {
    {"Add", 2, 0, kMostRank},
    {"AveragePool", 1, 3, 5},
    {"BatchNormalization", 5, 2, kMostRank},
    {"Conv", 2, 3, 5},
    {"ConvTranspose", 2, 3, 5},
    {"Div", 2, 0, kMostRank},
    {"Equal", 2, 0, kMostRank},
    {"Expand", 2, 0, kMostRank},
    {"GRU", 3, 3, 3},
    {"Gather", 2, 1, kMostRank},
    {"Gemm", 2, 1, kMostRank},
    {"GlobalAveragePool", 1, 3, 5},
    {"GlobalMaxPool", 1, 3, 5},
    {"InstanceNormalization", 3, 2, kMostRank},
    {"LRN", 1, 3, kMostRank},
    {"LSTM", 3, 3, 3},
    {"MatMul", 2, 1, kMostRank},
    {"MaxPool", 1, 3, 5},
    {"Mul", 2, 0, kMostRank},
    {"PRelu", 2, 1, kMostRank},
    {"Pow", 2, 0, kMostRank},
    {"RNN", 3, 3, 3},
    {"Sub", 2, 0, kMostRank},
    {"Tile", 2, 0, kMostRank},
};

template <std::size_t count>
bool isOneOf(const std::string& type, const char* const (&types)[count]) {
  return std::find(std::begin(types), std::end(types), type) != std::end(types);
}

// One node with what is known of its inputs.
class Check {
 public:
  Check(const OnnxNode& node, const OnnxTensors& tensors) : node_(node), tensors_(tensors) {}

  void all() const {
    // OpenCV's writes outside its blobs whatever it is given.
    if (node_.type == "CumSum") fail("is not supported");
    attributes();
    inputs();
    axes();
    weights();
    targets();
  }

  const std::vector<std::int64_t>* attribute(const char* name) const {
    const auto found = node_.integers.find(name);
    return found == node_.integers.end() ? nullptr : &found->second;
  }

  // Null for inputs that the node does not have.
  const OnnxTensor* input(std::size_t index) const {
    if (index >= node_.inputs.size()) return nullptr;
    const auto found = tensors_.find(node_.inputs[index]);
    return found == tensors_.end() ? nullptr : &found->second;
  }

  // Null as well for inputs that are no constants.
  const OnnxTensor* constant(std::size_t index) const {
    const OnnxTensor* const tensor = input(index);
    return tensor != nullptr && tensor->is_constant ? tensor : nullptr;
  }

  int rank(std::size_t index = 0) const {
    const OnnxTensor* const tensor = input(index);
    return tensor == nullptr ? OnnxTensor::kUnknown : tensor->rank;
  }

 private:
  [[noreturn]] void fail(const std::string& fault) const {
    throw std::runtime_error("node '" + node_.name + "' of type '" + node_.type + "' " + fault);
  }

  void within(const std::string& what, const std::vector<std::int64_t>& values, std::int64_t least,
              std::int64_t most) const {
    for (const std::int64_t value : values)
      if (value < least || value > most)
        fail("has " + what + " " + std::to_string(value) + ", not from " + std::to_string(least) +
             " to " + std::to_string(most));
  }

  void attributes() const {
    for (const Range& range : kRanges)
      if (const auto* const values = attribute(range.attribute))
        within(range.attribute, *values, range.least, range.most);
    const auto* const kernel = attribute("kernel_shape");
    if (kernel == nullptr) return;
    for (const char* const name : {"dilations", "output_padding", "output_shape", "pads", "strides"}) {
      const std::size_t sides = std::string_view(name) == "pads" ? 2 : 1;
      const auto* const values = attribute(name);
      if (values != nullptr && values->size() != sides * kernel->size())
        fail("has not as many " + std::string(name) + " as its kernel has dimensions");
    }
  }

  void inputs() const {
    for (const std::string& name : node_.inputs) {
      const auto found = tensors_.find(name);
      // Resizing takes empty tensors for sizes that are given in another way.
      if (found != tensors_.end() && found->second.is_constant && found->second.total() == 0 &&
          node_.type != "Resize")
        fail("takes '" + name + "', which has no elements");
    }
    for (const Needs& needs : kNeeds) {
      if (node_.type != needs.type) continue;
      for (std::size_t i = 0; i < needs.inputs; ++i)
        if (i >= node_.inputs.size() || node_.inputs[i].empty())
          fail("lacks input " + std::to_string(i));
      if (rank() != OnnxTensor::kUnknown) within("rank", {rank()}, needs.least_rank, needs.most_rank);
    }
  }

  void axes() const {
    std::int64_t count = rank() == OnnxTensor::kUnknown ? kMostRank : rank();
    const std::vector<std::int64_t>* axes = attribute("axes");
    if (isOneOf(node_.type, {"Squeeze", "Unsqueeze", "ReduceSum"}) && constant(1) != nullptr)
      axes = &constant(1)->values;
    if (node_.type == "Slice" && constant(3) != nullptr) axes = &constant(3)->values;
    if (node_.type == "Unsqueeze" && axes != nullptr) count += static_cast<std::int64_t>(axes->size());
    if (axes != nullptr) within("axis", *axes, -count, count - 1);
    if (const auto* const order = attribute("perm")) within("axis", *order, 0, count - 1);

    // These count the place after the last axis.
    if (isOneOf(node_.type, {"Flatten", "OneHot", "SequenceAt", "ConcatFromSequence"})) ++count;
    const std::vector<std::int64_t>* const axis = attribute("axis");
    if (node_.type == "Gather") {
      gatherAxis(axis == nullptr ? std::vector<std::int64_t>{0} : *axis);
    } else if (axis != nullptr) {
      within("axis", *axis, -count, count - 1);
    }
  }

  // For a single index OpenCV writes to the axis's place in a list, as it is given.
  void gatherAxis(const std::vector<std::int64_t>& axis) const {
    const bool is_single = constant(1) != nullptr && constant(1)->total() == 1 && constant(0) == nullptr;
    const int count = rank() == OnnxTensor::kUnknown ? (is_single ? 1 : kMostRank) : rank();
    within("axis", axis, is_single ? 0 : -count, count - 1);
  }

  void weights() const {
    const bool is_convolution = isOneOf(node_.type, {"Conv", "ConvTranspose"});
    if (rank(1) != OnnxTensor::kUnknown && (is_convolution || node_.type == "MatMul"))
      within("rank of weights", {rank(1)}, is_convolution ? 3 : 1, is_convolution ? 5 : kMostRank);
    const OnnxTensor* const first = constant(1);
    if (first == nullptr) return;
    if (is_convolution) {
      const auto* const kernel = attribute("kernel_shape");
      if (kernel != nullptr &&
          !std::equal(kernel->begin(), kernel->end(), first->sizes.begin() + 2, first->sizes.end()))
        fail("has weights of another kernel");
      if (rank() != OnnxTensor::kUnknown && rank() != first->rank)
        fail("has weights of another rank than its input");
    }
    if (isOneOf(node_.type, {"BatchNormalization", "InstanceNormalization"}))
      for (std::size_t i = 2; i < node_.inputs.size(); ++i)
        if (constant(i) != nullptr && constant(i)->total() != first->total())
          fail("has parameters of different lengths");
  }

  void targets() const {
    if (node_.type == "ConstantOfShape" && constant(0) != nullptr) blob(constant(0)->values);
    if (node_.type == "Pad" && constant(1) != nullptr)
      within("pads", constant(1)->values, -kMostStep, kMostStep);
    if (constant(1) == nullptr) return;
    if (isOneOf(node_.type, {"Expand", "Reshape"})) blob(constant(1)->values);
    if (isOneOf(node_.type, {"Expand", "Tile"}))
      within("repetitions", constant(1)->values, -1, kMostRepetitions);
  }

  // Negative sizes and zeros are taken from elsewhere.
  void blob(const std::vector<std::int64_t>& sizes) const {
    std::int64_t elements = 1;
    for (const std::int64_t size : sizes) {
      within("size", {size}, -1, kMostBlobElements);
      elements *= std::max<std::int64_t>(size, 1);
      if (elements > kMostBlobElements)
        fail("makes more than " + std::to_string(kMostBlobElements) + " elements");
    }
  }

  const OnnxNode& node_;
  const OnnxTensors& tensors_;
};

}  // namespace

std::int64_t OnnxTensor::total() const {
  return std::accumulate(sizes.begin(), sizes.end(), std::int64_t{1}, std::multiplies<>());
}

void checkOnnxNode(const OnnxNode& node, const OnnxTensors& tensors) { Check(node, tensors).all(); }

int rankOfOutputs(const OnnxNode& node, const OnnxTensors& tensors) {
  const Check in(node, tensors);
  const int rank = in.rank();
  if (isOneOf(node.type, {"Gemm", "Flatten"})) return 2;
  if (node.type == "Shape") return 1;
  if (node.type == "Reshape" && in.constant(1) != nullptr)
    return static_cast<int>(in.constant(1)->values.size());
  if (isOneOf(node.type, {"Add", "Div", "MatMul", "Mul", "Sub"})) {
    const int other = in.rank(1);
    return rank == OnnxTensor::kUnknown || other == OnnxTensor::kUnknown ? OnnxTensor::kUnknown
                                                                         : std::max(rank, other);
  }
  if (isOneOf(node.type, {"Abs",
                          "AveragePool",
                          "BatchNormalization",
                          "Cast",
                          "Ceil",
                          "Celu",
                          "Clip",
                          "Concat",
                          "Conv",
                          "ConvTranspose",
                          "Cos",
                          "DepthToSpace",
                          "Dropout",
                          "Elu",
                          "Erf",
                          "Exp",
                          "Floor",
                          "GlobalAveragePool",
                          "GlobalMaxPool",
                          "HardSigmoid",
                          "HardSwish",
                          "Identity",
                          "InstanceNormalization",
                          "LRN",
                          "LeakyRelu",
                          "Log",
                          "LogSoftmax",
                          "MaxPool",
                          "Mish",
                          "Neg",
                          "PRelu",
                          "Pad",
                          "Reciprocal",
                          "Relu",
                          "Resize",
                          "Round",
                          "Selu",
                          "Sigmoid",
                          "Sign",
                          "Sin",
                          "Slice",
                          "Softmax",
                          "Softplus",
                          "Softsign",
                          "SpaceToDepth",
                          "Split",
                          "Sqrt",
                          "Tanh",
                          "ThresholdedRelu",
                          "Tile",
                          "Transpose",
                          "Upsample"}))
    return rank;
  return OnnxTensor::kUnknown;
}

}  // namespace TarnCPU
