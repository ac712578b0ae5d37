// Bilinear resizing of packed bytes with any number of channels: the vector form of the resizers' rule.
// To be included in a file that is compiled again for every CPU target.
//
// Source rows are first resized across, into 16-bit values; two such rows are then blended to an output
// row. Across: a shuffle of windows (tn_windows.h) fills each 32-bit lane with the left-hand bytes of
// two samples and then the right-hand ones. A mask keeps the even sample's pair, a shift the odd one's,
// and one multiplication with addition of neighbours weighs a pair. The results stay separate, a vector
// of even samples and one of odd samples in turn. The blend can then join them by a shift and an Or,
// which is cheaper than narrowing lanes.
#if defined(TN_KITS_COMMON_TN_RESIZE_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef TN_KITS_COMMON_TN_RESIZE_INL_H_
#undef TN_KITS_COMMON_TN_RESIZE_INL_H_
#else
#define TN_KITS_COMMON_TN_RESIZE_INL_H_
#endif

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "common/tn_resize_rule.h"
#include "common/tn_scratch.h"
#include "common/tn_tail-inl.h"
#include "common/tn_windows-inl.h"
#include "hwy/highway.h"

HWY_BEFORE_NAMESPACE();
namespace TarnCPU::HWY_NAMESPACE {
namespace {

#if !TN_BLOCKS

template <int kC>
void ResizeBilinear(const ResizeJob& job) {
  resizeBilinearPlain<kC>(job);
}

#else

namespace hn = hwy::HWY_NAMESPACE;

using D8 = hn::ScalableTag<std::uint8_t>;
using D16 = hn::ScalableTag<std::int16_t>;
using D32 = hn::ScalableTag<std::int32_t>;

constexpr std::size_t kBytes = kVectorBytes<D8>;

// A step yields kBytes samples.
struct Columns {
  std::size_t steps;
  WindowTables tables;
  std::int16_t* weights;  // a pair for each 32-bit lane, in the order in which they are multiplied
};

// ReorderDemote2To packs two vectors of 32-bit lanes into one of 16-bit lanes, block by block.
using ColumnLayout = VectorLayout<2, kBytes / kBlockBytes>;
constexpr std::size_t kMostWindows = 8;

// Even and odd samples share their weights if they belong to the same pixel.
template <int kC>
constexpr std::size_t kParities = kC % 2 == 0 ? 1 : 2;

using BuildFunction = void (*)(const std::uint8_t* row, const Columns& columns, std::int16_t* out);

// Adds the products of neighbouring 16-bit lanes. Highway leaves open where the sums go; on x86 they
// stay in order.
HWY_INLINE hn::Vec<D32> Weigh(hn::Vec<D16> bytes, const std::int16_t* weights) {
  const D32 d32;
  auto unused = hn::Zero(d32);
  return hn::ShiftRight<4>(
      hn::ReorderWidenMulAccumulate(d32, bytes, hn::Load(D16(), weights), hn::Zero(d32), unused));
}

// Reads pixels of 4 bytes that are too far apart for one window. A pixel and its right-hand neighbour
// are 8 bytes: loading each such pair is faster than several windows. Hardware gathers would be a tenth
// faster than windows on some processors, but several times slower on others.
class PixelPairReader {
 public:
  PixelPairReader(const std::uint8_t* row, const WindowTables& tables)
      : row_(row), offsets_(tables.offsets) {}
  HWY_INLINE hn::Vec<D8> next(D8 d8) {
    alignas(16) static constexpr std::uint8_t kPlaces[16] = {0, 1, 4,  5,  2,  3,  6,  7,
                                                             8, 9, 12, 13, 10, 11, 14, 15};
    const auto pairs = GatherHalfBlocks(d8, [&](std::size_t i) HWY_ATTR { return row_ + offsets_[i]; });
    offsets_ += kBytes / 8;
    return hn::TableLookupBytes(pairs, hn::LoadDup128(d8, kPlaces));
  }

