// Packed samples taken apart by vectors.
#include "tarnkit/src/preprocess/tn_split.h"

#include <algorithm>
#include <cstring>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "tarnkit/src/preprocess/tn_split.cpp"
#include "hwy/foreach_target.h"  // compiles this file again for every CPU target

#include "hwy/highway.h"

HWY_BEFORE_NAMESPACE();
namespace Tarn::preprocess::HWY_NAMESPACE {
namespace {
namespace hn = hwy::HWY_NAMESPACE;

using D8 = hn::ScalableTag<std::uint8_t>;
using D16 = hn::ScalableTag<std::uint16_t>;

// Calls step(i) for whole vectors of [0, n). Returns where the rest begins. The last step may overlap
// the one before, so that nothing is read behind the source.
template <class Step>
[[maybe_unused]] HWY_INLINE std::size_t ForWhole(std::size_t n, std::size_t lanes, const Step& step) {
  if (n < lanes) return 0;
  for (std::size_t i = 0; i < n; i += lanes) step(std::min(i, n - lanes));
  return n;
}

void SplitPairs(const std::uint8_t* src, std::size_t n, std::uint8_t* first, std::uint8_t* second) {
  std::size_t i = 0;
#if HWY_TARGET != HWY_SCALAR
  const D8 d;
  i = ForWhole(n, hn::Lanes(d), [&](std::size_t k) HWY_ATTR {
    hn::Vec<D8> a, b;
    hn::LoadInterleaved2(d, src + 2 * k, a, b);
    hn::StoreU(a, d, first + k);
    hn::StoreU(b, d, second + k);
  });
#endif
  for (; i < n; ++i) {
    first[i] = src[2 * i];
    second[i] = src[2 * i + 1];
  }
}

template <int kBytes>
void SplitPixels(const std::uint8_t* src, std::size_t n, std::uint8_t* const out[3]) {
  std::uint8_t *const a = out[0], *const b = out[1], *const c = out[2];
  std::size_t i = 0;
#if HWY_TARGET != HWY_SCALAR
  const D8 d;
  i = ForWhole(n, hn::Lanes(d), [&](std::size_t k) HWY_ATTR {
    hn::Vec<D8> va, vb, vc;
    if constexpr (kBytes == 3) {
      hn::LoadInterleaved3(d, src + 3 * k, va, vb, vc);
    } else {
      hn::Vec<D8> unused;
      hn::LoadInterleaved4(d, src + 4 * k, va, vb, vc, unused);
    }
    hn::StoreU(va, d, a + k);
    hn::StoreU(vb, d, b + k);
    hn::StoreU(vc, d, c + k);
  });
#endif
  for (; i < n; ++i) {
    a[i] = src[kBytes * i];
    b[i] = src[kBytes * i + 1];
    c[i] = src[kBytes * i + 2];
  }
}

#if HWY_TARGET != HWY_SCALAR
// Vectors of words, loaded and stored as bytes: rows lie at any address.
HWY_INLINE hn::Vec<D16> LoadWords(const std::uint8_t* src) {
  return hn::BitCast(D16(), hn::LoadU(D8(), src));
}
HWY_INLINE void StoreWords(hn::Vec<D16> v, std::uint8_t* dst) {
  hn::StoreU(hn::BitCast(D8(), v), D8(), dst);
}
#endif

inline std::uint16_t wordAt(const std::uint8_t* src, std::size_t i) {
  std::uint16_t word;
  std::memcpy(&word, src + 2 * i, sizeof word);
  return word;
}
inline void putWord(unsigned word, std::uint8_t* dst, std::size_t i) {
  const std::uint16_t narrow = static_cast<std::uint16_t>(word);
  std::memcpy(dst + 2 * i, &narrow, sizeof narrow);
}

void ShiftWords(const std::uint8_t* src, std::size_t n, int shift, std::uint8_t* dst) {
  std::size_t i = 0;
#if HWY_TARGET != HWY_SCALAR
  i = ForWhole(n, hn::Lanes(D16()), [&](std::size_t k) HWY_ATTR {
    StoreWords(hn::ShiftRightSame(LoadWords(src + 2 * k), shift), dst + 2 * k);
  });
#endif
  for (; i < n; ++i) putWord(static_cast<unsigned>(wordAt(src, i)) >> shift, dst, i);
}

void SplitWordPairs(const std::uint8_t* src, std::size_t n, int shift, std::uint8_t* first,
                    std::uint8_t* second) {
  std::size_t i = 0;
#if HWY_TARGET != HWY_SCALAR
  const D16 d;
  i = ForWhole(n, hn::Lanes(d), [&](std::size_t k) HWY_ATTR {
    const auto low = LoadWords(src + 4 * k), high = LoadWords(src + 4 * k + 2 * hn::Lanes(d));
    StoreWords(hn::ShiftRightSame(hn::ConcatEven(d, high, low), shift), first + 2 * k);
    StoreWords(hn::ShiftRightSame(hn::ConcatOdd(d, high, low), shift), second + 2 * k);
  });
#endif
  for (; i < n; ++i) {
    putWord(static_cast<unsigned>(wordAt(src, 2 * i)) >> shift, first, i);
    putWord(static_cast<unsigned>(wordAt(src, 2 * i + 1)) >> shift, second, i);
  }
}

void SplitThree(const std::uint8_t* src, std::size_t n, std::uint8_t* const out[3]) {
  SplitPixels<3>(src, n, out);
}
void SplitFour(const std::uint8_t* src, std::size_t n, std::uint8_t* const out[3]) {
  SplitPixels<4>(src, n, out);
}

}  // namespace
}  // namespace Tarn::preprocess::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace Tarn::preprocess {
namespace {

HWY_EXPORT(SplitPairs);
HWY_EXPORT(SplitThree);
HWY_EXPORT(SplitFour);
HWY_EXPORT(ShiftWords);
HWY_EXPORT(SplitWordPairs);

template <std::size_t kUnit>
struct Unit {
  std::uint8_t bytes[kUnit];
};

template <std::size_t kUnit>
void swapUnits(const std::uint8_t* const* rows, std::size_t count, std::size_t columns,
               std::uint8_t* dst, std::size_t dst_pitch) {
  for (std::size_t x = 0; x < columns; ++x) {
    std::uint8_t* const to = dst + x * dst_pitch;
    for (std::size_t k = 0; k < count; ++k) std::memcpy(to + kUnit * k, rows[k] + kUnit * x, kUnit);
  }
}

}  // namespace

