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
#if HWY_ARCH_X86 && HWY_TARGET <= HWY_SSSE3
HWY_BEFORE_NAMESPACE();
namespace TarnCPU::HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

// Sums of the products of neighbouring bytes, of which those of `b` are signed; they saturate.
HWY_INLINE hn::Vec128<std::int16_t> MulAddBytes(hn::Vec128<std::uint8_t> a, hn::Vec128<std::uint8_t> b) {
  return {_mm_maddubs_epi16(a.raw, b.raw)};
}

#if HWY_TARGET <= HWY_AVX2
HWY_INLINE hn::Vec256<std::int16_t> MulAddBytes(hn::Vec256<std::uint8_t> a, hn::Vec256<std::uint8_t> b) {
  return {_mm256_maddubs_epi16(a.raw, b.raw)};
}

// Half floats, rounded to nearest, ties to even, subnormals kept, whatever the processor's modes.
// Highway's own conversion flushes or rounds otherwise on some targets.
HWY_INLINE hn::Vec128<std::uint16_t> HalfBits(hn::Vec256<float> v) {
  return {_mm256_cvtps_ph(v.raw, _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC)};
}

#if HWY_TARGET <= HWY_AVX3
HWY_INLINE hn::Vec512<std::int16_t> MulAddBytes(hn::Vec512<std::uint8_t> a, hn::Vec512<std::uint8_t> b) {
  return {_mm512_maddubs_epi16(a.raw, b.raw)};
}

HWY_INLINE hn::Vec256<std::uint16_t> HalfBits(hn::Vec512<float> v) {
  return {_mm512_cvtps_ph(v.raw, _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC)};
}

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
#endif
#endif

}  // namespace
}  // namespace TarnCPU::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();
#endif

// The same function where processors do not have it, on the oldest target of newer versions of Highway.
#if HWY_ARCH_X86 && HWY_TARGET > HWY_SSSE3 && HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128
HWY_BEFORE_NAMESPACE();
namespace TarnCPU::HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

HWY_INLINE hn::Vec128<std::int16_t> MulAddBytes(hn::Vec128<std::uint8_t> a, hn::Vec128<std::uint8_t> b) {
  const hn::Full128<std::int16_t> d;
  const auto a16 = hn::BitCast(d, a), b16 = hn::BitCast(d, b);
  const auto even = hn::Mul(hn::And(a16, hn::Set(d, 0xFF)), hn::ShiftRight<8>(hn::ShiftLeft<8>(b16)));
  const auto odd_a = hn::And(hn::ShiftRight<8>(a16), hn::Set(d, 0xFF));
  return hn::SaturatedAdd(even, hn::Mul(odd_a, hn::ShiftRight<8>(b16)));
}

}  // namespace
}  // namespace TarnCPU::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();
#endif

// A function for processors that TN_FOUR_PRODUCTS is true on (those since Ice Lake), to be called
// between TN_BEFORE_FOUR_PRODUCTS and TN_AFTER_FOUR_PRODUCTS alone. Highway's own target for them allows
// compilers instructions that the first of them lack, and its question takes tens of microseconds where
// a hypervisor answers it.
#undef TN_FOUR_PRODUCTS
#if HWY_ARCH_X86 && HWY_TARGET <= HWY_AVX3
#if HWY_COMPILER_MSVC || HWY_COMPILER_CLANGCL
#define TN_FOUR_PRODUCTS false
#else
#define TN_FOUR_PRODUCTS (__builtin_cpu_supports("avx512vnni") != 0)
#endif
#undef TN_BEFORE_FOUR_PRODUCTS
#undef TN_AFTER_FOUR_PRODUCTS
#define TN_BEFORE_FOUR_PRODUCTS HWY_PUSH_ATTRIBUTES(HWY_TARGET_STR ",avx512vnni")
#define TN_AFTER_FOUR_PRODUCTS HWY_POP_ATTRIBUTES
TN_BEFORE_FOUR_PRODUCTS
namespace TarnCPU::HWY_NAMESPACE {
namespace {

// Adds to each lane the four products of its bytes, of which those of `b` are signed.
HWY_INLINE hn::Vec512<std::int32_t> AddFourProducts(hn::Vec512<std::int32_t> sum,
                                                    hn::Vec512<std::uint8_t> a,
                                                    hn::Vec512<std::uint8_t> b) {
  return {_mm512_dpbusd_epi32(sum.raw, a.raw, b.raw)};
}

}  // namespace
}  // namespace TarnCPU::HWY_NAMESPACE
TN_AFTER_FOUR_PRODUCTS
#else
#define TN_FOUR_PRODUCTS false
#endif

#endif  // per-target include guard
