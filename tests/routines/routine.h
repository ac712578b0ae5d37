// The table of routines: what a row says, and the memory that its calls run on.
//
// A routine that takes buffers has one row. The row says how it is called, how many bytes it touches,
// what its plain form gives, and at which sizes it is tried. The drivers walk the table:
//
//   routines_test.cpp    equals the plain form on every instruction set, between unreadable pages; the
//                        checked form takes n bytes and refuses n - 1; every exported routine has a row
//   digests.cpp          the same outputs on every system
//   tests/threads        the same outputs on many threads at once
//   fuzz/routines_fuzz   equals the plain form at any sizes; the checked form refuses the rest
#ifndef TN_KITS_TESTS_ROUTINES_ROUTINE_H_
#define TN_KITS_TESTS_ROUTINES_ROUTINE_H_

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "tn_checked_rules.h"
#include "tn_extents.h"
#include "tn_mat.h"

namespace tn_routines {

using Bytes = std::vector<std::uint8_t>;
// What a call takes besides its buffers: sizes first.
using Numbers = std::vector<int>;

enum class Use {
  kRead,     // is left as it was
  kWritten,  // comes out as from the plain form, untouched bytes included
  kScratch,  // anything may be in it afterwards
};
enum class Kind { kBytes, kFloats };  // of floats any NaN equals any other

struct Buffer {
  const char* name;  // in the sentences of the checked form
  Use use;
  Tarn::Extent extent;
  std::size_t asked;  // bytes that the checked form asks for; 0 when it is not told how many there are
  Kind kind = Kind::kBytes;
  Bytes content = {};  // of what is read, in place of random bytes
};

// Where the buffers of a call start. Of an extent with an offset only the extent has memory.
using Memory = std::vector<std::uint8_t*>;
using View = Tarn::checked::Bytes;
using Views = std::vector<View>;

// A source of numbers: seeded, or a fuzzer's input.
class Dice {
 public:
  virtual ~Dice() = default;
  virtual int between(int low, int high) = 0;  // both included

  bool coin() { return between(0, 1) == 1; }
  template <class T>
  T oneOf(const std::vector<T>& choices) {
    return choices[static_cast<std::size_t>(between(0, static_cast<int>(choices.size()) - 1))];
  }
};

struct Routine {
  std::string name;  // as in the list of exported symbols; what follows a blank tells rows apart
  int sides;         // the first so many numbers must be 1 or more for the checked form
  std::vector<Numbers> cases = {};
  std::function<Numbers(Dice&)> draw = {};  // others, as the contract allows them
  std::function<std::vector<Buffer>(const Numbers&)> buffers = {};
  std::function<void(const Numbers&, const Memory&)> call = {};
  std::function<void(const Numbers&, const Memory&)> plain = {};
  std::function<void(const Numbers&, const Views&)> checked = {};  // empty: there is none

  // Bytes at the end of the source that are skipped, such as the last pixel's alpha.
  std::size_t skipped = 0;
  // The byte in front of those counts in every case, not only in some: no extent is a byte too long.
  bool last_byte_counts = false;
  std::vector<Numbers> large = {};  // beyond the caches: compared with the plain form only
};

using Table = std::vector<Routine>;

// Every routine. The parts stand in the files of these names.
const Table& allRoutines();
void addColour(Table& table);
void addGeometry(Table& table);
void addResizers(Table& table);
void addWarps(Table& table);
void addFrames(Table& table);
void addNetworkInput(Table& table);
void addTensors(Table& table);
void addPreprocessing(Table& table);

// Numbers that the C++ standard fixes to the bit, so that every system draws the same cases.
class SeededDice : public Dice {
 public:
  explicit SeededDice(std::uint32_t seed) : state_(seed * 2654435761u + 1u) {}
  int between(int low, int high) override;

