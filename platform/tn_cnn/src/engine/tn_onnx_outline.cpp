// Reads the parts of an ONNX file (protocol buffers) that the outline needs, without copying them.
#include "platform/tn_cnn/src/engine/tn_onnx_outline.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <limits>
#include <set>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace TarnCPU {
namespace {

constexpr int kMostNesting = 32;
constexpr std::uint64_t kMostInt = std::numeric_limits<std::int32_t>::max();

// One field of a message. A number takes 1 to 10 bytes (a varint), a fixed one 4 or 8.
struct Field {
  enum Kind { kNumber = 0, kFixed8 = 1, kBytes = 2, kFixed4 = 5 };
  std::uint64_t id = 0;
  Kind kind = kNumber;
  std::uint64_t number = 0;
  std::string_view bytes;
};

// Iterates over the fields of a message.
class Fields {
 public:
  explicit Fields(std::string_view message) : rest_(message) {}

  bool next(Field& field) {
    if (rest_.empty()) return false;
    const std::uint64_t key = varint();
    // Other parsers cut a longer key to 32 bits, and would see another field.
    if (key >> 32 != 0) fail();
    field = {key >> 3, static_cast<Field::Kind>(key & 7), 0, {}};
    if (field.id == 0) fail();
    switch (field.kind) {
      case Field::kNumber:
        field.number = varint();
        break;
      case Field::kFixed8:
        take(8);
        break;
      case Field::kBytes:
        field.bytes = take(varint());
        break;
      case Field::kFixed4:
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

// Calls use(id, bytes) for each field of bytes, in order.
template <class Use>
void forEachPart(std::string_view message, const Use& use) {
  Field field;
  for (Fields fields(message); fields.next(field);)
    if (field.kind == Field::kBytes) use(field.id, field.bytes);
}

// By ONNX's code of an element type: its size, and the field that may hold its elements in place of raw
// bytes. Sizes of 0 are types that engines refuse.
constexpr struct ElementType {
  std::uint64_t bytes, field;
} kElementTypes[] = {{0, 0}, {4, 4}, {1, 5},  {1, 5},  {2, 5},  {2, 5}, {4, 5}, {8, 7}, {0, 0},
                     {1, 5}, {2, 5}, {8, 10}, {4, 11}, {8, 11}, {0, 0}, {0, 0}, {2, 5}};
constexpr std::uint64_t kFloats = 4, kDoubles = 10;

// Elements in such a field: one, or several packed into bytes.
std::uint64_t countElements(const Field& field) {
  const bool is_fixed = field.id == kFloats || field.id == kDoubles;
  const std::uint64_t size = field.id == kFloats ? 4 : 8;
  if (field.kind == Field::kBytes && is_fixed) return field.bytes.size() / size;
  if (field.kind == Field::kBytes)  // each varint ends in a byte without the highest bit
    return static_cast<std::uint64_t>(
        std::count_if(field.bytes.begin(), field.bytes.end(),
                      [](char byte) { return (static_cast<unsigned char>(byte) & 0x80) == 0; }));
  const Field::Kind single = !is_fixed ? Field::kNumber : size == 4 ? Field::kFixed4 : Field::kFixed8;
  return field.kind == single ? 1 : 0;
}

// Compares a tensor's data with its shape, and returns its name.
std::string checkTensor(std::string_view message) {
  constexpr std::uint64_t kDimensions = 1, kType = 2, kName = 8, kRaw = 9;
  std::string name;
  std::uint64_t type = 0, expected = 1, stored[12] = {};
  std::string_view raw;
  bool in_range = true;
  const auto multiply = [&](std::uint64_t size) {
    in_range = in_range && size <= kMostInt && (expected *= size) <= kMostInt;
  };
  Field field;
  for (Fields fields(message); fields.next(field);) {
    if (field.id < std::size(stored) && field.id != kRaw) stored[field.id] += countElements(field);
    if (field.kind == Field::kNumber) {
      if (field.id == kDimensions) multiply(field.number);
      // As other parsers read it: cut to 32 bits.
      if (field.id == kType) type = static_cast<std::uint32_t>(field.number);
    } else if (field.kind == Field::kBytes) {
      if (field.id == kName) name = field.bytes;
      if (field.id == kRaw) raw = field.bytes;
      if (field.id == kDimensions)
        for (Fields sizes(field.bytes); !sizes.atEnd();) multiply(sizes.varint());
    }
  }
  if (type >= std::size(kElementTypes) || kElementTypes[type].bytes == 0) return name;
  if (!in_range) throw std::runtime_error("the shape of tensor '" + name + "' is out of range");
  const auto [size, typed] = kElementTypes[type];
  const bool fits =
      stored[typed] != 0 ? stored[typed] == expected && raw.empty() : raw.size() == expected * size;
  if (!fits)
    throw std::runtime_error("tensor '" + name + "' does not hold the " + std::to_string(expected) +
                             " elements of its shape");
  return name;
}

std::vector<int> parseShape(std::string_view message) {
  std::vector<int> shape;
  forEachPart(message, [&](std::uint64_t id, std::string_view dimension) {
    if (id != 1) return;
    shape.push_back(-1);
    Field field;
    for (Fields fields(dimension); fields.next(field);)
      if (field.id == 1 && field.number >= 1 && field.number <= kMostInt)
        shape.back() = static_cast<int>(field.number);
  });
  return shape;
}

OnnxInput parseInput(std::string_view message) {
  OnnxInput input;
  forEachPart(message, [&](std::uint64_t id, std::string_view bytes) {
    if (id == 1) input.name = bytes;
    if (id != 2) return;
    forEachPart(bytes, [&](std::uint64_t type_id, std::string_view tensor) {
      if (type_id != 1) return;
      forEachPart(tensor, [&](std::uint64_t tensor_id, std::string_view shape) {
        if (tensor_id == 2) input.shape = parseShape(shape);
      });
    });
  });
  return input;
}

std::vector<OnnxInput> readGraph(std::string_view message, int nesting);

// Nodes have their constants and inner graphs in attributes.
void checkAttribute(std::string_view message, int nesting) {
  constexpr std::uint64_t kTensor = 5, kGraph = 6, kTensors = 10, kGraphs = 11;
  bool has_tensor = false;
  forEachPart(message, [&](std::uint64_t id, std::string_view bytes) {
    if (id == kTensor && std::exchange(has_tensor, true))
      throw std::runtime_error("has two tensors in one attribute");  // parsers would merge them
    if (id == kTensor || id == kTensors) checkTensor(bytes);
    if (id == kGraph || id == kGraphs) readGraph(bytes, nesting + 1);
  });
}

// Checks all tensors of a graph and of those inside it, and returns its inputs.
std::vector<OnnxInput> readGraph(std::string_view message, int nesting) {
  constexpr std::uint64_t kNode = 1, kAttribute = 5, kInitialiser = 5, kInput = 11;
  if (nesting > kMostNesting) throw std::runtime_error("has graphs nested too deeply");
  std::vector<OnnxInput> inputs;
  std::set<std::string> initialisers;
  forEachPart(message, [&](std::uint64_t id, std::string_view bytes) {
    if (id == kInitialiser) initialisers.insert(checkTensor(bytes));
    if (id == kInput) inputs.push_back(parseInput(bytes));
    if (id != kNode) return;
    forEachPart(bytes, [&](std::uint64_t node_id, std::string_view attribute) {
      if (node_id == kAttribute) checkAttribute(attribute, nesting);
    });
  });
  const auto is_initialiser = [&](const OnnxInput& input) {
    return initialisers.count(input.name) != 0;
  };
  inputs.erase(std::remove_if(inputs.begin(), inputs.end(), is_initialiser), inputs.end());
  return inputs;
}

}  // namespace

std::vector<OnnxInput> outlineOnnx(const std::vector<unsigned char>& file) {
  constexpr std::uint64_t kGraph = 7, kOperatorSet = 8;
  std::vector<OnnxInput> inputs;
  bool has_graph = false, has_version = false;
  forEachPart({reinterpret_cast<const char*>(file.data()), file.size()},
              [&](std::uint64_t id, std::string_view bytes) {
                has_version |= id == kOperatorSet;
                if (id != kGraph) return;
                if (std::exchange(has_graph, true)) throw std::runtime_error("has more than one graph");
                inputs = readGraph(bytes, 0);
              });
  if (!has_graph) throw std::runtime_error("is no ONNX model: it has no graph");
  // Writers put the version of the operators last, so a file cut between two fields lacks it.
  if (!has_version) throw std::runtime_error("does not say which operators it uses, or is cut off");
  return inputs;
}

}  // namespace TarnCPU
