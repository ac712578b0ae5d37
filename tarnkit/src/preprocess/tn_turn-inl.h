// Rows turned into columns. To be included in a file that is compiled again for every CPU
// target.
#if defined(TN_KITS_PREPROCESS_TN_TURN_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef TN_KITS_PREPROCESS_TN_TURN_INL_H_
#undef TN_KITS_PREPROCESS_TN_TURN_INL_H_
#else
#define TN_KITS_PREPROCESS_TN_TURN_INL_H_
#endif

#include <cstddef>
#include <cstdint>

#include "hwy/highway.h"

HWY_BEFORE_NAMESPACE();
namespace Tarn::preprocess::HWY_NAMESPACE {
namespace {
namespace hn = hwy::HWY_NAMESPACE;

// Rows are turned in multiples of so many.
constexpr std::size_t kTurned = 16;

#if HWY_TARGET != HWY_SCALAR
// A square of as many rows as a 16-byte vector has elements. Each stage interleaves the rows of the
// upper half with those of the lower one, which moves one bit of the row number into the column number.
template <class T>
HWY_INLINE void TurnSquare(const T* src, std::size_t src_pitch, T* dst, std::size_t pitch) {
  const hn::Full128<T> d;
  constexpr std::size_t kSide = 16 / sizeof(T);
  hn::Vec<hn::Full128<T>> rows[kSide], next[kSide];
  for (std::size_t k = 0; k < kSide; ++k) rows[k] = hn::LoadU(d, src + k * src_pitch);
  for (std::size_t stage = 1; stage < kSide; stage *= 2) {
    for (std::size_t k = 0; k < kSide / 2; ++k) {
      next[2 * k] = hn::InterleaveLower(d, rows[k], rows[k + kSide / 2]);
      next[2 * k + 1] = hn::InterleaveUpper(d, rows[k], rows[k + kSide / 2]);
    }
    for (std::size_t k = 0; k < kSide; ++k) rows[k] = next[k];
  }
  for (std::size_t k = 0; k < kSide; ++k) hn::StoreU(rows[k], d, dst + k * pitch);
}
#endif

// Element i of row k, of `rows` rows `src_pitch` elements apart, goes to dst[i * pitch + k].
template <class T>
void TurnRows(const T* src, std::size_t src_pitch, std::size_t rows, std::size_t columns, T* dst,
              std::size_t pitch) {
  std::size_t i = 0;
#if HWY_TARGET != HWY_SCALAR
  constexpr std::size_t kSide = 16 / sizeof(T);
  for (; i < columns / kSide * kSide; i += kSide)
    for (std::size_t k = 0; k < rows; k += kSide)
      TurnSquare(src + k * src_pitch + i, src_pitch, dst + i * pitch + k, pitch);
#endif
  for (; i < columns; ++i)
    for (std::size_t k = 0; k < rows; ++k) dst[i * pitch + k] = src[k * src_pitch + i];
}

}  // namespace
}  // namespace Tarn::preprocess::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif  // per-target include guard
