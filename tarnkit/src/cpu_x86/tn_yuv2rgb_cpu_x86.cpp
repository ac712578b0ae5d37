// YUV 4:2:0 to packed RGB, in integers whose results wrap.

#include "tarnkit/src/cpu_x86/tn_yuv2rgb_cpu_x86.h"

#include <cstddef>
#include <cstdint>

#include "tn_cv.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "tarnkit/src/cpu_x86/tn_yuv2rgb_cpu_x86.cpp"
#include "hwy/foreach_target.h"  // compiles this file again for every CPU target
// After foreach_target.h, so that each target includes them again.
#include "common/tn_blocks-inl.h"
#include "common/tn_tail-inl.h"
#include "hwy/highway.h"

HWY_BEFORE_NAMESPACE();
namespace TarnCPU::HWY_NAMESPACE {
namespace {

// The documented formula is (64 Y + c) >> 6 where c depends only on chroma. 64 Y has no bits below the
// shift, so this is Y + (c >> 6), and only its low 8 bits are kept: the chroma part can be reduced to a
// byte per colour beforehand and each pixel costs one wrapping byte addition per colour.
struct PairTerms {
  uint8_t r, g, b;
};

inline PairTerms TermsOf(int u, int v) {
  const int d = u - 128, e = v - 128;
  return {static_cast<uint8_t>((90 * e) >> 6), static_cast<uint8_t>((-22 * d - 46 * e) >> 6),
          static_cast<uint8_t>((113 * d) >> 6)};
}

inline void StorePixel(uint8_t y, const PairTerms& c, uint8_t* dst) {
  dst[0] = static_cast<uint8_t>(y + c.r);
  dst[1] = static_cast<uint8_t>(y + c.g);
  dst[2] = static_cast<uint8_t>(y + c.b);
}

#if TN_BLOCKS
namespace hn = hwy::HWY_NAMESPACE;

// Vectors of 32 bytes at most: those of 64 measured no faster, and need more shuffles before the stores.
using Bytes = hn::CappedTag<uint8_t, 32>;
using Words = hn::RepartitionToWide<Bytes>;
using ByteVec = hn::Vec<Bytes>;
using WordVec = hn::Vec<Words>;

// Sixteen pixels make three blocks of sixteen output bytes. Output byte o belongs to pixel o / 3, and
// these say where each block finds its bytes: luma at the pixel, the chroma terms at the pixel's pair.
// An index with its top bit set gives 0.
struct BlockTables {
  alignas(16) uint8_t luma[48];
  alignas(16) uint8_t red_green[48];
  alignas(16) uint8_t blue[48];
};

constexpr BlockTables MakeBlockTables() {
  BlockTables t = {};
  for (int o = 0; o < 48; ++o) {
    const int pixel = o / 3, colour = o % 3, pair = pixel / 2 * 2;
    t.luma[o] = static_cast<uint8_t>(pixel);
    t.red_green[o] = static_cast<uint8_t>(colour == 2 ? 0x80 : pair + colour);
    t.blue[o] = static_cast<uint8_t>(colour == 2 ? pair : 0x80);
  }
  return t;
}

// What the pairs of one vector add to luma: bytes (red, green) and (blue, -) of each pair.
struct VectorTerms {
  ByteVec red_green, blue;
};

// u and v: chroma samples in the upper bytes of their lanes.
HWY_INLINE VectorTerms TermsOf(WordVec u, WordVec v) {
  const Bytes d8;
  const Words d16;
  const hn::RebindToSigned<Words> di16;
  // Flipping the top bit leaves 256 * d and 256 * e, and the upper half of a product with 256 * k / 64
  // is (k * d) >> 6. Green is a sum, whose terms must not be shifted one by one: 256 * k keeps them
  // whole.
  const auto half = hn::Set(d16, 0x8000);
  const auto d = hn::BitCast(di16, hn::Xor(u, half)), e = hn::BitCast(di16, hn::Xor(v, half));
  const auto red = hn::MulHigh(e, hn::Set(di16, 90 * 4));
  const auto green =
      hn::Add(hn::MulHigh(d, hn::Set(di16, -22 * 256)), hn::MulHigh(e, hn::Set(di16, -46 * 256)));
  const auto blue = hn::MulHigh(d, hn::Set(di16, 113 * 4));
  // Bits 6 to 13 of the green sum go to the upper byte.
  const auto green_high = hn::BitCast(d8, hn::ShiftLeft<2>(hn::BitCast(d16, green)));
  return {hn::OddEven(green_high, hn::BitCast(d8, red)), hn::BitCast(d8, blue)};
}

template <int kBlock>
HWY_INLINE ByteVec BlockOf(const BlockTables& t, ByteVec y, const VectorTerms& c) {
  const Bytes d8;
  const auto luma = hn::TableLookupBytes(y, hn::LoadDup128(d8, t.luma + 16 * kBlock));
  const auto red_green =
      hn::TableLookupBytesOr0(c.red_green, hn::LoadDup128(d8, t.red_green + 16 * kBlock));
  const auto blue = hn::TableLookupBytesOr0(c.blue, hn::LoadDup128(d8, t.blue + 16 * kBlock));
  return hn::Add(luma, hn::Or(red_green, blue));
}

// Each argument holds one of the three blocks of every sixteen pixels; in memory the three of the
// first sixteen come first.
template <class D>
HWY_INLINE void StoreBlocks(D d, hn::Vec<D> first, hn::Vec<D> second, hn::Vec<D> third, uint8_t* dst) {
  if constexpr (hn::MaxLanes(d) == 16) {
    hn::StoreU(first, d, dst);
    hn::StoreU(second, d, dst + 16);
    hn::StoreU(third, d, dst + 32);
  } else {
    static_assert(hn::MaxLanes(d) == 32, "two blocks a vector");
    hn::StoreU(hn::ConcatLowerLower(d, second, first), d, dst);
    hn::StoreU(hn::ConcatUpperLower(d, first, third), d, dst + 32);
    hn::StoreU(hn::ConcatUpperUpper(d, third, second), d, dst + 64);
  }
}

HWY_INLINE void StorePixels(const BlockTables& t, const uint8_t* y, const VectorTerms& c, uint8_t* dst) {
  const Bytes d8;
  const ByteVec luma = hn::LoadU(d8, y);
  StoreBlocks(d8, BlockOf<0>(t, luma, c), BlockOf<1>(t, luma, c), BlockOf<2>(t, luma, c), dst);
}
#endif

// Pixel p takes luma byte p and chroma pair p / 2. U is byte kU of the pair.
template <int kU>
void SemiPlanarRun(const uint8_t* y, const uint8_t* chroma, size_t count, uint8_t* dst) {
  size_t p = 0;
#if TN_BLOCKS
  static constexpr BlockTables tables = MakeBlockTables();
  const Bytes d8;
  const Words d16;
  const size_t lanes = hn::Lanes(d8);
  const size_t paired = count & ~size_t{1};
  if (paired >= lanes) {
    ForEachStep(paired, lanes, [&](size_t i) TN_INLINE_LAMBDA {
      const WordVec pairs = hn::BitCast(d16, hn::LoadU(d8, chroma + i));
      const WordVec first = hn::ShiftLeft<8>(pairs), second = hn::And(pairs, hn::Set(d16, 0xFF00));
      StorePixels(tables, y + i, kU == 0 ? TermsOf(first, second) : TermsOf(second, first), dst + 3 * i);
    });
    p = paired;
  }
#endif
  for (; p < count; p += 2) {
    const uint8_t* const pair = chroma + p;
    const PairTerms c = TermsOf(pair[kU], pair[1 - kU]);
    StorePixel(y[p], c, dst + 3 * p);
    if (p + 1 < count) StorePixel(y[p + 1], c, dst + 3 * p + 3);
  }
}

using Tarn::ChromaOrder;

void SemiPlanarImage(const uint8_t* y, const uint8_t* chroma, size_t count, ChromaOrder order,
                     uint8_t* dst) {
  (order == ChromaOrder::kVFirst ? SemiPlanarRun<1> : SemiPlanarRun<0>)(y, chroma, count, dst);
}

// The exported semi-planar conversion, which writes past the image. It is defined as passes of 3 * w
// pixels that begin 2 * w pixels apart. Each pass overwrites the last w pixels of the one before with
// other chroma, so the result is one continuous run, followed by the last w pixels of the last pass.
void SemiPlanarPasses(const uint8_t* src, size_t w, size_t h, ChromaOrder order, uint8_t* dst) {
  const uint8_t* const chroma = src + w * h;
  const size_t end = (h + 1) / 2 * 2 * w;
  SemiPlanarImage(src, chroma, end, order, dst);

  // These w pixels from `end` on take the chroma of the row above. With odd w they begin at the second
  // pixel of a pair.
  size_t p = end;
  if (w % 2 != 0) {
    const uint8_t* const pair = chroma + (p - w - 1);
    const bool v_first = order == ChromaOrder::kVFirst;
    StorePixel(src[p], TermsOf(pair[v_first ? 1 : 0], pair[v_first ? 0 : 1]), dst + 3 * p);
    ++p;
  }
  SemiPlanarImage(src + p, chroma + (p - w), end + w - p, order, dst + 3 * p);
}

// One row of chroma and the `kRows` rows of luma that share it, `pairs` pixel pairs each.
template <int kRows>
void PlanarRows(const uint8_t* y, const uint8_t* u, const uint8_t* v, size_t w, uint8_t* dst) {
  const size_t pairs = w / 2;
  size_t i = 0;
#if TN_BLOCKS
  static constexpr BlockTables tables = MakeBlockTables();
  const Words d16;
  const hn::Rebind<uint8_t, Words> dhalf;
  const size_t lanes = hn::Lanes(d16);
  if (pairs >= lanes) {
    ForEachStep(pairs, lanes, [&](size_t k) TN_INLINE_LAMBDA {
      const VectorTerms c = TermsOf(hn::ShiftLeft<8>(hn::PromoteTo(d16, hn::LoadU(dhalf, u + k))),
                                    hn::ShiftLeft<8>(hn::PromoteTo(d16, hn::LoadU(dhalf, v + k))));
      StorePixels(tables, y + 2 * k, c, dst + 6 * k);
      if constexpr (kRows == 2) StorePixels(tables, y + w + 2 * k, c, dst + 3 * w + 6 * k);
    });
    i = pairs;
  }
#endif
  for (; i < pairs; ++i) {
    const PairTerms c = TermsOf(u[i], v[i]);
    for (size_t row = 0; row < kRows; ++row)
      for (size_t x = 2 * i; x < 2 * i + 2; ++x) StorePixel(y[row * w + x], c, dst + 3 * (row * w + x));
  }
}

// `h` rows, in pairs; the last of an odd number has no partner.
void PlanarImage(const uint8_t* y, const uint8_t* u, const uint8_t* v, size_t w, size_t h,
                 uint8_t* dst) {
  size_t row = 0;
  for (; row + 2 <= h; row += 2) {
    PlanarRows<2>(y, u, v, w, dst);
    y += 2 * w;
    dst += 6 * w;
    u += w / 2;
    v += w / 2;
  }
  if (row < h) PlanarRows<1>(y, u, v, w, dst);
}

}  // namespace
}  // namespace TarnCPU::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace TarnCPU {
namespace {

HWY_EXPORT(SemiPlanarImage);
HWY_EXPORT(SemiPlanarPasses);
HWY_EXPORT(PlanarImage);

}  // namespace

