// Packed colour to grey.
//
// With x = 587 G + 299 R + 114 B the result is floor(x / 1000), unless x is a multiple of 1000: there
// the rounding errors of the double sum decide whether it reaches the integer or stays just below.
// Otherwise x / 1000 is at least 1/1000 away from an integer, far beyond those errors. So blocks of
// pixels go through integers, and vectors that hold a multiple of 1000, as one pixel in a thousand does,
// are done again in double precision.
//
// Two kinds of pictures would always take the slow way, and have quick ones of their own: areas of one
// colour, where a block that equals the one before has its result too, and pure greys, where a table of
// 256 bits knows the rounding.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "tarnkit/src/cpu_x86/tn_byteorder_cpu_x86.h"
#include "tn_cv.h"

#include "hwy/cache_control.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "tarnkit/src/cpu_x86/tn_gray_cpu_x86.cpp"
#include "hwy/foreach_target.h"
#include "hwy/highway.h"

HWY_BEFORE_NAMESPACE();
namespace TarnCPU {
namespace HWY_NAMESPACE {
namespace {

// The definition. A result above 255 cannot occur: 255 times the three factors is 255.
constexpr int GrayOf(int r, int g, int b) {
  return static_cast<int>((g * 0.587 + r * 0.299) + b * 0.114);
}

#if HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128
namespace hn = hwy::HWY_NAMESPACE;

using Dwords = hn::ScalableTag<uint32_t>;
using Words = hn::RepartitionToNarrow<Dwords>;
using Bytes = hn::RepartitionToNarrow<Words>;
using DwordVec = hn::Vec<Dwords>;
using WordVec = hn::Vec<Words>;
using ByteVec = hn::Vec<Bytes>;
constexpr size_t kVector = hn::MaxLanes(Dwords());
constexpr size_t kBlock = 4 * kVector;
// Pixels that the last load of a block reaches past it.
template <class Format>
constexpr size_t kSlack = Format::kBytes == 4 ? 0 : (kVector + 2) / 3;

// A dword for each pixel: bytes 0 and 2 in its halves, and byte 1 below something to be ignored.
struct Channels {
  WordVec outer, middle;
};

// Four 3-byte pixels and 4 bytes of no interest in each block.
HWY_INLINE ByteVec LoadTwelves(const uint8_t* src) {
  const Bytes d8;
  const Dwords d32;
  const ByteVec pixels = hn::LoadU(d8, src);
  if constexpr (kVector == 4) return pixels;
  alignas(64) uint32_t order[kVector];
  for (uint32_t i = 0; i < kVector; ++i) order[i] = i / 4 * 3 + i % 4;
  return hn::BitCast(d8,
                     hn::TableLookupLanes(hn::BitCast(d32, pixels), hn::SetTableIndices(d32, order)));
}

// A 3-byte format reads kVector bytes past its kVector pixels.
template <class Format>
HWY_INLINE Channels LoadChannels(const uint8_t* src) {
  const Bytes d8;
  const Words d16;
  if constexpr (Format::kBytes == 4) {
    const WordVec pixels = hn::BitCast(d16, hn::LoadU(d8, src));
    return {hn::And(pixels, hn::Set(d16, 0xFF)), hn::ShiftRight<8>(pixels)};
  } else {
    const ByteVec pixels = LoadTwelves(src);
    constexpr uint8_t z = 0x80;  // such an index gives 0
    alignas(16) static constexpr uint8_t outer[16] = {0, z, 2, z, 3, z, 5, z, 6, z, 8, z, 9, z, 11, z};
    alignas(16) static constexpr uint8_t middle[16] = {1, z, z, z, 4, z, z, z, 7, z, z, z, 10, z, z, z};
    return {hn::BitCast(d16, hn::TableLookupBytesOr0(pixels, hn::LoadDup128(d8, outer))),
            hn::BitCast(d16, hn::TableLookupBytesOr0(pixels, hn::LoadDup128(d8, middle)))};
  }
}

// 587 G + 299 R + 114 B.
template <class Format>
HWY_INLINE DwordVec WeightedSum(const Channels& c) {
  const Dwords d32;
  const hn::RebindToSigned<Dwords> di32;
  const hn::RebindToSigned<Words> di16;
  constexpr int32_t red = 299, green = 587, blue = 114;
  constexpr int32_t outer = Format::kRed == 2 ? red * 65536 + blue : blue * 65536 + red;
  auto sum1 = hn::Zero(di32);
  auto sum0 = hn::ReorderWidenMulAccumulate(
      di32, hn::BitCast(di16, c.outer), hn::BitCast(di16, hn::Set(di32, outer)), hn::Zero(di32), sum1);
  sum0 = hn::ReorderWidenMulAccumulate(di32, hn::BitCast(di16, c.middle),
                                       hn::BitCast(di16, hn::Set(di32, green)), sum0, sum1);
  return hn::BitCast(d32, hn::RearrangeToOddPlusEven(sum0, sum1));
}

// Stores a block whose byte k of dword i belongs to pixel k * kVector + i.
HWY_INLINE void StoreBlock(ByteVec v, uint8_t* dst) {
  const Bytes d8;
  const Dwords d32;
  alignas(16) static constexpr uint8_t transpose[16] = {0, 4, 8,  12, 1, 5, 9,  13,
                                                        2, 6, 10, 14, 3, 7, 11, 15};
  v = hn::TableLookupBytes(v, hn::LoadDup128(d8, transpose));
  if constexpr (kVector > 4) {
    alignas(64) uint32_t order[kVector];
    for (uint32_t i = 0; i < kVector; ++i) order[i] = i % (kVector / 4) * 4 + i / (kVector / 4);
    v = hn::BitCast(d8, hn::TableLookupLanes(hn::BitCast(d32, v), hn::SetTableIndices(d32, order)));
  }
  hn::StoreU(v, d8, dst);
}

// Grey pixels come out as v or v - 1; bit v % 8 of byte v / 8 says which need the latter.
struct GrayBits {
  alignas(16) uint8_t below[32];
};

constexpr GrayBits MakeGrayBits() {
  GrayBits bits = {};
  for (int v = 0; v < 256; ++v)
    if (GrayOf(v, v, v) < v) bits.below[v / 8] = static_cast<uint8_t>(bits.below[v / 8] | 1 << v % 8);
  return bits;
}

HWY_INLINE ByteVec GrayOfGray(ByteVec v) {
  const Bytes d8;
  const hn::RebindToSigned<Bytes> di8;
  const Words d16;
  static constexpr GrayBits bits = MakeGrayBits();
  alignas(16) static constexpr uint8_t powers[16] = {1, 2, 4, 8, 16, 32, 64, 128,
                                                     1, 2, 4, 8, 16, 32, 64, 128};
  const ByteVec index =
      hn::And(hn::BitCast(d8, hn::ShiftRight<3>(hn::BitCast(d16, v))), hn::Set(d8, 15));
  const ByteVec low = hn::TableLookupBytes(hn::LoadDup128(d8, bits.below), index);
  const ByteVec high = hn::TableLookupBytes(hn::LoadDup128(d8, bits.below + 16), index);
  const auto upper = hn::RebindMask(d8, hn::Lt(hn::BitCast(di8, v), hn::Zero(di8)));
  const ByteVec bit = hn::TableLookupBytes(hn::LoadDup128(d8, powers), hn::And(v, hn::Set(d8, 7)));
  return hn::Add(v, hn::VecFromMask(d8, hn::TestBit(hn::IfThenElse(upper, high, low), bit)));
}

// The definition, for the kVector pixels at src.
template <class Format>
HWY_INLINE void GrayInDouble(const uint8_t* src, uint8_t* dst) {
  const Dwords d32;
  const hn::RebindToSigned<Dwords> di32;
  const hn::Half<decltype(di32)> dhalf;
  const hn::Rebind<double, decltype(dhalf)> d64;
  const hn::Rebind<uint8_t, decltype(di32)> d8;
  const Channels c = LoadChannels<Format>(src);
  const auto outer = hn::BitCast(d32, c.outer);
  const auto low = hn::BitCast(di32, hn::And(outer, hn::Set(d32, 0xFF)));
  const auto high = hn::BitCast(di32, hn::ShiftRight<16>(outer));
  const auto g = hn::BitCast(di32, hn::And(hn::BitCast(d32, c.middle), hn::Set(d32, 0xFF)));
  const auto r = Format::kRed == 0 ? low : high, b = Format::kRed == 0 ? high : low;
  const auto of_half = [&](auto gh, auto rh, auto bh) HWY_ATTR {
    const auto green = hn::Mul(hn::PromoteTo(d64, gh), hn::Set(d64, 0.587));
    const auto red = hn::Mul(hn::PromoteTo(d64, rh), hn::Set(d64, 0.299));
    const auto blue = hn::Mul(hn::PromoteTo(d64, bh), hn::Set(d64, 0.114));
    return hn::DemoteTo(dhalf, hn::Add(hn::Add(green, red), blue));
  };
  const auto first = of_half(hn::LowerHalf(dhalf, g), hn::LowerHalf(dhalf, r), hn::LowerHalf(dhalf, b));
  const auto second = of_half(hn::UpperHalf(dhalf, g), hn::UpperHalf(dhalf, r), hn::UpperHalf(dhalf, b));
  hn::StoreU(hn::DemoteTo(d8, hn::Combine(di32, second, first)), d8, dst);
}

// Converts blocks for as long as all their pixels are pure greys; returns how many pixels that were.
// Reads as far past a block as GrayBlock does.
template <class Format>
HWY_NOINLINE size_t PureGrayBlocks(const uint8_t* src, size_t n, uint8_t* dst) {
  const Bytes d8;
  const Dwords d32;
  size_t i = 0;
  for (; i + kBlock + kSlack<Format> <= n; i += kBlock) {
    DwordVec differ = hn::Zero(d32), value[4];
    for (size_t k = 0; k < 4; ++k) {
      const Channels c = LoadChannels<Format>(src + (i + k * kVector) * Format::kBytes);
      const DwordVec outer = hn::BitCast(d32, c.outer);
      differ = hn::Or(differ, hn::Xor(outer, hn::BitCast(d32, c.middle)));
      differ = hn::Or(differ, hn::Xor(outer, hn::ShiftRight<16>(outer)));
      value[k] = hn::And(outer, hn::Set(d32, 0xFF));
    }
    if (!hn::AllTrue(d32, hn::Eq(hn::And(differ, hn::Set(d32, 0xFF)), hn::Zero(d32)))) break;
    const auto bytes = hn::Or(hn::Or(value[0], hn::ShiftLeft<8>(value[1])),
                              hn::Or(hn::ShiftLeft<16>(value[2]), hn::ShiftLeft<24>(value[3])));
    StoreBlock(GrayOfGray(hn::BitCast(d8, bytes)), dst + i);
  }
  return i;
}

// Copies the result of the block in front of src for as long as blocks have its colours; returns how
// many pixels that were. A fourth byte does not count.
template <class Format>
HWY_NOINLINE size_t RepeatedBlocks(const uint8_t* src, size_t n, uint8_t* dst) {
  const Bytes d8;
  constexpr size_t step = kBlock * Format::kBytes;
  const Dwords d32;
  const ByteVec colours = hn::BitCast(d8, hn::Set(d32, Format::kBytes == 4 ? 0x00FFFFFFu : 0xFFFFFFFFu));
  const auto repeats = [&](const uint8_t* block) HWY_ATTR {
    for (size_t at = 0; at < step; at += hn::Lanes(d8)) {
      const ByteVec differ = hn::Xor(hn::LoadU(d8, block + at), hn::LoadU(d8, block - step + at));
      if (!hn::AllTrue(d8, hn::Eq(hn::And(differ, colours), hn::Zero(d8)))) return false;
    }
    return true;
  };
  const ByteVec result = hn::LoadU(d8, dst - kBlock);
  size_t i = 0;
  for (; i + kBlock <= n && repeats(src + i * Format::kBytes); i += kBlock)
    hn::StoreU(result, d8, dst + i);
  return i;
}

// floor(x / 1000) of two vectors, in the lower and upper words of the result, and the rest of that
// division.
HWY_INLINE WordVec Thousandths(DwordVec low, DwordVec high, WordVec thousand, WordVec& rest) {
  const Words d16;
  // x is below 2^18: x / 8 fits 16 bits, and 33555 / 2^22 is near enough to 1/125 for all x up to
  // 255000.
  const WordVec eighth =
      hn::OddEven(hn::BitCast(d16, hn::ShiftLeft<13>(high)), hn::BitCast(d16, hn::ShiftRight<3>(low)));
  const WordVec quotient = hn::ShiftRight<6>(hn::MulHigh(eighth, hn::Set(d16, 33555)));
  // The remainder is below 1000, so 16 bits of x are enough for it.
  const WordVec x = hn::OddEven(hn::BitCast(d16, hn::ShiftLeft<16>(high)), hn::BitCast(d16, low));
  rest = hn::Sub(x, hn::Mul(quotient, thousand));
  return quotient;
}

// Converts the vectors of a block in which some rest is 0 again. Those of vectors 0 and 2 are the lower
// and upper words of `even`, those of 1 and 3 the same of `odd`.
template <class Format>
HWY_NOINLINE void RedoMultiples(const uint8_t* src, WordVec even, WordVec odd, uint8_t* dst) {
  const Words d16;
  const Dwords d32;
  for (size_t k = 0; k < 4; ++k) {
    const auto zero = hn::Eq(k % 2 == 0 ? even : odd, hn::Zero(d16));
    const DwordVec multiple = hn::And(hn::BitCast(d32, hn::VecFromMask(d16, zero)),
                                      hn::Set(d32, k < 2 ? 0xFFFFu : 0xFFFF0000u));
    if (!hn::AllTrue(d32, hn::Eq(multiple, hn::Zero(d32))))
      GrayInDouble<Format>(src + k * kVector * Format::kBytes, dst + k * kVector);
  }
}

// kBlock pixels; whether none of their sums was a multiple of 1000. A 3-byte format reads kVector bytes
// past them.
template <class Format>
HWY_INLINE bool GrayBlock(const uint8_t* src, WordVec thousand, uint8_t* dst) {
  const Bytes d8;
  const Words d16;
  constexpr size_t step = kVector * Format::kBytes;
  DwordVec x[4];
  for (size_t k = 0; k < 4; ++k) x[k] = WeightedSum<Format>(LoadChannels<Format>(src + k * step));
  WordVec even_rest, odd_rest;
  const WordVec even = Thousandths(x[0], x[2], thousand, even_rest);
  const WordVec odd = Thousandths(x[1], x[3], thousand, odd_rest);
  StoreBlock(hn::BitCast(d8, hn::Or(even, hn::ShiftLeft<8>(odd))), dst);
  if (HWY_LIKELY(hn::AllFalse(d16, hn::Eq(hn::Min(even_rest, odd_rest), hn::Zero(d16))))) return true;
  RedoMultiples<Format>(src, even_rest, odd_rest, dst);
  return false;
}

template <class Format>
void Gray(const uint8_t* src, uint8_t* dst, size_t n) {
  // Volatile hides the value: GCC 12 multiplies by a known 1000 with five shifts and additions, where
  // one instruction would do.
  static const volatile uint16_t hidden_thousand = 1000;
  const WordVec thousand = hn::Set(Words(), hidden_thousand);
  // The hardware's own prefetching alone left full-size frames a fifth slower.
  constexpr size_t ahead = 1024;
  size_t i = 0;
  while (i + kBlock + kSlack<Format> <= n) {
    const uint8_t* const pixels = src + i * Format::kBytes;
    for (size_t line = 0; line < kBlock * Format::kBytes; line += 64)
      hwy::Prefetch(pixels + ahead + line);
    const bool quick = GrayBlock<Format>(pixels, thousand, dst + i);
    i += kBlock;
    if (HWY_LIKELY(quick)) continue;
    // One pixel tells most other pictures from the two kinds.
    if (i < n && std::memcmp(pixels, src + i * Format::kBytes, 3) == 0)
      i += RepeatedBlocks<Format>(src + i * Format::kBytes, n - i, dst + i);
    if (pixels[0] == pixels[1] && pixels[1] == pixels[2])
      i += PureGrayBlocks<Format>(src + i * Format::kBytes, n - i, dst + i);
  }
  while (i < n) {
    uint8_t in[(kBlock + kSlack<Format>)*Format::kBytes] = {}, out[kBlock];
    const size_t count = std::min(n - i, kBlock);
    std::memcpy(in, src + i * Format::kBytes, count * Format::kBytes);
    GrayBlock<Format>(in, thousand, out);
    std::memcpy(dst + i, out, count);
    i += count;
  }
}
#else
template <class Format>
void Gray(const uint8_t* src, uint8_t* dst, size_t n) {
  for (size_t i = 0; i < n; ++i, src += Format::kBytes)
    dst[i] = static_cast<uint8_t>(GrayOf(src[Format::kRed], src[1], src[2 - Format::kRed]));
}
#endif

void GrayOfBgra(const uint8_t* src, uint8_t* dst, size_t n) { Gray<BgraOrder>(src, dst, n); }
void GrayOfRgba(const uint8_t* src, uint8_t* dst, size_t n) { Gray<RgbaOrder>(src, dst, n); }
void GrayOfRgb(const uint8_t* src, uint8_t* dst, size_t n) { Gray<RgbOrder>(src, dst, n); }

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace TarnCPU
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace TarnCPU {
namespace {

HWY_EXPORT(GrayOfBgra);
HWY_EXPORT(GrayOfRgba);
HWY_EXPORT(GrayOfRgb);

}  // namespace

void getGray_from_BGRA_HWC(const unsigned char* src, unsigned char* dst, int n) {
  if (n > 0) HWY_DYNAMIC_DISPATCH(GrayOfBgra)(src, dst, static_cast<std::size_t>(n));
}

void getGray_from_RGBA_HWC(const unsigned char* src, unsigned char* dst, int n) {
  if (n > 0) HWY_DYNAMIC_DISPATCH(GrayOfRgba)(src, dst, static_cast<std::size_t>(n));
}

void getGray_from_RGB_HWC(const unsigned char* src, unsigned char* dst, int n) {
  if (n > 0) HWY_DYNAMIC_DISPATCH(GrayOfRgb)(src, dst, static_cast<std::size_t>(n));
}

}  // namespace TarnCPU
#endif  // HWY_ONCE
