// Quarter turns of packed images.
//
// A quarter turn transposes the image and counts the destination's rows, or the source's, from the other
// end. Both directions share one loop: source rows are taken in the order of the destination columns
// that they fill, and the address of the destination row goes down or up with the source column.
//
// The loop runs down strips of kStrip source columns in steps of kStep rows. A step writes 16
// neighbouring pixels into each of the strip's destination rows, so that consecutive steps complete a
// destination line while it is in the first-level cache. The hardware's prefetchers follow neither side,
// so each step prefetches the lines of the next one. With that, a turn of 1920x1080 costs hardly more
// than a copy.

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "common/tn_prefetch.h"
#include "tn_cv.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "tarnkit/src/cpu_x86/tn_rotate_cpu_x86.cpp"
#include "hwy/foreach_target.h"  // compiles this file again for every CPU target
// After foreach_target.h, so that each target includes them again.
#include "common/tn_blocks-inl.h"
#include "hwy/highway.h"

#ifndef TN_KITS_CPU_X86_TN_ROTATE_CPU_X86_ONCE
#define TN_KITS_CPU_X86_TN_ROTATE_CPU_X86_ONCE
namespace TarnCPU {
namespace {

// The addresses of one turn. Source rows are numbered by the destination column that they fill;
// distances are in bytes.
struct TurnJob {
  const std::uint8_t* src;  // column 0 of source row 0
  const std::uint8_t* src_end;
  std::ptrdiff_t next_row;   // from a source row to the next one of the same four,
  std::ptrdiff_t next_four;  // and to the one after four: not 4 * next_row with odd sizes, see turn()
  std::uint8_t* dst;         // destination column 0 in the row that source column 0 fills
  std::ptrdiff_t next_dst_row;
  std::ptrdiff_t rows, columns;  // source pixels to move: multiples of 4
};

constexpr std::ptrdiff_t kStrip = 64, kStep = 16;

}  // namespace
}  // namespace TarnCPU
#endif  // TN_KITS_CPU_X86_TN_ROTATE_CPU_X86_ONCE

