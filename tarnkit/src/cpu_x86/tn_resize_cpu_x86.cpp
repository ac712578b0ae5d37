// Bilinear resizing of byte pairs.
//
// An output row is a blend of two source rows that were first resized across, into 16-bit values.
// Across, the vector code takes output pixels by fours: a 128-bit block loads a window of 8 source
// pairs, and one byte shuffle, prepared once per call, picks the two source pairs of each output pixel.
// Four output pixels whose sources lie too far apart for one window take two, or one each.
//
// The 16-bit values of a row are kept as vectors of first bytes and of second bytes in turn, so that the
// blend can join a pair by a shift and an Or instead of narrowing lanes across blocks.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>

#include "tarnkit/src/common/tn_resize_rule.h"
#include "tn_cv.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "tarnkit/src/cpu_x86/tn_resize_cpu_x86.cpp"
#include "hwy/foreach_target.h"  // compiles this file again for every CPU target
#include "hwy/highway.h"

#ifndef TN_RESIZE_CPU_X86_ONCE
#define TN_RESIZE_CPU_X86_ONCE
namespace TarnCPU {
namespace {

// Memory of one call: asked for once, cut into arrays that start on vector boundaries.
class Scratch {
 public:
  explicit Scratch(std::size_t bytes) : block_(new std::uint8_t[bytes]) {
    void* start = block_.get();
    std::size_t space = bytes;
    next_ = static_cast<std::uint8_t*>(std::align(kAlignment, bytes - kAlignment, start, space));
  }
  template <class T>
  static constexpr std::size_t bytesFor(std::size_t count) {
    return (count * sizeof(T) + kAlignment - 1) / kAlignment * kAlignment;
  }
  template <class T>
  T* take(std::size_t count) {
    T* const array = reinterpret_cast<T*>(next_);
    next_ += bytesFor<T>(count);
    return array;
  }
  static constexpr std::size_t kAlignment = 64;

 private:
  std::unique_ptr<std::uint8_t[]> block_;
  std::uint8_t* next_;
};

constexpr int kWindowPairs = 8;

struct PairImage {
  const std::uint8_t* src;
  int sw, sh;
  std::uint8_t* dst;
  int dw, dh;
};

// Of any size on any target.
void resizePlain(const PairImage& t);

}  // namespace
}  // namespace TarnCPU
#endif  // TN_RESIZE_CPU_X86_ONCE

