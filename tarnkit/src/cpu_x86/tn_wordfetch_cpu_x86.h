// How a row of outputs fetches its bytes: tables for loads of 32-bit words. The vector code is in
// tn_wordfetch_cpu_x86-inl.h.
#ifndef TN_KITS_CPU_X86_TN_WORDFETCH_CPU_X86_H_
#define TN_KITS_CPU_X86_TN_WORDFETCH_CPU_X86_H_

#include <cstddef>
#include <cstdint>

#include "common/tn_arrays.h"
#include "common/tn_windows.h"

namespace Tarn {

// Floats in the widest vector: arrays along x are padded to a multiple of it.
constexpr std::size_t kFetchLanes = 16;

constexpr std::size_t fetchPadded(std::size_t count) {
  return (count + kFetchLanes - 1) / kFetchLanes * kFetchLanes;
}

enum class WordFetchMode {
  kOneWindow,   // four outputs from one window of 16 bytes (common/tn_windows.h)
  kTwoWindows,  // two outputs from a window
  kSpans,       // as below, or kTwoWindows where vectors are shorter than 64 bytes
  kWords,       // each output by a load of its own: they are too far apart
};

// Each output fetches a 32-bit word whose lowest byte is the one at the output's position, followed by
// as many as the job needs.
struct WordFetch {
  WordFetchMode mode;
  std::size_t count;
  std::int32_t* word;             // for each output, the first byte of its word; padded
  TarnCPU::WindowTables windows;  // in BlockLayout
  std::size_t blocks;             // of four outputs, for that layout
  // Spans serve kFetchLanes outputs whose words lie within two vectors of 64 bytes from the first one's
  // on, none of them across 32 bits as counted from there, as with even whole scales.
  std::int32_t *lane, *shift;  // for each output, the 32 bits with its word, and its lowest bit
  std::size_t reach;           // bytes from the row's start that any of these loads may touch
};

// The longest load: bytes from a word's first one that a fetch may touch.
constexpr std::size_t kFetchReach = 2 * kFetchLanes * sizeof(std::int32_t);

// The tables for `count` outputs.
WordFetch takeWordFetch(TarnCPU::Arrays& arrays, std::size_t count);

// Fills them. word[0] to word[count - 1] are set and do not fall; each output needs `bytes` bytes.
void fillWordFetch(WordFetch& fetch, std::int32_t bytes);

}  // namespace Tarn

#endif  // TN_KITS_CPU_X86_TN_WORDFETCH_CPU_X86_H_