HWY_BEFORE_NAMESPACE();
namespace TarnCPU::HWY_NAMESPACE {
namespace {
namespace hn = hwy::HWY_NAMESPACE;

struct Range {
  std::ptrdiff_t begin, end;
};

template <int kC>
void TurnOneByOne(const TurnJob& t, Range rows, Range columns) {
  for (std::ptrdiff_t x = columns.begin; x < columns.end; ++x)
    for (std::ptrdiff_t row = rows.begin; row < rows.end; ++row)
      std::memcpy(t.dst + x * t.next_dst_row + row * kC,
                  t.src + row / 4 * t.next_four + row % 4 * t.next_row + x * kC, kC);
}

#if !TN_BLOCKS

template <int kC>
HWY_INLINE void TurnStep(const TurnJob& t, std::ptrdiff_t row, Range columns) {
  TurnOneByOne<kC>(t, {row, HWY_MIN(row + kStep, t.rows)}, columns);
}

#else

// Four 3-byte pixels at the start of each block into four 32-bit lanes.
template <class D>
HWY_INLINE hn::Vec<D> SpreadPixels(D d, hn::Vec<D> v) {
  HWY_ALIGN static constexpr std::uint8_t kSpread[16] = {0, 1, 2, 0x80, 3, 4,  5,  0x80,
                                                         6, 7, 8, 0x80, 9, 10, 11, 0x80};
  return hn::TableLookupBytes(v, hn::LoadDup128(d, kSpread));
}

// The reverse, and the pixels of all blocks stored one after another.
template <class D>
HWY_INLINE void StorePacked(D d, hn::Vec<D> v, std::uint8_t* to) {
  HWY_ALIGN static constexpr std::uint8_t kPack[16] = {0,  1,  2,  4,  5,    6,    8,    9,
                                                       10, 12, 13, 14, 0x80, 0x80, 0x80, 0x80};
  const hn::Half<D> half;
  const hn::Repartition<std::uint32_t, D> d32;
  v = hn::TableLookupBytes(v, hn::LoadDup128(d, kPack));
  if constexpr (hn::MaxLanes(D()) == 64) {
    HWY_ALIGN static constexpr std::uint32_t kJoin[16] = {0,  1,  2,  4,  5, 6, 8, 9,
                                                          10, 12, 13, 14, 0, 0, 0, 0};
    const auto joined = hn::TableLookupLanes(hn::BitCast(d32, v), hn::SetTableIndices(d32, kJoin));
    hn::BlendedStore(hn::BitCast(d, joined), hn::FirstN(d, 48), d, to);
  } else if constexpr (hn::MaxLanes(D()) == 32) {
    HWY_ALIGN static constexpr std::uint32_t kJoin[8] = {0, 1, 2, 4, 5, 6, 0, 0};
    const auto joined =
        hn::BitCast(d, hn::TableLookupLanes(hn::BitCast(d32, v), hn::SetTableIndices(d32, kJoin)));
    const hn::Half<decltype(half)> quarter;
    hn::StoreU(hn::LowerHalf(half, joined), half, to);
    hn::StoreU(hn::LowerHalf(quarter, hn::UpperHalf(half, joined)), quarter, to + 16);
  } else {
    const std::uint32_t last = hn::ExtractLane(hn::BitCast(d32, v), 2);
    hn::StoreU(hn::LowerHalf(half, v), half, to);
    std::memcpy(to + 8, &last, sizeof last);
  }
}

// Four source columns of as many rows as the vector has 32-bit lanes. With 3 bytes per pixel, reads 4
// bytes past the last pixel of each row.
template <int kC, class D>
HWY_INLINE void TurnUnit(D d, const TurnJob& t, const std::uint8_t* from, std::uint8_t* to) {
  const hn::Repartition<std::uint32_t, D> d32;
  const hn::Repartition<std::uint64_t, D> d64;
  const auto load = [&](std::ptrdiff_t row) HWY_ATTR {
    const std::uint8_t* const first = from + row * t.next_row;
    const auto v = GatherBlocks(
        d, [&](std::size_t i) HWY_ATTR { return first + static_cast<std::ptrdiff_t>(i) * t.next_four; });
    if constexpr (kC == 3)
      return hn::BitCast(d32, SpreadPixels(d, v));
    else
      return hn::BitCast(d32, v);
  };
  const auto store = [&](hn::Vec<decltype(d64)> v, std::ptrdiff_t column) HWY_ATTR {
    if constexpr (kC == 3)
      StorePacked(d, hn::BitCast(d, v), to + column * t.next_dst_row);
    else
      hn::StoreU(hn::BitCast(d, v), d, to + column * t.next_dst_row);
  };
  const auto r0 = load(0), r1 = load(1), r2 = load(2), r3 = load(3);
  const auto low01 = hn::BitCast(d64, hn::InterleaveLower(d32, r0, r1));
  const auto low23 = hn::BitCast(d64, hn::InterleaveLower(d32, r2, r3));
  store(hn::InterleaveLower(d64, low01, low23), 0);
  store(hn::InterleaveUpper(d64, low01, low23), 1);
  const auto high01 = hn::BitCast(d64, hn::InterleaveUpper(d32, r0, r1));
  const auto high23 = hn::BitCast(d64, hn::InterleaveUpper(d32, r2, r3));
  store(hn::InterleaveLower(d64, high01, high23), 2);
  store(hn::InterleaveUpper(d64, high01, high23), 3);
}

// `count` rows, a multiple of the vector's 32-bit lanes. Prefetches the destination `ahead` bytes
// further on.
template <int kC, class D>
HWY_INLINE void TurnRows(D d, const TurnJob& t, std::ptrdiff_t row, std::ptrdiff_t count, Range columns,
                         std::ptrdiff_t ahead) {
  constexpr std::ptrdiff_t kLanes = hn::MaxLanes(D()) / 4;
  const std::uint8_t* from = t.src + row / 4 * t.next_four + columns.begin * kC;
  std::uint8_t* to = t.dst + row * kC + columns.begin * t.next_dst_row;
  std::ptrdiff_t x = columns.begin, end = columns.end;
  if constexpr (kC == 3) {
    // Only at the last columns of the last rows could a unit read past the image's end.
    const std::ptrdiff_t farthest = t.next_row < 0 ? 0 : (count / 4 - 1) * t.next_four + 3 * t.next_row;
    if (t.src_end - (from + farthest) < (end - 4 - x) * kC + 16) end -= 4;
  }
  for (; x < end; x += 4, from += 4 * kC, to += 4 * t.next_dst_row) {
    PrefetchRows(to + ahead, 1, 4, t.next_dst_row);
    for (std::ptrdiff_t i = 0; i < count; i += kLanes)
      TurnUnit<kC>(d, t, from + i / 4 * t.next_four, to + i * kC);
  }
  TurnOneByOne<kC>(t, {row, row + count}, {x, columns.end});
}

template <int kC>
HWY_INLINE void TurnStep(const TurnJob& t, std::ptrdiff_t row, Range columns) {
  const bool has_next = row + 2 * kStep <= t.rows;
  if (has_next) {
    const std::uint8_t* from = t.src + (row + kStep) / 4 * t.next_four;
    for (std::ptrdiff_t four = 0; four < kStep / 4; ++four, from += t.next_four)
      PrefetchRows(from + columns.begin * kC, (columns.end - columns.begin) * kC, 4, t.next_row);
  }
  if (row + kStep <= t.rows)
    TurnRows<kC>(hn::ScalableTag<std::uint8_t>(), t, row, kStep, columns, has_next ? kStep * kC : 0);
  else
    TurnRows<kC>(hn::FixedTag<std::uint8_t, 16>(), t, row, t.rows - row, columns, 0);
}

#endif  // TN_BLOCKS

template <int kC>
HWY_INLINE void Turn(const TurnJob& t) {
  for (std::ptrdiff_t x = 0; x < t.columns; x += kStrip) {
    const Range columns = {x, HWY_MIN(x + kStrip, t.columns)};
    for (std::ptrdiff_t row = 0; row < t.rows; row += kStep) TurnStep<kC>(t, row, columns);
  }
}

void Turn3(const TurnJob& t) { Turn<3>(t); }
void Turn4(const TurnJob& t) { Turn<4>(t); }

}  // namespace
}  // namespace TarnCPU::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace TarnCPU {

