// Bytes picked from a row by byte shuffles: the tables.
//
// Each 16-byte block of a vector loads 16 neighbouring source bytes, a window, and a shuffle moves the
// ones that are wanted to their places. Where the sources of a block lie too far apart for one window,
// each half, quarter or eighth of the block has a window of its own, and the results are joined. Windows
// and shuffles are worked out once an image: all its rows use the same.
#ifndef TN_KITS_COMMON_TN_WINDOWS_H_
#define TN_KITS_COMMON_TN_WINDOWS_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>

namespace TarnCPU {

constexpr std::size_t kWindowBytes = 16;

// What a block makes of its samples. kSamples: how many it holds; reach(): bytes from the first one that
// a sample needs to the last; place() sets the shuffle of sample i, which begins at byte `from` of the
// window.
//
// The byte itself.
struct PlainSamples {
  static constexpr std::size_t kSamples = 16;
  static constexpr std::int32_t reach() { return 0; }
  static void place(std::uint8_t* shuffle, std::size_t i, std::uint8_t from) { shuffle[i] = from; }
};
// Two samples to a 32-bit lane: their own bytes, then the ones kC bytes on.
template <int kC>
struct TapSamples {
  static constexpr std::size_t kSamples = 8;
  static constexpr std::int32_t reach() { return kC; }
  static void place(std::uint8_t* shuffle, std::size_t i, std::uint8_t from) {
    const std::size_t at = i / 2 * 4 + i % 2;
    shuffle[at] = from;
    shuffle[at + 2] = static_cast<std::uint8_t>(from + kC);
  }
};
// A sample to a 32-bit lane: its first `bytes` bytes, then zeros.
struct WordSamples {
  static constexpr std::size_t kSamples = 4;
  std::int32_t bytes;
  std::int32_t reach() const { return bytes - 1; }
  void place(std::uint8_t* shuffle, std::size_t i, std::uint8_t from) const {
    for (std::int32_t k = 0; k < bytes; ++k)
      shuffle[4 * i + static_cast<std::size_t>(k)] = static_cast<std::uint8_t>(from + k);
  }
};

// The order of table entries: placeOf(n, entries, entry) is the place of entry `entry`, of `entries` for
// each block, of block n.
//
// By vectors of kBlocks blocks: block n goes to vector n % kVectors of a step, and the blocks of each
// vector are filled in turn. Packing two vectors alternates between their blocks, so the samples come
// out of it in their order.
template <std::size_t kVectors, std::size_t kBlocks>
struct VectorLayout {
  static std::size_t placeOf(std::size_t n, std::size_t entries, std::size_t entry) {
    const std::size_t vector = n / (kVectors * kBlocks) * kVectors + n % kVectors;
    return (vector * entries + entry) * kBlocks + n / kVectors % kBlocks;
  }
};
// All first windows of `blocks` blocks, then all second ones: the same for vectors of every size.
struct BlockLayout {
  std::size_t blocks;
  std::size_t placeOf(std::size_t n, std::size_t /*entries*/, std::size_t entry) const {
    return entry * blocks + n;
  }
};

struct WindowTables {
  std::int32_t* offsets;   // where windows start in the row, in the layout's order
  std::uint8_t* shuffles;  // 16 bytes for each of them
};

// Whether rows of this length can be read by windows.
inline bool windowsFit(std::ptrdiff_t row_bytes) {
  return row_bytes >= static_cast<std::ptrdiff_t>(kWindowBytes) &&
         row_bytes <= std::numeric_limits<std::int32_t>::max();
}

// The sources of samples: byte k of the kC bytes of output pixel x comes from byte k of source pixel
// pixel_of(x). Repeats the last one up to `padded`, for vectors whose excess is not stored.
template <int kC, class PixelOf>
void fillSources(const PixelOf& pixel_of, std::size_t samples, std::size_t padded,
                 std::int32_t* sources) {
  for (std::size_t i = 0; i < samples; ++i)
    sources[i] = pixel_of(i / kC) * kC + static_cast<std::int32_t>(i % kC);
  std::fill(sources + samples, sources + padded, sources[samples - 1]);
}

// Whether a window for each kWindows-th part of a block holds the sources of its samples. sources: the
// byte of the row at which each of `count` samples begins; whole blocks of them.
template <std::size_t kWindows, class Samples>
bool windowsHold(const Samples& samples, const std::int32_t* sources, std::size_t count) {
  constexpr std::size_t kEach = Samples::kSamples / kWindows;
  for (std::size_t i = 0; i < count; i += kEach) {
    const auto [low, high] = std::minmax_element(sources + i, sources + i + kEach);
    if (*high + samples.reach() - *low >= static_cast<std::int32_t>(kWindowBytes)) return false;
  }
  return true;
}

// Fills the tables for such samples. No window reads behind the row's end.
template <std::size_t kWindows, class Samples, class Layout>
void fillWindows(const Samples& samples, const Layout& layout, const std::int32_t* sources,
                 std::size_t count, std::ptrdiff_t row_bytes, const WindowTables& tables) {
  constexpr std::size_t kEach = Samples::kSamples / kWindows;
  const std::int32_t last_start = static_cast<std::int32_t>(row_bytes) - std::int32_t{kWindowBytes};
  for (std::size_t n = 0; n < count / Samples::kSamples; ++n) {
    for (std::size_t window = 0; window < kWindows; ++window) {
      const std::int32_t* const s = sources + n * Samples::kSamples + window * kEach;
      const std::size_t at = layout.placeOf(n, kWindows, window);
      const std::int32_t start = std::min(*std::min_element(s, s + kEach), last_start);
      tables.offsets[at] = start;
      std::uint8_t* const shuffle = tables.shuffles + kWindowBytes * at;
      std::memset(shuffle, 0x80, kWindowBytes);  // zeros, until a sample is placed
      for (std::size_t i = 0; i < kEach; ++i)
        samples.place(shuffle, window * kEach + i, static_cast<std::uint8_t>(s[i] - start));
    }
  }
}

// Fills the tables with the fewest windows a block (1, 2, 4 ... up to kMost) that hold the samples, and
// returns use(their number, as a type): a function that reads by them. Null if kMost are too few.
template <std::size_t kMost, std::size_t kWindows = 1, class Samples, class Layout, class Use>
auto fillFewestWindows(const Samples& samples, const Layout& layout, const std::int32_t* sources,
                       std::size_t count, std::ptrdiff_t row_bytes, const WindowTables& tables,
                       const Use& use) {
  if (windowsHold<kWindows>(samples, sources, count)) {
    fillWindows<kWindows>(samples, layout, sources, count, row_bytes, tables);
    return use(std::integral_constant<std::size_t, kWindows>());
  }
  if constexpr (kWindows < kMost)
    return fillFewestWindows<kMost, 2 * kWindows>(samples, layout, sources, count, row_bytes, tables,
                                                  use);
  else
    return decltype(use(std::integral_constant<std::size_t, 1>())){};
}

}  // namespace TarnCPU

#endif  // TN_KITS_COMMON_TN_WINDOWS_H_
