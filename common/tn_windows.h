// Bytes picked from a row by byte shuffles: the tables.
//
// A 128-bit block of a vector loads a window of 16 source bytes, and a shuffle, prepared once per call,
// moves the ones wanted to their places. Samples (bytes of an output row) whose sources lie too far
// apart for one window take several, one for each equal part of the block, and the results are joined.
#ifndef TN_KITS_COMMON_TN_WINDOWS_H_
#define TN_KITS_COMMON_TN_WINDOWS_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>

namespace TarnCPU {

constexpr std::size_t kWindowBytes = 16;

// What a block makes of its samples. kSamples: how many it holds; kReach: bytes from the first one that
// a sample needs to the last; place() sets the shuffle of sample i, which begins at byte `from` of the
// window.
//
// The byte itself.
struct PlainSamples {
  static constexpr std::size_t kSamples = 16;
  static constexpr std::int32_t kReach = 0;
  static void place(std::uint8_t* shuffle, std::size_t i, std::uint8_t from) { shuffle[i] = from; }
};
// Two samples to a 32-bit lane: their own bytes, then the ones kC bytes on.
template <int kC>
struct TapSamples {
  static constexpr std::size_t kSamples = 8;
  static constexpr std::int32_t kReach = kC;
  static void place(std::uint8_t* shuffle, std::size_t i, std::uint8_t from) {
    const std::size_t at = i / 2 * 4 + i % 2;
    shuffle[at] = from;
    shuffle[at + 2] = static_cast<std::uint8_t>(from + kC);
  }
};

// Where blocks of samples go: round the `kVectors` of a step, then on to the next of the `kBlocks` in
// each. Packing two vectors alternates between their blocks, so the samples come out of it in their
// order.
template <std::size_t kVectors, std::size_t kBlocks>
struct WindowLayout {
  // The place in a table of entry `entry`, of `entries` for each block, of block n.
  static std::size_t placeOf(std::size_t n, std::size_t entries, std::size_t entry) {
    const std::size_t vector = n / (kVectors * kBlocks) * kVectors + n % kVectors;
    return (vector * entries + entry) * kBlocks + n / kVectors % kBlocks;
  }
};

struct WindowTables {
  std::int32_t* offsets;   // [vector][window][block]: where a window starts in the row
  std::uint8_t* shuffles;  // [vector][window][block][16]
};

// Whether rows of this length can be read by windows.
inline bool windowsFit(std::ptrdiff_t row_bytes) {
  return row_bytes >= static_cast<std::ptrdiff_t>(kWindowBytes) &&
         row_bytes <= std::numeric_limits<std::int32_t>::max();
}

// Whether a window for each kWindows-th part of a block holds the sources of its samples. sources: the
// byte of the row at which each of `count` samples begins; whole blocks of them.
template <class Samples, std::size_t kWindows>
bool windowsHold(const std::int32_t* sources, std::size_t count) {
  constexpr std::size_t kEach = Samples::kSamples / kWindows;
  for (std::size_t i = 0; i < count; i += kEach) {
    std::int32_t low = sources[i], high = sources[i];
    for (std::size_t k = 1; k < kEach; ++k) {
      low = std::min(low, sources[i + k]);
      high = std::max(high, sources[i + k]);
    }
    if (high + Samples::kReach - low >= static_cast<std::int32_t>(kWindowBytes)) return false;
  }
  return true;
}

template <class Samples, class Layout, std::size_t kWindows>
void fillWindows(const std::int32_t* sources, std::size_t count, std::ptrdiff_t row_bytes,
                 const WindowTables& tables) {
  constexpr std::size_t kEach = Samples::kSamples / kWindows;
  const std::int32_t last_start = static_cast<std::int32_t>(row_bytes) - std::int32_t{kWindowBytes};
  for (std::size_t n = 0; n < count / Samples::kSamples; ++n) {
    for (std::size_t window = 0; window < kWindows; ++window) {
      const std::int32_t* const s = sources + n * Samples::kSamples + window * kEach;
      const std::size_t at = Layout::placeOf(n, kWindows, window);
      std::int32_t start = last_start;
      for (std::size_t i = 0; i < kEach; ++i) start = std::min(start, s[i]);
      tables.offsets[at] = start;
      std::uint8_t* const shuffle = tables.shuffles + kWindowBytes * at;
      // What other windows serve: shuffles read 0x80 as zero.
      if constexpr (kWindows > 1) std::memset(shuffle, 0x80, kWindowBytes);
      for (std::size_t i = 0; i < kEach; ++i)
        Samples::place(shuffle, window * kEach + i, static_cast<std::uint8_t>(s[i] - start));
    }
  }
}

}  // namespace TarnCPU

#endif  // TN_KITS_COMMON_TN_WINDOWS_H_