 private:
  const std::uint8_t* row_;
  const std::int32_t* offsets_;
};

template <std::size_t kParities, class Reader>
void BuildRow(const std::uint8_t* row, const Columns& columns, std::int16_t* out) {
  const D16 d16;
  const hn::RebindToUnsigned<D16> du16;
  const auto low_bytes = hn::Set(du16, 0xFF);
  Reader taps(row, columns.tables);
  const std::int16_t* weights = columns.weights;
  constexpr std::size_t kHalf = kBytes / 2, kOdd = kParities == 1 ? 0 : kHalf;
  for (std::size_t step = 0; step < columns.steps; ++step) {
    const auto v0 = hn::BitCast(du16, taps.next(D8()));
    const auto v1 = hn::BitCast(du16, taps.next(D8()));
    const std::int16_t* const weights1 = weights + kHalf * kParities;
    const auto even0 = Weigh(hn::BitCast(d16, hn::And(v0, low_bytes)), weights);
    const auto even1 = Weigh(hn::BitCast(d16, hn::And(v1, low_bytes)), weights1);
    const auto odd0 = Weigh(hn::BitCast(d16, hn::ShiftRight<8>(v0)), weights + kOdd);
    const auto odd1 = Weigh(hn::BitCast(d16, hn::ShiftRight<8>(v1)), weights1 + kOdd);
    hn::Store(hn::ReorderDemote2To(d16, even0, even1), d16, out);
    hn::Store(hn::ReorderDemote2To(d16, odd0, odd1), d16, out + kHalf);
    weights += kBytes * kParities;
    out += kBytes;
  }
}

void BlendRows(const std::int16_t* row0, const std::int16_t* row1, const ResizeTap& tap,
               std::uint8_t* out, std::size_t bytes) {
  const D8 d8;
  const D16 d16;
  const auto weight0 = hn::Set(d16, tap.weight[0]), weight1 = hn::Set(d16, tap.weight[1]);
  const auto half = hn::Set(d16, 2);
  const auto odd_bytes = hn::Set(d16, static_cast<std::int16_t>(-256));
  const auto sum = [&](std::size_t i) HWY_ATTR {
    const auto products = hn::Add(hn::MulHigh(hn::Load(d16, row0 + i), weight0),
                                  hn::MulHigh(hn::Load(d16, row1 + i), weight1));
    return hn::Add(products, half);
  };
  // Odd results move down by 2 bits and up to the upper byte by 8: in one shift.
  const auto blended = [&](std::size_t i) HWY_ATTR {
    const auto even = hn::ShiftRight<2>(sum(i)), odd = hn::ShiftLeft<6>(sum(i + kBytes / 2));
    return hn::BitCast(d8, hn::OrAnd(even, odd, odd_bytes));
  };
  std::size_t i = 0;
  for (; i + kBytes <= bytes; i += kBytes) hn::StoreU(blended(i), d8, out + i);
  if (i < bytes) StoreFirst(blended(i), d8, bytes - i, out + i);
}

template <int kC>
void FillWeights(const ResizeAxis& across, std::size_t samples, const Columns& columns) {
  constexpr std::size_t kLanes = 4;  // of a block, two samples each
  const std::size_t last = static_cast<std::size_t>(across.count) - 1;
  for (std::size_t n = 0; n < samples / (2 * kLanes); ++n)
    for (std::size_t parity = 0; parity < kParities<kC>; ++parity) {
      std::int16_t* const weights =
          columns.weights + 2 * kLanes * ColumnLayout::placeOf(n, kParities<kC>, parity);
      for (std::size_t lane = 0; lane < kLanes; ++lane) {
        const std::size_t sample = 2 * (kLanes * n + lane) + parity;
        std::memcpy(weights + 2 * lane, across.taps[std::min(sample / kC, last)].weight,
                    sizeof across.taps->weight);
      }
    }
}

// Fills the table of offsets for PixelPairReader.
inline BuildFunction FillPixelPairs(const std::int32_t* sources, std::size_t samples,
                                    const WindowTables& tables) {
  for (std::size_t n = 0; n < samples / 8; ++n) {
    std::int32_t* const at = tables.offsets + 2 * ColumnLayout::placeOf(n, 1, 0);
    at[0] = sources[8 * n] / 4 * 4;  // rounded down for the padding, which repeats the last byte
    at[1] = sources[8 * n + 4] / 4 * 4;
  }
  return BuildRow<kParities<4>, PixelPairReader>;
}

template <int kC>
void ResizeBilinear(const ResizeJob& job) {
  const std::ptrdiff_t row_bytes = std::ptrdiff_t{kC} * job.sw;
  if (!windowsFit(row_bytes)) return resizeBilinearPlain<kC>(job);
  const std::size_t width = static_cast<std::size_t>(job.dw), height = static_cast<std::size_t>(job.dh);
  const std::size_t samples = width * kC;
  const std::size_t padded = (samples + kBytes - 1) / kBytes * kBytes;
  Scratch scratch;
  const auto [column_taps, row_taps, sources, offsets, shuffles, weights, row0, row1] = scratch.allocate(
      ScratchArray<ResizeTap>{width}, ScratchArray<ResizeTap>{height},
      ScratchArray<std::int32_t>{padded}, ScratchArray<std::int32_t>{padded / 8 * kMostWindows},
      ScratchArray<std::uint8_t>{padded * 2 * kMostWindows},
      ScratchArray<std::int16_t>{padded * kParities<kC>}, ScratchArray<std::int16_t>{padded},
      ScratchArray<std::int16_t>{padded});
  const ResizeAxis across = makeResizeAxis(job.sw, job.dw, column_taps);
  const ResizeAxis rows = makeResizeAxis(job.sh, job.dh, row_taps);
  const Columns columns = {padded / kBytes, {offsets, shuffles}, weights};
  std::int16_t* const held[2] = {row0, row1};

  fillSources<kC>([&](std::size_t x) { return across.taps[x].first; }, samples, padded, sources);
  // With up to 3 channels, eight windows hold the samples in any case.
  constexpr std::size_t kMost = kC == 4 ? 1 : kMostWindows;
  BuildFunction build = fillFewestWindows<kMost>(
      TapSamples<kC>(), ColumnLayout(), sources, padded, row_bytes, columns.tables,
      [](auto windows) -> BuildFunction { return BuildRow<kParities<kC>, WindowReader<windows()>>; });
  if (build == nullptr) build = FillPixelPairs(sources, padded, columns.tables);
  FillWeights<kC>(across, padded, columns);
  forEachResizeRow(
      rows, [&](std::int32_t row, int slot) { build(job.src + row_bytes * row, columns, held[slot]); },
      [&](int y, const ResizeTap& tap, int slot0, int slot1) {
        BlendRows(held[slot0], held[slot1], tap, job.dst + std::ptrdiff_t{kC} * job.dw * y, samples);
      });
}

#endif  // TN_BLOCKS

}  // namespace
}  // namespace TarnCPU::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif  // per-target include guard
