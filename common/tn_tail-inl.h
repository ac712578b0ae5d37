// Counts that are no multiple of a vector: steps that overlap, and vectors stored in part. To be
// included in a file that is compiled again for every CPU target.
#if defined(TN_KITS_COMMON_TN_TAIL_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef TN_KITS_COMMON_TN_TAIL_INL_H_
#undef TN_KITS_COMMON_TN_TAIL_INL_H_
#else
#define TN_KITS_COMMON_TN_TAIL_INL_H_
#endif

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "hwy/highway.h"

// TN_INLINE_LAMBDA stands between parameters and body of the lambdas that the functions below take.
// HWY_ATTR compiles them for the current target, as lambdas do not inherit that; without the other
// attribute a large one becomes a call, which loads its constants anew for every vector.
#undef TN_INLINE_LAMBDA
#if HWY_COMPILER_MSVC
#define TN_INLINE_LAMBDA
#else
#define TN_INLINE_LAMBDA HWY_ATTR __attribute__((always_inline))
#endif

HWY_BEFORE_NAMESPACE();
namespace TarnCPU::HWY_NAMESPACE {
namespace {
namespace hn = hwy::HWY_NAMESPACE;

// Calls step(i) so that steps of `size` elements cover [0, count), from 0, `second`, `second` + size ...
// on; `second` is at most `size`. The last one ends at `count`, so input and output must be apart:
// elements where steps overlap are done twice. count: at least `size`.
template <class Step>
HWY_INLINE void ForEachStep(std::size_t count, std::size_t size, std::size_t second, const Step& step) {
  for (std::size_t i = 0, next = second; i < count; i = next, next += size)
    step(HWY_MIN(i, count - size));
}

template <class Step>
HWY_INLINE void ForEachStep(std::size_t count, std::size_t size, const Step& step) {
  ForEachStep(count, size, size, step);
}

// As ForEachStep. All steps but the first and the last begin where `to`, the address of element 0, is
// aligned to a whole step: stores that cross cache lines are slower.
template <class T, class Step>
HWY_INLINE void ForEachAlignedStep(const T* to, std::size_t count, std::size_t size, const Step& step) {
  const std::size_t ahead = reinterpret_cast<std::uintptr_t>(to) / sizeof(T) % size;
  ForEachStep(count, size, size - ahead, step);
}

// Calls at(d, i) for every vector of [0, count), with one-lane vectors where there is not a whole one.
// The last vector may repeat elements, as with ForEachStep.
template <class D, class At>
HWY_INLINE void ForEachVector(D d, std::size_t count, const At& at) {
  if (count >= hn::Lanes(d))
    return ForEachStep(count, hn::Lanes(d), [&](std::size_t i) TN_INLINE_LAMBDA { at(d, i); });
  for (std::size_t i = 0; i < count; ++i) at(hn::CappedTag<hn::TFromD<D>, 1>(), i);
}

// Stores the first `count` lanes and touches nothing behind them. Through memory: below AVX-512 a masked
// store of bytes touches the whole vector.
template <class D>
HWY_INLINE void StoreFirst(hn::Vec<D> v, D d, std::size_t count, hn::TFromD<D>* to) {
  HWY_ALIGN hn::TFromD<D> lanes[hn::MaxLanes(D())];
  hn::Store(v, d, lanes);
  std::memcpy(to, lanes, count * sizeof(hn::TFromD<D>));
}

}  // namespace
}  // namespace TarnCPU::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif  // per-target include guard
