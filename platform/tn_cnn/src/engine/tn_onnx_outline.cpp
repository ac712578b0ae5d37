// A reader of just as much of the format (protocol buffers) as the outline takes.
#include "platform/tn_cnn/src/engine/tn_onnx_outline.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <set>
#include <stdexcept>
#include <string_view>

namespace TarnCPU {
namespace {

constexpr int kMostNesting = 32;

// One field of a message: a number, or a run of bytes.
struct Field {
  std::uint64_t number = 0, value = 0;
  bool is_bytes = false;
  std::string_view bytes;
};

// Walks the fields of a message.
class Fields {
 public:
  explicit Fields(std::string_view message) : rest_(message) {}

  bool next(Field& field) {
    if (rest_.empty()) return false;
    const std::uint64_t key = varint();
    field.number = key >> 3;
    field.is_bytes = false;
    if (field.number == 0) fail();
    switch (key & 7) {
      case 0:
        field.value = varint();
        break;
      case 1:
        take(8);
        break;
      case 2:
        field.bytes = take(varint());
        field.is_bytes = true;
        break;
      case 5:
        take(4);
        break;
      default:
        fail();
    }
    return true;
  }

  bool atEnd() const { return rest_.empty(); }

  std::uint64_t varint() {
    std::uint64_t value = 0;
    for (unsigned shift = 0; shift < 64; shift += 7) {
      const auto byte = static_cast<unsigned char>(take(1).front());
      value |= static_cast<std::uint64_t>(byte & 0x7F) << shift;
      if ((byte & 0x80) == 0) return value;
    }
    fail();
  }

 private:
  std::string_view take(std::uint64_t count) {
    if (count > rest_.size()) fail();
    const std::string_view taken = rest_.substr(0, static_cast<std::size_t>(count));
    rest_.remove_prefix(taken.size());
    return taken;
  }

  [[noreturn]] static void fail() {
    throw std::runtime_error("is no ONNX model, or is damaged or cut off");
  }

  std::string_view rest_;
};

struct Dimensions {
  std::vector<std::int64_t> sizes;

