// The operations that Highway lacks, each a function in its style: the only file with vector
// intrinsics. To be included in a file that is compiled again for every CPU target.
#if defined(TN_KITS_COMMON_TN_INTRINSICS_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef TN_KITS_COMMON_TN_INTRINSICS_INL_H_
#undef TN_KITS_COMMON_TN_INTRINSICS_INL_H_
#else
#define TN_KITS_COMMON_TN_INTRINSICS_INL_H_
#endif

#include <cstdint>

#include "hwy/highway.h"

// Other targets have nothing here, not even a region of attributes, which clang warns of when it is
// empty.
#if HWY_TARGET <= HWY_AVX3
HWY_BEFORE_NAMESPACE();
namespace TarnCPU::HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

// Lane i of the result is lane index[i] % 32 of `a` followed by `b`: one instruction, for which Highway
// would need two TableLookupLanes and a selection.
HWY_INLINE hn::Vec512<float> LookupLanesOfTwo(hn::Vec512<float> a, hn::Vec512<float> b,
                                              hn::Vec512<std::int32_t> index) {
  return {_mm512_permutex2var_ps(a.raw, index.raw, b.raw)};
}

// One of the four 16-byte blocks. Highway reaches the upper ones by halves of halves, and the compiler
// keeps both steps.
template <int kBlock>
HWY_INLINE hn::Vec128<float> BlockOf(hn::Vec512<float> v) {
  return {_mm512_extractf32x4_ps(v.raw, kBlock)};
}

// Stores the first `count` lanes and touches nothing behind them. Highway's BlendedStore takes a mask of
// AVX-512, and compilers join that store to the extraction of a block: one instruction, which faults
// where masked bytes are not writable.
HWY_INLINE void StoreFirstOfFour(hn::Vec128<float> v, int count, float* to) {
  _mm_maskstore_ps(to, _mm_cmpgt_epi32(_mm_set1_epi32(count), _mm_setr_epi32(0, 1, 2, 3)), v.raw);
}

}  // namespace
}  // namespace TarnCPU::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();
#endif

#endif  // per-target include guard
