// A reader of just as much of the format (protocol buffers) as the outline takes.
#include "platform/tn_cnn/src/engine/tn_onnx_outline.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <set>
#include <stdexcept>
#include <string_view>
#include <type_traits>
#include <utility>

#include "platform/tn_cnn/src/engine/tn_onnx_nodes.h"

namespace TarnCPU {
namespace {

constexpr int kMostNesting = 32;
// Integers of a constant that are of interest: no list of sizes or axes is as long.
constexpr std::size_t kMostListed = 1024;

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

// Appends the integers of a field: one, or several packed into bytes.
void appendVarints(const Field& field, std::vector<std::int64_t>& integers) {
  if (!field.is_bytes) {
    integers.push_back(static_cast<std::int64_t>(field.value));
    return;
  }
  for (Fields packed(field.bytes); !packed.atEnd();)
    integers.push_back(static_cast<std::int64_t>(packed.varint()));
}

template <class Integer>
std::vector<std::int64_t> integersOf(std::string_view bytes) {
  std::vector<std::int64_t> integers;
  for (; bytes.size() >= sizeof(Integer); bytes.remove_prefix(sizeof(Integer))) {
    std::make_unsigned_t<Integer> value = 0;
    for (std::size_t i = 0; i < sizeof value; ++i)
      value |= static_cast<std::make_unsigned_t<Integer>>(static_cast<unsigned char>(bytes[i])) << 8 * i;
    integers.push_back(static_cast<Integer>(value));
  }
  return integers;
}

// Measures a constant and returns what is known of it then, with its name.
std::pair<std::string, OnnxTensor> readTensor(std::string_view message) {
  OnnxTensor tensor;
  std::uint64_t type = 0, elements = 0;
  std::string_view raw;
  bool has_raw = false;
  std::string name;
  Field field;
  for (Fields fields(message); fields.next(field);) {
    switch (field.number) {
      case 1:
        appendVarints(field, tensor.sizes);
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
      case 11: {
        const std::size_t before = tensor.values.size();
        appendVarints(field, tensor.values);
        elements += tensor.values.size() - before;
        break;
      }
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
  if (size == 0) return {name, {}};
  constexpr std::uint64_t kMost = std::numeric_limits<std::int32_t>::max();
  std::uint64_t expected = 1;
  for (const std::int64_t dimension : tensor.sizes) {
    if (dimension < 0 || static_cast<std::uint64_t>(dimension) > kMost ||
        (expected *= static_cast<std::uint64_t>(dimension)) > kMost)
      throw std::runtime_error("the shape of tensor '" + name + "' is out of range");
  }
  const bool whole = elements != 0 ? elements == expected && !has_raw : raw.size() == expected * size;
  if (!whole)
    throw std::runtime_error("tensor '" + name + "' does not hold the " + std::to_string(expected) +
                             " elements of its shape");
  if (has_raw && type == 6) tensor.values = integersOf<std::int32_t>(raw);
  if (has_raw && type == 7) tensor.values = integersOf<std::int64_t>(raw);
  if (tensor.values.size() > kMostListed) tensor.values.clear();
  tensor.is_constant = true;
  tensor.rank = static_cast<int>(tensor.sizes.size());
  return {name, tensor};
}

struct Graph {
  std::vector<OnnxInput> inputs;
  std::set<std::string> weights;
  OnnxTensors tensors;  // made so far, in graphs around this one too
};

void checkGraph(std::string_view message, int nesting, Graph& graph);

struct Attribute {
  std::string name;
  std::vector<std::int64_t> integers;
  bool has_tensor = false;
  OnnxTensor tensor;
};

Attribute readAttribute(std::string_view message, int nesting, const Graph& graph) {
  Attribute attribute;
  Field field;
  for (Fields fields(message); fields.next(field);) {
    switch (field.number) {
      case 1:
        attribute.name = field.bytes;
        break;
      case 3:
      case 8:
        appendVarints(field, attribute.integers);
        break;
      case 2:
      case 4:
      case 7:
      case 9:
        // Engines turn floats and text into integers where they want some: these are in no range.
        attribute.integers.push_back(std::numeric_limits<std::int64_t>::min());
        break;
      case 5:
      case 10:
        attribute.tensor = readTensor(field.bytes).second;
        attribute.has_tensor = true;
        break;
      case 6:
      case 11: {
        Graph inner;
        inner.tensors = graph.tensors;
        checkGraph(field.bytes, nesting + 1, inner);
        break;
      }
      default:
        break;
    }
  }
  return attribute;
}

// Engines look at a node's first input without asking whether there is one, and at what makes it.
void checkNode(std::string_view message, int nesting, Graph& graph) {
  OnnxNode node;
  OnnxTensor made;
  Field field;
  for (Fields fields(message); fields.next(field);) {
    if (!field.is_bytes) continue;
    if (field.number == 1) node.inputs.emplace_back(field.bytes);
    if (field.number == 2) node.outputs.emplace_back(field.bytes);
    if (field.number == 3) node.name = field.bytes;
    if (field.number == 4) node.type = field.bytes;
    if (field.number != 5) continue;
    Attribute attribute = readAttribute(field.bytes, nesting, graph);
    if (attribute.has_tensor && attribute.name == "value") made = attribute.tensor;
    if (attribute.name == "value_ints") {
      made = {1, true, {static_cast<std::int64_t>(attribute.integers.size())}, attribute.integers};
    }
    node.integers[attribute.name] = std::move(attribute.integers);
  }
  const auto fail = [&](std::string_view fault) {
    throw std::runtime_error("node '" + node.name + "' of type '" + node.type + "' " +
                             std::string(fault));
  };
  // Outputs that nobody wants have no name, the first one too.
  if (std::all_of(node.outputs.begin(), node.outputs.end(),
                  [](const std::string& output) { return output.empty(); }))
    fail("has no output");
  const bool is_constant = node.type == "Constant";
  if (!is_constant && (node.inputs.empty() || node.inputs[0].empty())) fail("has no input");
  for (const std::string& input : node.inputs)
    if (!input.empty() && graph.tensors.count(input) == 0)
      fail(std::string("takes '").append(input).append("', which nothing before it makes"));
  checkOnnxNode(node, graph.tensors);
  if (!is_constant) made = {rankOfOutputs(node, graph.tensors), false, {}, {}};
  for (const std::string& output : node.outputs) graph.tensors[output] = made;
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
  Field field;
  for (Fields fields(message); fields.next(field);) {
    if (!field.is_bytes) continue;
    if (field.number == 5) {
      const auto [name, tensor] = readTensor(field.bytes);
      graph.weights.insert(name);
      graph.tensors[name] = tensor;
    }
    if (field.number == 11) graph.inputs.push_back(parseInput(field.bytes));
  }
  // Inputs that are weights have the weights' shape, not what is said of the inputs.
  for (const OnnxInput& input : graph.inputs)
    graph.tensors.insert({input.name, {static_cast<int>(input.shape.size()), false, {}, {}}});
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