 private:
  std::uint32_t state_;
};

// What the buffers of a case hold before the call: `fill` in what is written, else random bytes. Floats
// are finite, or for odd seeds now and then of any bits at all.
std::vector<Bytes> contentsOf(const std::vector<Buffer>& buffers, std::uint8_t fill,
                              std::uint32_t seed = 0);

// Where two results differ, in words; empty when they do not.
std::string differenceOf(const Buffer& buffer, const std::uint8_t* actual, const std::uint8_t* expected);

// The outputs of all cases as one number. `sources`: contentsOf each case, made beforehand.
std::uint64_t digestOf(const Routine& routine, const std::vector<std::vector<Bytes>>& sources);
std::vector<std::vector<Bytes>> sourcesOf(const Routine& routine);

// Where a buffer starts whose extent begins at `first`. Of one that nothing is touched of it is not
// null, but behind memory.
inline std::uint8_t* startOf(const Buffer& buffer, const std::uint8_t* first) {
  static const std::uint8_t nothing = 0;
  if (first == nullptr) first = &nothing + 1;
  return const_cast<std::uint8_t*>(first) - buffer.extent.offset;
}

// Memory of exactly the extents. Block: made from a size and a fill, with data() and size().
template <class Block>
class Blocks {
 public:
  Blocks(const std::vector<Buffer>& buffers, const std::vector<Bytes>& contents) : buffers_(buffers) {
    for (const Bytes& content : contents) {
      blocks_.emplace_back(content.size(), std::uint8_t{0});
      if (!content.empty()) std::memcpy(blocks_.back().data(), content.data(), content.size());
    }
  }
  Memory starts() {
    Memory starts;
    for (std::size_t k = 0; k < blocks_.size(); ++k)
      starts.push_back(startOf(buffers_[k], blocks_[k].data()));
    return starts;
  }
  // With as many bytes as the checked form asks for.
  Views views() {
    const Memory at = starts();
    Views views;
    for (std::size_t k = 0; k < blocks_.size(); ++k)
      views.push_back({at[k], std::max(buffers_[k].asked, buffers_[k].extent.end())});
    return views;
  }
  Block& operator[](std::size_t k) { return blocks_[k]; }

 private:
  const std::vector<Buffer>& buffers_;
  std::vector<Block> blocks_;
};

// Where the new tensors of rows get their memory from; null: the library's own.
void setTensorAllocator(TarnCPU::Allocator* allocator);
TarnCPU::Allocator* tensorAllocator();

// ---- What rows are made of.

struct Size {
  int w, h;
};
// One pixel, odd sizes, widths around a step of each vector length, and some larger.
const std::vector<Size>& sizes();

// The buffers of a routine from src to dst.
inline std::vector<Buffer> transfer(const Tarn::TransferExtents& extents, Kind kind = Kind::kBytes) {
  return {{"src", Use::kRead, extents.src, extents.src.end(), kind},
          {"dst", Use::kWritten, extents.dst, extents.dst.end(), kind}};
}

inline Tarn::checked::ConstBytes source(const View& view) { return {view.data, view.bytes}; }
inline float* floats(std::uint8_t* bytes) { return reinterpret_cast<float*>(bytes); }
inline Tarn::checked::Floats floats(const View& view) { return {floats(view.data), view.bytes}; }
inline Tarn::checked::ConstFloats floatSource(const View& view) {
  return {floats(view.data), view.bytes};
}
inline void put(std::uint8_t* at, const Bytes& bytes) { std::copy(bytes.begin(), bytes.end(), at); }
// The elements of a new tensor, where there is room for them.
inline void put(const View& to, const TarnCPU::Mat& tensor) {
  const std::size_t bytes = tensor.total() * sizeof(float);
  if (to.data != nullptr && bytes <= to.bytes && bytes != 0) std::memcpy(to.data, tensor.data, bytes);
}

}  // namespace tn_routines

#endif  // TN_KITS_TESTS_ROUTINES_ROUTINE_H_
