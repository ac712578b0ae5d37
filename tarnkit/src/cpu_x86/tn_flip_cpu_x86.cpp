// Mirrors of packed images.

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "tn_cv.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "tarnkit/src/cpu_x86/tn_flip_cpu_x86.cpp"
#include "hwy/foreach_target.h"  // compiles this file again for every CPU target

#include "common/tn_stores-inl.h"
#include "hwy/highway.h"

HWY_BEFORE_NAMESPACE();
namespace TarnCPU::HWY_NAMESPACE {
namespace {
namespace hn = hwy::HWY_NAMESPACE;

// The plain mirror of one row of `n` pixels of `kC` bytes.
template <std::size_t kC>
void MirrorOneByOne(const std::uint8_t* src, std::uint8_t* dst, std::size_t n) {
  for (std::size_t x = 0; x < n; ++x) std::memcpy(dst + (n - 1 - x) * kC, src + x * kC, kC);
}

#if HWY_TARGET != HWY_SCALAR

// A vector of 1-byte or 4-byte pixels, the last one first.
template <std::size_t kC, class D>
HWY_INLINE hn::Vec<D> Reversed(D d, hn::Vec<D> v) {
  if constexpr (kC == 4) {
    const hn::Repartition<std::uint32_t, D> d32;
    return hn::BitCast(d, hn::Reverse(d32, hn::BitCast(d32, v)));
  } else {
    HWY_ALIGN static constexpr std::uint8_t kBackwards[16] = {15, 14, 13, 12, 11, 10, 9, 8,
                                                              7,  6,  5,  4,  3,  2,  1, 0};
    return hn::ReverseBlocks(d, hn::TableLookupBytes(v, hn::LoadDup128(d, kBackwards)));
  }
}

// 1-byte and 4-byte pixels.
template <std::size_t kC>
HWY_INLINE void MirrorRow(const std::uint8_t* src, std::uint8_t* dst, std::size_t n) {
  const hn::ScalableTag<std::uint8_t> d;
  const std::size_t lanes = hn::Lanes(d), bytes = n * kC;
  if (bytes < lanes) return MirrorOneByOne<kC>(src, dst, n);
  for (std::size_t i = 0; i + lanes <= bytes; i += lanes)
    hn::StoreU(Reversed<kC>(d, hn::LoadU(d, src + bytes - lanes - i)), d, dst + i);
  hn::StoreU(Reversed<kC>(d, hn::LoadU(d, src)), d, dst + bytes - lanes);
}

// A vector of 3-byte pixels loses a quarter of its bytes: each 128-bit block works on four pixels.
#if HWY_TARGET <= HWY_AVX2
HWY_INLINE void MirrorRow3(const std::uint8_t* src, std::uint8_t* dst, std::size_t n) {
  const hn::ScalableTag<std::uint8_t> d;
  const hn::Repartition<std::uint32_t, decltype(d)> d32;
  constexpr std::size_t kLoad = hn::MaxLanes(hn::ScalableTag<std::uint8_t>()), kUsed = kLoad / 4 * 3;
  constexpr std::uint32_t kLanes = kLoad / 4;
  const std::size_t bytes = n * 3;
  if (bytes < kLoad) return MirrorOneByOne<3>(src, dst, n);

  // Three 32-bit lanes, four pixels, to each block, the last ones first: out of a vector's last bytes
  // (from_end) or its first (from_start, for the row's first pixels).
  HWY_ALIGN std::uint32_t from_end[kLanes], from_start[kLanes], join[kLanes];
  for (std::uint32_t i = 0; i < kLanes; ++i) {
    const std::uint32_t block = i / 4, lane = i % 4 < 3 ? i % 4 : 0;
    from_start[i] = kLanes / 4 * 3 - 3 * (block + 1) + lane;
    from_end[i] = from_start[i] + kLanes / 4;
    join[i] = i < kLanes / 4 * 3 ? i / 3 * 4 + i % 3 : 0;
  }
  const auto end_lanes = hn::SetTableIndices(d32, from_end);
  const auto start_lanes = hn::SetTableIndices(d32, from_start);
  const auto join_lanes = hn::SetTableIndices(d32, join);
  HWY_ALIGN static constexpr std::uint8_t kPixelsBackwards[16] = {9, 10, 11, 6, 7,    8,    3,    4,
                                                                  5, 0,  1,  2, 0x80, 0x80, 0x80, 0x80};
  const auto backwards = hn::LoadDup128(d, kPixelsBackwards);

  const auto turned = [&](const std::uint8_t* from, decltype(end_lanes) lanes) HWY_ATTR {
    const auto blocks = hn::TableLookupLanes(hn::BitCast(d32, hn::LoadU(d, from)), lanes);
    const auto pixels = hn::BitCast(d32, hn::TableLookupBytes(hn::BitCast(d, blocks), backwards));
    return hn::BitCast(d, hn::TableLookupLanes(pixels, join_lanes));
  };
  const auto store_used = [&](hn::Vec<decltype(d)> v, std::uint8_t* to) HWY_ATTR {
    const hn::Half<decltype(d)> half;
    const hn::Half<decltype(half)> quarter;
    hn::StoreU(hn::LowerHalf(half, v), half, to);
    hn::StoreU(hn::LowerHalf(quarter, hn::UpperHalf(half, v)), quarter, to + kLoad / 2);
  };
  // The main loop's stores reach a quarter too far, into what the next one writes.
  std::size_t i = 0;
  for (; i + kLoad <= bytes; i += kUsed)
    hn::StoreU(turned(src + bytes - kLoad - i, end_lanes), d, dst + i);
  if (i + kUsed < bytes) store_used(turned(src + bytes - kUsed - i, start_lanes), dst + i);
  store_used(turned(src, start_lanes), dst + bytes - kUsed);
}

#else

// Five pixels, 15 of a vector's 16 bytes; the next store mends the byte that one writes too far.
HWY_INLINE void MirrorRow3(const std::uint8_t* src, std::uint8_t* dst, std::size_t n) {
  const hn::FixedTag<std::uint8_t, 16> d;
  HWY_ALIGN static constexpr std::uint8_t kPixelsBackwards[16] = {13, 14, 15, 10, 11, 12, 7, 8,
                                                                  9,  4,  5,  6,  1,  2,  3, 0x80};
  const auto backwards = hn::Load(d, kPixelsBackwards);
  const std::size_t bytes = 3 * n;
  std::size_t i = 0;
  for (; i + 16 <= bytes; i += 15)
    hn::StoreU(hn::TableLookupBytes(hn::LoadU(d, src + bytes - 16 - i), backwards), d, dst + i);
  MirrorOneByOne<3>(src, dst + i, n - i / 3);
}

#endif  // HWY_TARGET <= HWY_AVX2
#endif  // HWY_TARGET != HWY_SCALAR

template <std::size_t kC>
HWY_INLINE void MirrorRows(const std::uint8_t* src, std::uint8_t* dst, std::size_t w, std::size_t h) {
  for (; h > 0; --h, src += w * kC, dst += w * kC) {
#if HWY_TARGET == HWY_SCALAR
    MirrorOneByOne<kC>(src, dst, w);
#else
    if constexpr (kC == 3)
      MirrorRow3(src, dst, w);
    else
      MirrorRow<kC>(src, dst, w);
#endif
  }
}

void Mirror1(const std::uint8_t* src, std::uint8_t* dst, std::size_t w, std::size_t h) {
  MirrorRows<1>(src, dst, w, h);
}
void Mirror3(const std::uint8_t* src, std::uint8_t* dst, std::size_t w, std::size_t h) {
  MirrorRows<3>(src, dst, w, h);
}
void Mirror4(const std::uint8_t* src, std::uint8_t* dst, std::size_t w, std::size_t h) {
  MirrorRows<4>(src, dst, w, h);
}

}  // namespace
}  // namespace TarnCPU::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace TarnCPU {