  // One number, or several packed into bytes.
  void add(const Field& field) {
    if (!field.is_bytes) {
      sizes.push_back(static_cast<std::int64_t>(field.value));
      return;
    }
    for (Fields packed(field.bytes); !packed.atEnd();)
      sizes.push_back(static_cast<std::int64_t>(packed.varint()));
  }
};

// Bytes of an element, by the format's code of the type; 0 for types that engines refuse by themselves.
std::uint64_t elementBytes(std::uint64_t type) {
  switch (type) {
    case 2:  // uint8, int8, bool
    case 3:
    case 9:
      return 1;
    case 4:  // uint16, int16, float16, bfloat16
    case 5:
    case 10:
    case 16:
      return 2;
    case 1:  // float, int32, uint32
    case 6:
    case 12:
      return 4;
    case 7:  // int64, double, uint64
    case 11:
    case 13:
      return 8;
    default:
      return 0;
  }
}

std::uint64_t countVarints(std::string_view bytes) {
  std::uint64_t count = 0;
  for (Fields packed(bytes); !packed.atEnd(); ++count) packed.varint();
  return count;
}

void checkTensor(std::string_view message) {
  Dimensions dimensions;
  std::uint64_t type = 0, elements = 0;
  std::string_view raw;
  bool has_raw = false;
  std::string name;
  Field field;
  for (Fields fields(message); fields.next(field);) {
    switch (field.number) {
      case 1:
        dimensions.add(field);
        break;
      case 2:
        type = field.value;
        break;
      case 4:  // floats
        elements += field.is_bytes ? field.bytes.size() / 4 : 1;
        break;
      case 10:  // doubles
        elements += field.is_bytes ? field.bytes.size() / 8 : 1;
        break;
      case 5:  // 32 and 64-bit integers
      case 7:
      case 11:
        elements += field.is_bytes ? countVarints(field.bytes) : 1;
        break;
      case 8:
        name = field.bytes;
        break;
      case 9:
        raw = field.bytes;
        has_raw = true;
        break;
      default:
        break;
    }
  }
  const std::uint64_t size = elementBytes(type);
  if (size == 0) return;
  constexpr std::uint64_t kMost = std::numeric_limits<std::int32_t>::max();
  std::uint64_t expected = 1;
  for (const std::int64_t dimension : dimensions.sizes) {
    if (dimension < 0 || static_cast<std::uint64_t>(dimension) > kMost ||
        (expected *= static_cast<std::uint64_t>(dimension)) > kMost)
      throw std::runtime_error("the shape of tensor '" + name + "' is out of range");
  }
  const bool whole = elements != 0 ? elements == expected && !has_raw : raw.size() == expected * size;
  if (!whole)
    throw std::runtime_error("tensor '" + name + "' does not hold the " + std::to_string(expected) +
                             " elements of its shape");
}

struct Graph {
  std::vector<OnnxInput> inputs;
  std::set<std::string> weights;
  std::set<std::string> tensors;  // made so far, in graphs around this one too
};

void checkGraph(std::string_view message, int nesting, Graph& graph);

void checkAttribute(std::string_view message, int nesting, const Graph& graph) {
  Field field;
  for (Fields fields(message); fields.next(field);) {
    if (!field.is_bytes) continue;
    if (field.number == 5 || field.number == 10) checkTensor(field.bytes);
    if (field.number != 6 && field.number != 11) continue;
    Graph inner;
    inner.tensors = graph.tensors;
    checkGraph(field.bytes, nesting + 1, inner);
  }
}

// Engines look at a node's first input without asking whether there is one, and at what makes it.
void checkNode(std::string_view message, int nesting, Graph& graph) {
  std::string name, type;
  std::vector<std::string> inputs, outputs;
  Field field;
  for (Fields fields(message); fields.next(field);) {
    if (!field.is_bytes) continue;
    if (field.number == 1) inputs.emplace_back(field.bytes);
    if (field.number == 2) outputs.emplace_back(field.bytes);
    if (field.number == 3) name = field.bytes;
    if (field.number == 4) type = field.bytes;
    if (field.number == 5) checkAttribute(field.bytes, nesting, graph);
  }
  const auto fail = [&](std::string_view fault) {
    throw std::runtime_error("node '" + name + "' of type '" + type + "' " + std::string(fault));
  };
  // Outputs that nobody wants have no name, the first one too.
  if (std::all_of(outputs.begin(), outputs.end(),
                  [](const std::string& output) { return output.empty(); }))
    fail("has no output");
  if (type != "Constant" && (inputs.empty() || inputs[0].empty())) fail("has no input");
  for (const std::string& input : inputs)
    if (!input.empty() && graph.tensors.count(input) == 0)
      fail(std::string("takes '").append(input).append("', which nothing before it makes"));
  graph.tensors.insert(outputs.begin(), outputs.end());
}

// The sizes that a description of a tensor's shape gives.
std::vector<int> parseShape(std::string_view message) {
  std::vector<int> shape;
  Field field, inner;
  for (Fields fields(message); fields.next(field);) {
    if (field.number != 1 || !field.is_bytes) continue;
    shape.push_back(-1);
    for (Fields dimension(field.bytes); dimension.next(inner);)
      if (inner.number == 1 && !inner.is_bytes && inner.value >= 1 &&
          inner.value <= static_cast<std::uint64_t>(std::numeric_limits<int>::max()))
        shape.back() = static_cast<int>(inner.value);
  }
  return shape;
}

OnnxInput parseInput(std::string_view message) {
  OnnxInput input;
  Field field, type, tensor;
  for (Fields fields(message); fields.next(field);) {
    if (!field.is_bytes) continue;
    if (field.number == 1) input.name = field.bytes;
    if (field.number != 2) continue;
    for (Fields types(field.bytes); types.next(type);) {
      if (type.number != 1 || !type.is_bytes) continue;
      for (Fields tensors(type.bytes); tensors.next(tensor);)
        if (tensor.number == 2 && tensor.is_bytes) input.shape = parseShape(tensor.bytes);
    }
  }
  return input;
}

// Weights and inputs come after the nodes that take them.
void checkGraph(std::string_view message, int nesting, Graph& graph) {
  if (nesting > kMostNesting) throw std::runtime_error("has graphs nested too deeply");
  Field field, inner;
  for (Fields fields(message); fields.next(field);) {
    if (!field.is_bytes) continue;
    if (field.number == 5) {
      checkTensor(field.bytes);
      for (Fields tensor(field.bytes); tensor.next(inner);)
        if (inner.number == 8) graph.weights.emplace(inner.bytes);
    }
    if (field.number == 11) graph.inputs.push_back(parseInput(field.bytes));
  }
  graph.tensors.insert(graph.weights.begin(), graph.weights.end());
  for (const OnnxInput& input : graph.inputs) graph.tensors.insert(input.name);
  for (Fields fields(message); fields.next(field);)
    if (field.number == 1 && field.is_bytes) checkNode(field.bytes, nesting, graph);
}

}  // namespace

std::vector<OnnxInput> outlineOnnx(const std::vector<unsigned char>& file) {
  Graph graph;
  bool has_graph = false, has_version = false;
  Field field;
  const std::string_view bytes(reinterpret_cast<const char*>(file.data()), file.size());
  for (Fields fields(bytes); fields.next(field);) {
    has_version |= field.number == 8;
    if (field.number != 7 || !field.is_bytes) continue;
    if (has_graph) throw std::runtime_error("has more than one graph");
    has_graph = true;
    checkGraph(field.bytes, 0, graph);
  }
  if (!has_graph) throw std::runtime_error("is no ONNX model: it has no graph");
  // Writers put the version of the operators last.
  if (!has_version) throw std::runtime_error("does not say which operators it uses, or is cut off");
  std::vector<OnnxInput> inputs;
  for (OnnxInput& input : graph.inputs)
    if (graph.weights.count(input.name) == 0) inputs.push_back(std::move(input));
  return inputs;
}

}  // namespace TarnCPU