void semiPlanarImageToRgb(const std::uint8_t* y, const std::uint8_t* chroma, int w, int h,
                          Tarn::ChromaOrder order, std::uint8_t* dst) {
  if (w < 1 || h < 1) return;
  const std::size_t count = static_cast<std::size_t>(w) * static_cast<std::size_t>(h);
  HWY_DYNAMIC_DISPATCH(SemiPlanarImage)(y, chroma, count, order, dst);
}

void planarImageToRgb(const std::uint8_t* y, const std::uint8_t* u, const std::uint8_t* v, int w, int h,
                      std::uint8_t* dst) {
  if (w < 1 || h < 1) return;
  HWY_DYNAMIC_DISPATCH(PlanarImage)
  (y, u, v, static_cast<std::size_t>(w), static_cast<std::size_t>(h), dst);
}

void TN_CV::nv12_to_rgb_fast_asm(const unsigned char* src, int w, int h, unsigned char* dst) {
  if (w < 1 || h < 1) return;
  HWY_DYNAMIC_DISPATCH(SemiPlanarPasses)
  (src, static_cast<std::size_t>(w), static_cast<std::size_t>(h), Tarn::ChromaOrder::kUFirst, dst);
}

void TN_CV::yuv420sp_to_rgb_fast_asm(const unsigned char* src, int w, int h, unsigned char* dst) {
  if (w < 1 || h < 1) return;
  HWY_DYNAMIC_DISPATCH(SemiPlanarPasses)
  (src, static_cast<std::size_t>(w), static_cast<std::size_t>(h), Tarn::ChromaOrder::kVFirst, dst);
}

void TN_CV::yuv420f_to_rgb(const unsigned char* src, int w, int h, unsigned char* dst) {
  if (w < 1 || h < 1) return;
  const std::size_t width = static_cast<std::size_t>(w), height = static_cast<std::size_t>(h);
  const std::size_t luma = width * height;
  const unsigned char* const u = src + luma;
  // By contract an odd last row brings another row with it, below the image.
  HWY_DYNAMIC_DISPATCH(PlanarImage)(src, u, u + luma / 4, width, (height + 1) / 2 * 2, dst);
}

}  // namespace TarnCPU
#endif  // HWY_ONCE