HWY_EXPORT(Mirror1);
HWY_EXPORT(Mirror3);
HWY_EXPORT(Mirror4);

void TN_CV::flip_horizontal(const unsigned char* src, int w, int h, unsigned char* dst, int c) {
  if (w < 1 || h < 1 || c < 1) return;
  const std::size_t width = static_cast<std::size_t>(w), height = static_cast<std::size_t>(h),
                    bytes = static_cast<std::size_t>(c);
  switch (c) {
    case 1:
      return HWY_DYNAMIC_DISPATCH(Mirror1)(src, dst, width, height);
    case 3:
      return HWY_DYNAMIC_DISPATCH(Mirror3)(src, dst, width, height);
    case 4:
      return HWY_DYNAMIC_DISPATCH(Mirror4)(src, dst, width, height);
    default:
      break;
  }
  for (std::size_t y = 0; y < height; ++y, src += width * bytes, dst += width * bytes)
    for (std::size_t x = 0; x < width; ++x)
      std::memcpy(dst + (width - 1 - x) * bytes, src + x * bytes, bytes);
}

void TN_CV::flip_vertical(const unsigned char* src, int w, int h, unsigned char* dst, int c) {
  if (w < 1 || h < 1 || c < 1) return;
  const std::size_t row = static_cast<std::size_t>(w) * static_cast<std::size_t>(c);
  const RowCopy copy = chooseRowCopy(row * static_cast<std::size_t>(h), row);
  for (std::size_t y = static_cast<std::size_t>(h); y > 0; --y, dst += row)
    copy(dst, src + (y - 1) * row, row);
}

}  // namespace TarnCPU
#endif  // HWY_ONCE