HWY_EXPORT(Turn3);
HWY_EXPORT(Turn4);

namespace {

enum class Direction { kClockwise, kAnticlockwise };

template <int kC>
void turn(const unsigned char* src, int width, int height, unsigned char* dst, Direction direction) {
  if (width < 1 || height < 1) return;
  const std::ptrdiff_t w = width, h = height;
  const std::ptrdiff_t w4 = w / 4 * 4, h4 = h / 4 * 4;

  // Blocks of 4x4 pixels leave out the last rows and columns of other sizes: those become zero.
  if (h4 < h)
    for (std::ptrdiff_t row = 0; row < w4; ++row)
      std::memset(dst + (row * h + h4) * kC, 0, static_cast<std::size_t>((h - h4) * kC));
  std::memset(dst + w4 * h * kC, 0, static_cast<std::size_t>((w - w4) * h * kC));
  if (w4 == 0 || h4 == 0) return;

  TurnJob t;
  t.rows = h4;
  t.columns = w4;
  t.src_end = src + w * h * kC;
  const std::ptrdiff_t row = w * kC;
  // The contract's oddity: if w is no multiple of 4, every four rows begin that many pixels too early.
  const std::ptrdiff_t four_rows = 4 * row - (w - w4) * kC;
  if (direction == Direction::kClockwise) {
    t.src = src + (h4 / 4 - 1) * four_rows + 3 * row;
    t.next_row = -row;
    t.next_four = -four_rows;
    t.dst = dst;
    t.next_dst_row = h * kC;
  } else {
    t.src = src;
    t.next_row = row;
    t.next_four = four_rows;
    t.dst = dst + (w4 - 1) * h * kC;
    t.next_dst_row = -h * kC;
  }
  if constexpr (kC == 3)
    HWY_DYNAMIC_DISPATCH(Turn3)(t);
  else
    HWY_DYNAMIC_DISPATCH(Turn4)(t);
}

}  // namespace

void TN_CV::rotate90_intrinsics_3_channel(const unsigned char* src, int w, int h, unsigned char* dst) {
  turn<3>(src, w, h, dst, Direction::kClockwise);
}

void TN_CV::rotate90_intrinsics_4_channel(const unsigned char* src, int w, int h, unsigned char* dst) {
  turn<4>(src, w, h, dst, Direction::kClockwise);
}

void TN_CV::anti_rotate90_intrinsics_3_channel(const unsigned char* src, int w, int h,
                                               unsigned char* dst) {
  turn<3>(src, w, h, dst, Direction::kAnticlockwise);
}

void TN_CV::anti_rotate90_intrinsics_4_channel(const unsigned char* src, int w, int h,
                                               unsigned char* dst) {
  turn<4>(src, w, h, dst, Direction::kAnticlockwise);
}

}  // namespace TarnCPU
#endif  // HWY_ONCE
