// The bilinear fixed-point rule of the byte resizers: where an output pixel lies, its weights, and the
// plain arithmetic for any number of channels. Vector code replaces the two row functions and shares the
// rest.
#ifndef TN_KITS_COMMON_TN_RESIZE_RULE_H_
#define TN_KITS_COMMON_TN_RESIZE_RULE_H_

#include <cstddef>
#include <cstdint>

#include "common/tn_scratch.h"

namespace TarnCPU {

// Two neighbouring source pixels (or rows) and what each counts for.
struct ResizeTap {
  std::int32_t first;      // the other one is first + ResizeAxis::next
  std::int16_t weight[2];  // of 2048; together 2048, or 2049 where both were halves and rounded up
};

// One direction: the taps of every output position.
struct ResizeAxis {
  ResizeTap* taps;
  int count;
  int next;
};

inline std::int16_t resizeWeight(float share) {
  const float scaled = share * 2048.0f;  // 0 to 2048, so 16 bits hold it and rounding up is right
  return static_cast<std::int16_t>(scaled + 0.5f);
}

// Fills taps[0] to taps[count - 1] for an axis of `source` positions: at least 1.
inline ResizeAxis makeResizeAxis(int source, int count, ResizeTap* taps) {
  if (source == 1) {
    // There is no second pixel to read, whatever its weight.
    for (int i = 0; i < count; ++i) taps[i] = {0, {2048, 0}};
    return {taps, count, 0};
  }
  const double scale = static_cast<double>(source) / count;
  for (int i = 0; i < count; ++i) {
    // Rounded to float before the floor: a position a hair below a pixel lands on it.
    float at = static_cast<float>((i + 0.5) * scale - 0.5);
    std::int32_t first = static_cast<std::int32_t>(at);
    at -= static_cast<float>(first);
    if (at < 0.0f) first = 0, at = 0.0f;  // truncation equals the floor everywhere else
    if (first >= source - 1) first = source - 2, at = 1.0f;
    taps[i] = {first, {resizeWeight(1.0f - at), resizeWeight(at)}};
  }
  return {taps, count, 1};
}

// One source row at the output's columns. The values are at most 255 * 2049 / 16, so 16 bits hold them.
template <int kC>
void buildResizeRow(const std::uint8_t* row, const ResizeAxis& columns, std::int16_t* out) {
  const std::ptrdiff_t next = columns.next * kC;
  for (int x = 0; x < columns.count; ++x) {
    const ResizeTap& tap = columns.taps[x];
    const std::uint8_t* const s = row + static_cast<std::ptrdiff_t>(tap.first) * kC;
    for (int k = 0; k < kC; ++k)
      *out++ = static_cast<std::int16_t>((s[k] * tap.weight[0] + s[k + next] * tap.weight[1]) >> 4);
  }
}

// Two such rows to one output row of `n` bytes. The sum is at most 1022: the byte never wraps.
inline void blendResizeRows(const std::int16_t* row0, const std::int16_t* row1, const ResizeTap& tap,
                            std::uint8_t* out, std::size_t n) {
  for (std::size_t i = 0; i < n; ++i) {
    const int sum = ((row0[i] * tap.weight[0]) >> 16) + ((row1[i] * tap.weight[1]) >> 16);
    out[i] = static_cast<std::uint8_t>((sum + 2) >> 2);
  }
}

// For every output row: build(source row, slot) resizes a source row across into row buffer 0 or 1,
// unless one of them holds it already; then blend(output row, tap, slot of the tap's first row, slot of
// its second). A second row of weight 0 is not built: blend gets the slot of the first row twice. A
// first row is built whatever its weight.
template <class Build, class Blend>
void forEachResizeRow(const ResizeAxis& rows, Build build, Blend blend) {
  std::int32_t held[2] = {-1, -1};
  const auto fetch = [&](std::int32_t row, int slot) {
    if (held[0] == row) return 0;
    if (held[1] == row) return 1;
    build(row, slot);
    held[slot] = row;
    return slot;
  };
  for (int y = 0; y < rows.count; ++y) {
    const ResizeTap& tap = rows.taps[y];
    // Rows are taken in rising order: where the first one is not held, the second is not either.
    const int slot0 = fetch(tap.first, 0);
    const int slot1 = tap.weight[1] == 0 ? slot0 : fetch(tap.first + rows.next, 1 - slot0);
    blend(y, tap, slot0, slot1);
  }
}

// Packed pixels; both images have at least 1.
struct ResizeJob {
  const std::uint8_t* src;
  int sw, sh;
  std::uint8_t* dst;
  int dw, dh;
};

// The resizer without vectors. Throws std::bad_alloc.
template <int kC>
void resizeBilinearPlain(const ResizeJob& job) {
  const std::size_t width = static_cast<std::size_t>(job.dw), height = static_cast<std::size_t>(job.dh);
  Scratch scratch;
  const auto [column_taps, row_taps, row0, row1] =
      scratch.allocate(ScratchArray<ResizeTap>{width}, ScratchArray<ResizeTap>{height},
                       ScratchArray<std::int16_t>{width * kC}, ScratchArray<std::int16_t>{width * kC});
  const ResizeAxis columns = makeResizeAxis(job.sw, job.dw, column_taps);
  const ResizeAxis rows = makeResizeAxis(job.sh, job.dh, row_taps);
  std::int16_t* const held[2] = {row0, row1};
  forEachResizeRow(
      rows,
      [&](std::int32_t row, int slot) {
        buildResizeRow<kC>(job.src + std::ptrdiff_t{kC} * job.sw * row, columns, held[slot]);
      },
      [&](int y, const ResizeTap& tap, int slot0, int slot1) {
        blendResizeRows(held[slot0], held[slot1], tap, job.dst + std::ptrdiff_t{kC} * job.dw * y,
                        width * kC);
      });
}

}  // namespace TarnCPU

#endif  // TN_KITS_COMMON_TN_RESIZE_RULE_H_
