#include "tests/routines/routine.h"

#include <cmath>

#include "tests/support/digest.h"

namespace tn_routines {
namespace {

TarnCPU::Allocator* tensor_allocator = nullptr;

std::uint32_t next(std::uint32_t& state) {
  state ^= state << 13;
  state ^= state >> 17;
  state ^= state << 5;
  return state;
}

float floatAt(const std::uint8_t* bytes) {
  float value;
  std::memcpy(&value, bytes, sizeof value);
  return value;
}

void randomFloats(Bytes& bytes, std::uint32_t& state, bool any_bits) {
  for (std::size_t i = 0; i + sizeof(float) <= bytes.size(); i += sizeof(float)) {
    const std::uint32_t bits = next(state);
    float value = static_cast<float>(bits >> 8) / 1000.0f - 4000.0f;
    if (any_bits && bits % 7 == 0) std::memcpy(&value, &bits, sizeof value);
    std::memcpy(&bytes[i], &value, sizeof value);
  }
}

// Which NaN a NaN is does not count.
void addTo(tn_test::Digest& digest, const Buffer& buffer, Bytes bytes) {
  for (std::size_t i = 0; buffer.kind == Kind::kFloats && i < bytes.size(); i += sizeof(float))
    if (std::isnan(floatAt(&bytes[i])))
      std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(i), 4, 0xFF);
  digest.add(bytes);
}

}  // namespace

const Table& allRoutines() {
  static const Table table = [] {
    Table all;
    for (const auto add : {addColour, addGeometry, addResizers, addWarps, addFrames, addNetworkInput,
                           addTensors, addPreprocessing})
      add(all);
    // The same for every instruction set and system.
    for (Routine& routine : all) {
      if (!routine.draw) continue;
      SeededDice dice(static_cast<std::uint32_t>(routine.name.size()));
      for (int i = 0; i < 20; ++i) routine.cases.push_back(routine.draw(dice));
    }
    return all;
  }();
  return table;
}

int SeededDice::between(int low, int high) {
  const std::uint32_t range = static_cast<std::uint32_t>(high) - static_cast<std::uint32_t>(low) + 1;
  const std::uint32_t drawn = next(state_);
  return static_cast<int>(static_cast<std::uint32_t>(low) + (range == 0 ? drawn : drawn % range));
}

std::vector<Bytes> contentsOf(const std::vector<Buffer>& buffers, std::uint8_t fill,
                              std::uint32_t seed) {
  std::vector<Bytes> contents;
  std::uint32_t state = seed * 2654435761u + 12345u;
  for (const Buffer& buffer : buffers) {
    Bytes bytes(buffer.extent.bytes, fill);
    if (!buffer.content.empty()) {
      bytes = buffer.content;
    } else if (buffer.use == Use::kRead) {
      if (buffer.kind == Kind::kFloats)
        randomFloats(bytes, state, seed % 2 == 1);
      else
        for (std::uint8_t& byte : bytes) byte = static_cast<std::uint8_t>(next(state) >> 24);
    }
    contents.push_back(std::move(bytes));
  }
  return contents;
}

std::string differenceOf(const Buffer& buffer, const std::uint8_t* actual,
                         const std::uint8_t* expected) {
  const std::size_t bytes = buffer.extent.bytes;
  if (bytes == 0 || std::memcmp(actual, expected, bytes) == 0) return {};
  const std::string where =
      std::string(" of ") + buffer.name + ", " + std::to_string(bytes) + " bytes: ";
  for (std::size_t i = 0; i < bytes; ++i) {
    if (actual[i] == expected[i]) continue;
    if (buffer.kind == Kind::kBytes)
      return "byte " + std::to_string(i) + where + std::to_string(actual[i]) + ", not " +
             std::to_string(expected[i]);
    const std::size_t at = i / 4 * 4;
    const float a = floatAt(actual + at), e = floatAt(expected + at);
    if (std::isnan(a) && std::isnan(e)) continue;
    return "float " + std::to_string(i / 4) + where + std::to_string(a) + ", not " + std::to_string(e);
  }
  return {};
}

std::vector<std::vector<Bytes>> sourcesOf(const Routine& routine) {
  std::vector<std::vector<Bytes>> sources;
  std::uint32_t seed = 0;
  for (const Numbers& numbers : routine.cases)
    sources.push_back(contentsOf(routine.buffers(numbers), 0xA5, ++seed));
  return sources;
}

std::uint64_t digestOf(const Routine& routine, const std::vector<std::vector<Bytes>>& sources) {
  tn_test::Digest digest;
  for (std::size_t i = 0; i < routine.cases.size(); ++i) {
    const std::vector<Buffer> buffers = routine.buffers(routine.cases[i]);
    // Sources are shared, which the routines only read; what is written is each call's own.
    std::vector<Bytes> own(buffers.size());
    Memory starts;
    for (std::size_t k = 0; k < buffers.size(); ++k) {
      const bool shared = buffers[k].use == Use::kRead;
      if (!shared) own[k] = sources[i][k];
      starts.push_back(startOf(buffers[k], shared ? sources[i][k].data() : own[k].data()));
    }
    routine.call(routine.cases[i], starts);
    for (std::size_t k = 0; k < buffers.size(); ++k)
      if (buffers[k].use == Use::kWritten) addTo(digest, buffers[k], own[k]);
  }
  return digest.value();
}

void setTensorAllocator(TarnCPU::Allocator* allocator) { tensor_allocator = allocator; }
TarnCPU::Allocator* tensorAllocator() { return tensor_allocator; }

const std::vector<Size>& sizes() {
  static const std::vector<Size> all = [] {
    std::vector<Size> list = {{1, 1},   {1, 2},    {2, 1},   {1, 9},   {9, 1},   {2, 33},
                              {64, 48}, {68, 32},  {96, 8},  {4, 100}, {100, 4}, {130, 67},
                              {200, 9}, {127, 33}, {254, 3}, {643, 2}};
    for (int w = 1; w <= 70; ++w) list.push_back({w, 2 + w % 7});
    for (int w = 1; w <= 20; ++w)
      for (int h = 1; h <= 20; ++h) list.push_back({w, h});
    return list;
  }();
  return all;
}

}  // namespace tn_routines
