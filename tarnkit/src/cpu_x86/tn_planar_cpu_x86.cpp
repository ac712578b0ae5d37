// Packed pixels to one plane of bytes for each of R, G and B.

#include <cstddef>
#include <cstdint>

#include "tarnkit/src/cpu_x86/tn_byteorder_cpu_x86.h"
#include "tn_cv.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "tarnkit/src/cpu_x86/tn_planar_cpu_x86.cpp"
#include "hwy/foreach_target.h"  // compiles this file again for every CPU target
// After foreach_target.h, so that each target includes them again.
#include "common/tn_blocks-inl.h"
#include "common/tn_tail-inl.h"
#include "hwy/highway.h"

HWY_BEFORE_NAMESPACE();
namespace TarnCPU::HWY_NAMESPACE {
namespace {

template <class Format>
void SplitOneByOne(const uint8_t* src, uint8_t* dst, size_t n) {
  for (size_t i = 0; i < n; ++i) {
    const uint8_t* const pixel = src + i * Format::kBytes;
    dst[i] = pixel[Format::kRed];
    dst[n + i] = pixel[1];
    dst[2 * n + i] = pixel[2 - Format::kRed];
  }
}

#if TN_BLOCKS
namespace hn = hwy::HWY_NAMESPACE;

// Vectors of 32 bytes at most. Those of 64 were never faster, and with four-byte pixels up to a third
// slower where buffers conflicted in the second-level cache.
using Bytes = hn::CappedTag<uint8_t, 32>;
using ByteVec = hn::Vec<Bytes>;
constexpr size_t kVector = hn::MaxLanes(Bytes());

// Pixels in a step: a cache line of each plane. Narrower stores that alternate between the planes were
// up to a half slower.
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
  // Within each block of four pixels, bytes 0 go to the first 32-bit lane, bytes 1 to the second ...
  alignas(16) static constexpr uint8_t gather[16] = {0, 4, 8,  12, 1, 5, 9,  13,
                                                     2, 6, 10, 14, 3, 7, 11, 15};
  const ByteVec index = hn::LoadDup128(d8, gather);
  hn::Vec<decltype(d32)> v[4];
  for (size_t k = 0; k < 4; ++k)
    v[k] = hn::BitCast(d32, hn::TableLookupBytes(hn::LoadU(d8, src + k * kVector), index));
  // ... then the same lane of all four vectors side by side.
  const auto low01 = hn::BitCast(d64, hn::InterleaveLower(d32, v[0], v[1]));
  const auto low23 = hn::BitCast(d64, hn::InterleaveLower(d32, v[2], v[3]));
  const auto high01 = hn::BitCast(d64, hn::InterleaveUpper(d32, v[0], v[1]));
  const auto high23 = hn::BitCast(d64, hn::InterleaveUpper(d32, v[2], v[3]));
  Fours fours;
  fours.v[0] = hn::BitCast(d8, hn::InterleaveLower(d64, low01, low23));
  fours.v[1] = hn::BitCast(d8, hn::InterleaveUpper(d64, low01, low23));
  fours.v[2] = hn::BitCast(d8, hn::InterleaveLower(d64, high01, high23));
  if constexpr (kVector > 16) {
    // Lane k of each block is from vector k; in pixel order all of vector 0 comes first.
    constexpr uint32_t kLanes = kVector / 4, blocks = kVector / 16;
    alignas(64) uint32_t order[kLanes];
    for (uint32_t i = 0; i < kLanes; ++i) order[i] = i % blocks * 4 + i / blocks;
    const auto lanes = hn::SetTableIndices(d32, order);
    for (ByteVec& bytes : fours.v)
      bytes = hn::BitCast(d8, hn::TableLookupLanes(hn::BitCast(d32, bytes), lanes));
  }
  return fours;
}

HWY_INLINE ByteVec BytesOf(const Fours& fours, size_t byte) { return fours.v[byte]; }

// kVector pixels of three bytes: sixteen of them fill three blocks, which lie in the same block of the
// three vectors.
struct Threes {
  ByteVec v[3];
};

HWY_INLINE Threes LoadThrees(const uint8_t* src) {
  const auto every_third = [&](size_t first) HWY_ATTR {
    return GatherBlocks(Bytes(), [&](size_t i) HWY_ATTR { return src + 16 * (3 * i + first); });
  };
  return {{every_third(0), every_third(1), every_third(2)}};
}

// Row 3 * b + k is a shuffle of block k: byte b of each pixel that has it in that block, and zeros,
// which an index with its top bit set gives.
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
#if TN_BLOCKS
  // Aligned steps write whole lines of the first plane, and of the others if n is a multiple of 64.
  if (n >= kStep)
    return ForEachAlignedStep(dst, n, kStep, [&](size_t i) TN_INLINE_LAMBDA {
      SplitStep<Format>(src + i * Format::kBytes, dst + i, dst + n + i, dst + 2 * n + i);
    });
#endif
  SplitOneByOne<Format>(src, dst, n);
}

void PlanesOfBgra(const uint8_t* src, uint8_t* dst, size_t n) { Planar<BgraOrder>(src, dst, n); }
void PlanesOfRgba(const uint8_t* src, uint8_t* dst, size_t n) { Planar<RgbaOrder>(src, dst, n); }
void PlanesOfRgb(const uint8_t* src, uint8_t* dst, size_t n) { Planar<RgbOrder>(src, dst, n); }

}  // namespace
}  // namespace TarnCPU::HWY_NAMESPACE
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