HWY_BEFORE_NAMESPACE();
namespace TarnCPU::HWY_NAMESPACE {
namespace {
namespace hn = hwy::HWY_NAMESPACE;

// Without byte shuffles there is nothing to gain, and the portable emulation of vectors gives the lanes
// of reordering operations other places than x86 does.
#if HWY_TARGET == HWY_SCALAR || HWY_TARGET == HWY_EMU128

void ResizePairs(const PairImage& t) { resizePlain(t); }

#else

using D8 = hn::ScalableTag<std::uint8_t>;
using D16 = hn::ScalableTag<std::int16_t>;
using D32 = hn::ScalableTag<std::int32_t>;
constexpr std::size_t kBytes = hn::MaxLanes(D8());
constexpr std::size_t kBlocks = kBytes / 16;
constexpr std::size_t kChunk =
    kBytes / 2;  // output pixels of a step: a vector of first bytes, one of second

// What a step needs for its output pixels. Packing two vectors of 32-bit lanes alternates between their
// 128-bit blocks, so the first vector takes fours 0, 2, 4 ... of the chunk's pixels, the second fours 1,
// 3, 5 ...
struct Columns {
  std::size_t chunks;
  std::int32_t* offsets;   // [chunk][vector][window][block]: byte where a window starts in the row
  std::uint8_t* shuffles;  // [chunk][vector][window][block][16]
  std::int16_t* weights;   // [chunk][vector][block][4 pixels][2]
};

// The smallest number of windows that serves every four output pixels.
int WindowsNeeded(const ResizeAxis& axis) {
  for (int windows = 1; windows < 4; windows *= 2) {
    const int each = 4 / windows;
    bool fits = true;
    for (int x = 0; x < axis.count; x += each) {
      const int last = HWY_MIN(x + each, axis.count) - 1;
      fits = fits && axis.taps[last].first + 2 - axis.taps[x].first <= kWindowPairs;
    }
    if (fits) return windows;
  }
  return 4;
}

void FillColumns(const ResizeAxis& axis, int source, int windows, const Columns& columns) {
  const int each = 4 / windows;
  for (std::size_t four = 0; four < columns.chunks * kChunk / 4; ++four) {
    const std::size_t chunk = four / (2 * kBlocks), vector = four % 2, block = four / 2 % kBlocks;
    const std::size_t step = chunk * 2 + vector;
    for (int window = 0; window < windows; ++window) {
      const std::size_t at =
          (step * static_cast<std::size_t>(windows) + static_cast<std::size_t>(window)) * kBlocks +
          block;
      std::int32_t start = 0;
      for (int i = 0; i < 4; ++i) {
        // The last chunk is filled up with repetitions of the last pixel, which are not stored.
        const ResizeTap& tap = axis.taps[HWY_MIN(static_cast<int>(4 * four) + i, axis.count - 1)];
        if (i == window * each) start = HWY_MIN(tap.first, source - kWindowPairs);
        std::uint8_t* const shuffle = columns.shuffles + 16 * at + 4 * i;
        const int byte = 2 * (tap.first - start);
        for (int k = 0; k < 4; ++k)
          shuffle[k] = i / each == window ? static_cast<std::uint8_t>(byte + k) : 0x80;
        std::memcpy(columns.weights + 8 * (step * kBlocks + block) + 2 * i, tap.weight,
                    sizeof tap.weight);
      }
      columns.offsets[at] = 2 * start;
    }
  }
}

// One window for each block of a vector.
template <class D>
HWY_INLINE hn::Vec<D> LoadWindows(D d, const std::uint8_t* row, const std::int32_t* offsets) {
  if constexpr (hn::MaxLanes(D()) == 16) {
    return hn::LoadU(d, row + *offsets);
  } else {
    const hn::Half<D> half;
    return hn::Combine(d, LoadWindows(half, row, offsets + hn::MaxLanes(hn::Half<D>()) / 16),
                       LoadWindows(half, row, offsets));
  }
}

template <int kWindows>
void BuildRow(const std::uint8_t* row, const Columns& columns, std::int16_t* out) {
  const D8 d8;
  const D16 d16;
  const D32 d32;
  const hn::RebindToUnsigned<D16> du16;
  const auto low_bytes = hn::Set(du16, 0xFF);
  const std::int32_t* offsets = columns.offsets;
  const std::uint8_t* shuffles = columns.shuffles;
  const std::int16_t* weights = columns.weights;

  // The two source pairs of each pixel in a 32-bit lane: first, second, first, second byte.
  const auto load = [&]() HWY_ATTR {
    auto v = hn::Zero(d8);
    for (int window = 0; window < kWindows; ++window) {
      const auto picked = hn::TableLookupBytes(LoadWindows(d8, row, offsets), hn::Load(d8, shuffles));
      v = window == 0 ? picked : hn::Or(v, picked);
      offsets += kBlocks;
      shuffles += kBytes;
    }
    return hn::BitCast(du16, v);
  };
  // Adds the products of neighbouring 16-bit lanes: on x86 this operation keeps them in order, as the
  // packing below keeps each 128-bit block.
  const auto weigh = [&](hn::Vec<decltype(du16)> v, hn::Vec<D16> w) HWY_ATTR {
    auto unused = hn::Zero(d32);
    const auto sum = hn::ReorderWidenMulAccumulate(d32, hn::BitCast(d16, v), w, hn::Zero(d32), unused);
    return hn::ShiftRight<4>(sum);
  };
  for (std::size_t chunk = 0; chunk < columns.chunks; ++chunk) {
    const auto v0 = load(), v1 = load();
    const auto w0 = hn::Load(d16, weights), w1 = hn::Load(d16, weights + kBytes / 2);
    weights += kBytes;
    hn::Store(
        hn::ReorderDemote2To(d16, weigh(hn::And(v0, low_bytes), w0), weigh(hn::And(v1, low_bytes), w1)),
        d16, out);
    hn::Store(
        hn::ReorderDemote2To(d16, weigh(hn::ShiftRight<8>(v0), w0), weigh(hn::ShiftRight<8>(v1), w1)),
        d16, out + kBytes / 2);
    out += kBytes;
  }
}

void BlendRows(const std::int16_t* row0, const std::int16_t* row1, const ResizeTap& tap,
               std::uint8_t* out, std::size_t bytes) {
  const D8 d8;
  const D16 d16;
  const auto weight0 = hn::Set(d16, tap.weight[0]), weight1 = hn::Set(d16, tap.weight[1]);
  const auto half = hn::Set(d16, 2);
  const auto second_bytes = hn::Set(d16, static_cast<std::int16_t>(-256));
  const auto sum = [&](std::size_t i) HWY_ATTR {
    const auto products = hn::Add(hn::MulHigh(hn::Load(d16, row0 + i), weight0),
                                  hn::MulHigh(hn::Load(d16, row1 + i), weight1));
    return hn::Add(products, half);
  };
  // The second bytes go down by 2 and up by 8 bits in one shift.
  const auto pairs = [&](std::size_t i) HWY_ATTR {
    const auto first = hn::ShiftRight<2>(sum(i)), second = hn::ShiftLeft<6>(sum(i + kBytes / 2));
    return hn::BitCast(d8, hn::OrAnd(first, second, second_bytes));
  };
  std::size_t i = 0;
  for (; i + kBytes <= bytes; i += kBytes) hn::StoreU(pairs(i), d8, out + i);
  if (i < bytes) {
    HWY_ALIGN std::uint8_t last[kBytes];
    hn::Store(pairs(i), d8, last);
    std::memcpy(out + i, last, bytes - i);
  }
}

void ResizePairs(const PairImage& t) {
  if (t.sw < kWindowPairs) return resizePlain(t);
  const std::size_t width = static_cast<std::size_t>(t.dw), height = static_cast<std::size_t>(t.dh);
  Columns columns;
  columns.chunks = (width + kChunk - 1) / kChunk;
  const std::size_t padded = columns.chunks * kChunk;
  constexpr std::size_t kMostWindows = 4;
  Scratch scratch(Scratch::bytesFor<ResizeTap>(width) + Scratch::bytesFor<ResizeTap>(height) +
                  Scratch::bytesFor<std::int32_t>(padded / 4 * kMostWindows) +
                  Scratch::bytesFor<std::uint8_t>(padded * 4 * kMostWindows) +
                  3 * Scratch::bytesFor<std::int16_t>(2 * padded) + Scratch::kAlignment);
  const ResizeAxis across = makeResizeAxis(t.sw, t.dw, scratch.take<ResizeTap>(width));
  const ResizeAxis rows = makeResizeAxis(t.sh, t.dh, scratch.take<ResizeTap>(height));
  columns.offsets = scratch.take<std::int32_t>(padded / 4 * kMostWindows);
  columns.shuffles = scratch.take<std::uint8_t>(padded * 4 * kMostWindows);
  columns.weights = scratch.take<std::int16_t>(2 * padded);
  std::int16_t* const held[2] = {scratch.take<std::int16_t>(2 * padded),
                                 scratch.take<std::int16_t>(2 * padded)};
  const int windows = WindowsNeeded(across);
  FillColumns(across, t.sw, windows, columns);
  const auto build = windows == 1 ? BuildRow<1> : windows == 2 ? BuildRow<2> : BuildRow<4>;
  forEachResizeRow(
      rows,
      [&](std::int32_t row, int slot) {
        build(t.src + std::ptrdiff_t{2} * t.sw * row, columns, held[slot]);
      },
      [&](int y, const ResizeTap& tap, int slot0, int slot1) {
        BlendRows(held[slot0], held[slot1], tap, t.dst + std::ptrdiff_t{2} * t.dw * y, 2 * width);
      });
}

#endif  // HWY_TARGET == HWY_SCALAR || HWY_TARGET == HWY_EMU128

}  // namespace
}  // namespace TarnCPU::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace TarnCPU {

