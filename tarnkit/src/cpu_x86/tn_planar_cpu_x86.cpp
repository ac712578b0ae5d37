#include <cstddef>
#include <cstdint>

#include "tarnkit/src/cpu_x86/tn_byteorder_cpu_x86.h"
#include "tn_cv.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "tarnkit/src/cpu_x86/tn_planar_cpu_x86.cpp"
#include "hwy/foreach_target.h"
#include "hwy/highway.h"

HWY_BEFORE_NAMESPACE();
namespace TarnCPU {
namespace HWY_NAMESPACE {
namespace {

#if HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128
namespace hn = hwy::HWY_NAMESPACE;

// No more than 32 bytes: 64 gained nothing at best, and four-byte pixels took up to a third longer with
// it where buffers happened to lie badly in the second-level cache.
using Bytes = hn::CappedTag<uint8_t, 32>;
using ByteVec = hn::Vec<Bytes>;
constexpr size_t kVector = hn::MaxLanes(Bytes());

// Pixels a step: a cache line of each plane. Three streams of narrower stores that take turns were up to
// a half slower than whole lines one after the other.
constexpr size_t kStep = 64;
constexpr size_t kVectors = kStep / kVector;

// kVector pixels of four bytes as their bytes 0, 1 and 2.
struct Fours {
  ByteVec v[3];
};

HWY_INLINE Fours LoadFours(const uint8_t* src) {
  const Bytes d8;
  const hn::Repartition<uint32_t, Bytes> d32;
  const hn::Repartition<uint64_t, Bytes> d64;
  // Within each block of four pixels: their bytes 0 to the first dword, bytes 1 to the second ...
  alignas(16) static constexpr uint8_t gather[16] = {0, 4, 8,  12, 1, 5, 9,  13,
                                                     2, 6, 10, 14, 3, 7, 11, 15};
  const ByteVec index = hn::LoadDup128(d8, gather);
  hn::Vec<decltype(d32)> v[4];
  for (size_t k = 0; k < 4; ++k)
    v[k] = hn::BitCast(d32, hn::TableLookupBytes(hn::LoadU(d8, src + k * kVector), index));
  // ... then the same dword of all four vectors side by side.
  const auto low01 = hn::BitCast(d64, hn::InterleaveLower(d32, v[0], v[1]));
  const auto low23 = hn::BitCast(d64, hn::InterleaveLower(d32, v[2], v[3]));
  const auto high01 = hn::BitCast(d64, hn::InterleaveUpper(d32, v[0], v[1]));
  const auto high23 = hn::BitCast(d64, hn::InterleaveUpper(d32, v[2], v[3]));
  Fours fours;
  fours.v[0] = hn::BitCast(d8, hn::InterleaveLower(d64, low01, low23));
  fours.v[1] = hn::BitCast(d8, hn::InterleaveUpper(d64, low01, low23));
  fours.v[2] = hn::BitCast(d8, hn::InterleaveLower(d64, high01, high23));
  if constexpr (kVector > 16) {
    // Dword k of each block is from vector k; in pixel order all of vector 0 comes first.
    constexpr uint32_t dwords = kVector / 4, blocks = kVector / 16;
    alignas(64) uint32_t order[dwords];
    for (uint32_t i = 0; i < dwords; ++i) order[i] = i % blocks * 4 + i / blocks;
    const auto lanes = hn::SetTableIndices(d32, order);
    for (ByteVec& bytes : fours.v)
      bytes = hn::BitCast(d8, hn::TableLookupLanes(hn::BitCast(d32, bytes), lanes));
  }
  return fours;
}

HWY_INLINE ByteVec BytesOf(const Fours& fours, size_t byte) { return fours.v[byte]; }

// 16 bytes from each 48, the first in block 0.
template <class D>
HWY_INLINE hn::Vec<D> LoadEveryThird(D d, const uint8_t* src) {
  if constexpr (hn::MaxLanes(d) == 16) {
    return hn::LoadU(d, src);
  } else {
    const hn::Half<D> half;
    return hn::Combine(d, LoadEveryThird(half, src + 3 * hn::MaxLanes(half)), LoadEveryThird(half, src));
  }
}

// kVector pixels of three bytes: sixteen of them fill three blocks, which lie in the same block of the
// three vectors.
struct Threes {
  ByteVec v[3];
};

HWY_INLINE Threes LoadThrees(const uint8_t* src) {
  const Bytes d8;
  return {{LoadEveryThird(d8, src), LoadEveryThird(d8, src + 16), LoadEveryThird(d8, src + 32)}};
}

// Row 3 * b + k: where the pixels that have their byte b in block k find it; an index with its top bit
// set gives 0.
struct ThreesIndex {
  alignas(16) uint8_t at[9][16];
};

constexpr ThreesIndex MakeThreesIndex() {
  ThreesIndex index = {};
  for (int b = 0; b < 3; ++b)
    for (int k = 0; k < 3; ++k)
      for (int i = 0; i < 16; ++i) {
        const int place = 3 * i + b;
        index.at[3 * b + k][i] = static_cast<uint8_t>(place / 16 == k ? place % 16 : 0x80);
      }
  return index;
}

HWY_INLINE ByteVec BytesOf(const Threes& threes, size_t byte) {
  static constexpr ThreesIndex index = MakeThreesIndex();
  const Bytes d8;
  const auto part = [&](size_t k) HWY_ATTR {
    return hn::TableLookupBytesOr0(threes.v[k], hn::LoadDup128(d8, index.at[3 * byte + k]));
  };
  return hn::Or(part(0), hn::Or(part(1), part(2)));
}

template <class Format>
HWY_INLINE auto LoadPixels(const uint8_t* src) {
  if constexpr (Format::kBytes == 4)
    return LoadFours(src);
  else
    return LoadThrees(src);
}

// kStep pixels.
template <class Format>
HWY_INLINE void SplitStep(const uint8_t* src, uint8_t* red, uint8_t* green, uint8_t* blue) {
  const Bytes d8;
  decltype(LoadPixels<Format>(src)) pixels[kVectors];
  for (size_t k = 0; k < kVectors; ++k)
    pixels[k] = LoadPixels<Format>(src + k * kVector * Format::kBytes);
  uint8_t* const planes[3] = {red, green, blue};
  constexpr size_t bytes[3] = {Format::kRed, 1, 2 - Format::kRed};
  for (size_t p = 0; p < 3; ++p)
    for (size_t k = 0; k < kVectors; ++k)
      hn::StoreU(BytesOf(pixels[k], bytes[p]), d8, planes[p] + k * kVector);
}
#endif

template <class Format>
void Planar(const uint8_t* src, uint8_t* dst, size_t n) {
  uint8_t* const red = dst;
  uint8_t* const green = dst + n;
  uint8_t* const blue = dst + 2 * n;
  size_t i = 0;
#if HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128
  if (n >= kStep) {
    SplitStep<Format>(src, red, green, blue);
    // From here on lines of the first plane (and of the others when n is a multiple of 64) are written
    // as a whole. Both this and the last step go over finished pixels again.
    i = kStep - reinterpret_cast<uintptr_t>(red) % kStep;
    for (; i < n; i += kStep) {
      if (i + kStep > n) i = n - kStep;
      SplitStep<Format>(src + i * Format::kBytes, red + i, green + i, blue + i);
    }
  }
#endif
  for (; i < n; ++i) {
    const uint8_t* const pixel = src + i * Format::kBytes;
    red[i] = pixel[Format::kRed];
    green[i] = pixel[1];
    blue[i] = pixel[2 - Format::kRed];
  }
}

void PlanesOfBgra(const uint8_t* src, uint8_t* dst, size_t n) { Planar<BgraOrder>(src, dst, n); }
void PlanesOfRgba(const uint8_t* src, uint8_t* dst, size_t n) { Planar<RgbaOrder>(src, dst, n); }
void PlanesOfRgb(const uint8_t* src, uint8_t* dst, size_t n) { Planar<RgbOrder>(src, dst, n); }

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace TarnCPU
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace TarnCPU {
namespace {

HWY_EXPORT(PlanesOfBgra);
HWY_EXPORT(PlanesOfRgba);
HWY_EXPORT(PlanesOfRgb);

}  // namespace

void getRGB_CHW_from_BGRA_HWC(const unsigned char* src, unsigned char* dst, int n) {
  if (n > 0) HWY_DYNAMIC_DISPATCH(PlanesOfBgra)(src, dst, static_cast<std::size_t>(n));
}

void getRGB_CHW_from_RGBA_HWC(const unsigned char* src, unsigned char* dst, int n) {
  if (n > 0) HWY_DYNAMIC_DISPATCH(PlanesOfRgba)(src, dst, static_cast<std::size_t>(n));
}

void getRGB_CHW_from_RGB_HWC(const unsigned char* src, unsigned char* dst, int n) {
  if (n > 0) HWY_DYNAMIC_DISPATCH(PlanesOfRgb)(src, dst, static_cast<std::size_t>(n));
}

}  // namespace TarnCPU
#endif  // HWY_ONCE
