// What the fuzz targets share: numbers and buffers drawn from a fuzzer's bytes, a choice of the
// instruction set, and the check that ends a run.
#ifndef TN_KITS_FUZZ_FUZZ_INPUT_H_
#define TN_KITS_FUZZ_FUZZ_INPUT_H_

#include <hwy/highway.h>
#include <hwy/targets.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

// Ends the process, so that the fuzzer keeps the input.
#define FUZZ_CHECK(condition)                                                             \
  do {                                                                                    \
    if (!(condition)) {                                                                   \
      std::fprintf(stderr, "%s:%d: does not hold: %s\n", __FILE__, __LINE__, #condition); \
      std::abort();                                                                       \
    }                                                                                     \
  } while (false)

namespace tn_fuzz {

class FuzzInput {
 public:
  FuzzInput(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}

  bool empty() const { return at_ == size_; }
  // 0 when the bytes have run out.
  std::uint8_t byte() { return empty() ? std::uint8_t{0} : data_[at_++]; }
  std::uint32_t word() {
    std::uint32_t value = 0;
    for (int i = 0; i < 4; ++i) value = value << 8 | byte();
    return value;
  }
  bool coin() { return (byte() & 1) != 0; }
  // Both ends included. One byte serves ranges of up to 256 numbers, four the others.
  int between(int low, int high) {
    const std::uint32_t range = static_cast<std::uint32_t>(high) - static_cast<std::uint32_t>(low) + 1;
    const std::uint32_t drawn = range != 0 && range <= 256 ? byte() : word();
    return static_cast<int>(static_cast<std::uint32_t>(low) + (range == 0 ? drawn : drawn % range));
  }
  // From -1 to 1.
  float fraction() { return static_cast<float>(between(-32768, 32767)) / 32768.0f; }
  // Any float at all, or one that a box or a matrix might have.
  float real() {
    if (byte() % 4 != 0) return 4.0f * fraction();
    const std::uint32_t bits = word();
    float value;
    std::memcpy(&value, &bits, sizeof(value));
    return value;
  }
  // A block of exactly `count` bytes on the heap: those that are left, then others that follow from
  // them.
  std::vector<std::uint8_t> bytes(std::size_t count) {
    std::vector<std::uint8_t> block(count);
    const std::size_t given = std::min(count, size_ - at_);
    if (given > 0) std::memcpy(block.data(), data_ + at_, given);
    std::uint32_t state = 2463534242u;
    for (std::size_t i = 0; i < given; ++i) state = (state ^ block[i]) * 16777619u;
    for (std::size_t i = given; i < count; ++i) {
      state = state * 1664525u + 1013904223u;
      block[i] = static_cast<std::uint8_t>(state >> 24);
    }
    return block;
  }
  // The bytes that are left, as text.
  std::vector<char> rest() const { return {data_ + at_, data_ + size_}; }

  // Holds the library to one of the machine's instruction sets.
  void chooseTarget() {
    hwy::SetSupportedTargetsForTest(0);
    std::int64_t rest = hwy::SupportedTargets() & HWY_TARGETS;
    int count = 0;
    for (std::int64_t left = rest; left != 0; left &= left - 1) ++count;
    for (int skip = between(0, count - 1); skip > 0; --skip) rest &= rest - 1;
    hwy::SetSupportedTargetsForTest(rest & -rest);
    hwy::GetChosenTarget().Update(hwy::SupportedTargets());
  }

 private:
  const std::uint8_t* data_;
  std::size_t size_, at_ = 0;
};

inline std::size_t count(int a, int b, int c = 1) {
  return static_cast<std::size_t>(a) * static_cast<std::size_t>(b) * static_cast<std::size_t>(c);
}

}  // namespace tn_fuzz

#endif  // TN_KITS_FUZZ_FUZZ_INPUT_H_