HWY_EXPORT(ResizePairs);

namespace {

void resizePlain(const PairImage& t) {
  const std::size_t width = static_cast<std::size_t>(t.dw), height = static_cast<std::size_t>(t.dh);
  Scratch scratch(Scratch::bytesFor<ResizeTap>(width) + Scratch::bytesFor<ResizeTap>(height) +
                  2 * Scratch::bytesFor<std::int16_t>(2 * width) + Scratch::kAlignment);
  const ResizeAxis columns = makeResizeAxis(t.sw, t.dw, scratch.take<ResizeTap>(width));
  const ResizeAxis rows = makeResizeAxis(t.sh, t.dh, scratch.take<ResizeTap>(height));
  std::int16_t* const held[2] = {scratch.take<std::int16_t>(2 * width),
                                 scratch.take<std::int16_t>(2 * width)};
  forEachResizeRow(
      rows,
      [&](std::int32_t row, int slot) {
        buildResizeRow<2>(t.src + std::ptrdiff_t{2} * t.sw * row, columns, held[slot]);
      },
      [&](int y, const ResizeTap& tap, int slot0, int slot1) {
        blendResizeRows(held[slot0], held[slot1], tap, t.dst + std::ptrdiff_t{2} * t.dw * y, 2 * width);
      });
}

}  // namespace

void TN_CV::resize_bilinear_c2(const unsigned char* src, int sw, int sh, unsigned char* dst, int dw,
                               int dh) {
  if (dw < 1 || dh < 1) return;
  HWY_DYNAMIC_DISPATCH(ResizePairs)({src, sw, sh, dst, dw, dh});
}

}  // namespace TarnCPU
#endif  // HWY_ONCE