void splitPairs(const std::uint8_t* src, std::size_t n, std::uint8_t* first, std::uint8_t* second) {
  HWY_DYNAMIC_DISPATCH(SplitPairs)(src, n, first, second);
}

void splitPixels(const std::uint8_t* src, int pixel_bytes, std::size_t n, std::uint8_t* const out[3]) {
  if (pixel_bytes == 3)
    HWY_DYNAMIC_DISPATCH(SplitThree)(src, n, out);
  else
    HWY_DYNAMIC_DISPATCH(SplitFour)(src, n, out);
}

void shiftWords(const std::uint8_t* src, std::size_t n, int shift, std::uint8_t* dst) {
  HWY_DYNAMIC_DISPATCH(ShiftWords)(src, n, shift, dst);
}

void splitWordPairs(const std::uint8_t* src, std::size_t n, int shift, std::uint8_t* first,
                    std::uint8_t* second) {
  HWY_DYNAMIC_DISPATCH(SplitWordPairs)(src, n, shift, first, second);
}

void reverseUnits(std::uint8_t* row, std::size_t n, std::size_t unit) {
  if (unit == 1) return std::reverse(row, row + n);
  Unit<2>* const units = reinterpret_cast<Unit<2>*>(row);
  std::reverse(units, units + n);
}

void swapAxes(const std::uint8_t* const* rows, std::size_t count, std::size_t columns, std::size_t unit,
              std::uint8_t* dst, std::size_t dst_pitch) {
  (unit == 1 ? swapUnits<1> : swapUnits<2>)(rows, count, columns, dst, dst_pitch);
}

}  // namespace Tarn::preprocess
#endif  // HWY_ONCE
