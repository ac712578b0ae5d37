// One value to one element: the arithmetic of normalisation and of the narrow types. To be included in a
// file that is compiled again for every CPU target.
#if defined(TN_KITS_PREPROCESS_TN_ELEMENTS_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef TN_KITS_PREPROCESS_TN_ELEMENTS_INL_H_
#undef TN_KITS_PREPROCESS_TN_ELEMENTS_INL_H_
#else
#define TN_KITS_PREPROCESS_TN_ELEMENTS_INL_H_
#endif

#include <cstddef>
#include <cstdint>

#include "common/tn_intrinsics-inl.h"
#include "hwy/highway.h"
#include "tarnkit/src/preprocess/tn_tensorwriter.h"

HWY_BEFORE_NAMESPACE();
namespace Tarn::preprocess::HWY_NAMESPACE {
namespace {
namespace hn = hwy::HWY_NAMESPACE;
using DF = hn::ScalableTag<float>;
using VF = hn::Vec<DF>;

// The correctly rounded quotient. With the rounded reciprocal of the divisor known, one multiplication
// and two fused multiply-adds give it (Brisebarre, Muller and Raina, "Accelerating correctly rounded
// floating-point division when the divisor is known in advance", 2004), so long as nothing underflows.
// A processor's division takes several times as long.
HWY_INLINE VF DividedBy(VF v, float divisor, [[maybe_unused]] float reciprocal) {
  const DF d;
#if HWY_TARGET <= HWY_AVX2
  const VF r = hn::Set(d, reciprocal), by = hn::Set(d, divisor);
  const VF near = hn::Mul(v, r);
  return hn::MulAdd(hn::NegMulAdd(near, by, v), r, near);
#else
  return hn::Div(v, hn::Set(d, divisor));
#endif
}

template <Chain kChain>
HWY_INLINE VF Normalised(const ChannelChain& c, VF v) {
  const DF d;
  if constexpr (kChain == Chain::kDivide) v = DividedBy(v, c.divisor, c.divisor_reciprocal);
  if constexpr (kChain == Chain::kWhole) {
    v = hn::Sub(DividedBy(v, c.divisor, c.divisor_reciprocal), hn::Set(d, c.mean));
    v = hn::Mul(DividedBy(v, c.deviation, c.deviation_reciprocal), hn::Set(d, c.scale));
  }
  if constexpr (kChain == Chain::kWholePlainly) {
    v = hn::Sub(hn::Div(v, hn::Set(d, c.divisor)), hn::Set(d, c.mean));
    v = hn::Mul(hn::Div(v, hn::Set(d, c.deviation)), hn::Set(d, c.scale));
  }
  return v;
}

// To nearest, ties to even. Values are finite; what is too large becomes infinity.
HWY_INLINE hn::Vec<hn::Rebind<std::uint16_t, DF>> Bfloat16Of(VF v) {
  const hn::RebindToUnsigned<DF> du;
  const auto bits = hn::BitCast(du, v);
  const auto odd = hn::And(hn::ShiftRight<16>(bits), hn::Set(du, 1u));
  const auto rounded = hn::ShiftRight<16>(hn::Add(hn::Add(bits, odd), hn::Set(du, 0x7FFFu)));
  return hn::TruncateTo(hn::Rebind<std::uint16_t, DF>(), rounded);
}

HWY_INLINE hn::Vec<hn::Rebind<std::uint16_t, DF>> Float16Of(VF v) {
#if HWY_TARGET <= HWY_AVX2
  return TarnCPU::HWY_NAMESPACE::HalfBits(v);
#else
  // Below 2^-14 a half float is a multiple of 2^-24, and adding 2^-1 to the number leaves its low bits
  // as that multiple, rounded. Others lose 13 bits, rounded likewise, and 112 from the exponent.
  const hn::RebindToUnsigned<DF> du;
  const auto bits = hn::BitCast(du, v);
  const auto sign = hn::ShiftRight<16>(hn::And(bits, hn::Set(du, 0x80000000u)));
  const auto size = hn::And(bits, hn::Set(du, 0x7FFFFFFFu));
  const auto half = hn::Set(DF(), 0.5f);
  const auto small =
      hn::Sub(hn::BitCast(du, hn::Add(hn::BitCast(DF(), size), half)), hn::BitCast(du, half));
  const auto odd = hn::And(hn::ShiftRight<13>(size), hn::Set(du, 1u));
  const auto moved = hn::Sub(size, hn::Set(du, 112u << 23));
  const auto normal = hn::ShiftRight<13>(hn::Add(hn::Add(moved, odd), hn::Set(du, 0xFFFu)));
  const hn::RebindToSigned<DF> di;
  const auto below = [&](std::uint32_t limit) HWY_ATTR {
    return hn::RebindMask(du,
                          hn::Lt(hn::BitCast(di, size), hn::Set(di, static_cast<std::int32_t>(limit))));
  };
  // 65520 and above round to infinity.
  const auto finite = hn::IfThenElse(below(113u << 23), small, normal);
  const auto magnitude = hn::IfThenElse(below(0x477FF000u), finite, hn::Set(du, 0x7C00u));
  return hn::TruncateTo(hn::Rebind<std::uint16_t, DF>(), hn::Or(magnitude, sign));
#endif
}

// Rounded half to even, saturated.
HWY_INLINE hn::Vec<hn::Rebind<std::uint8_t, DF>> BytesOf(VF v) {
  return hn::DemoteTo(hn::Rebind<std::uint8_t, DF>(), hn::NearestInt(v));
}

// The same of quotients by a step, moved by the zero point.
template <class T>
HWY_INLINE hn::Vec<hn::Rebind<T, DF>> QuantisedOf(const ElementRule& rule, VF v) {
  const DF d;
  v = hn::Div(v, hn::Set(d, rule.step));
  // What is far outside stays outside, and inside what an integer holds.
  v = hn::Min(hn::Max(v, hn::Set(d, -1024.0f)), hn::Set(d, 1024.0f));
  const hn::RebindToSigned<DF> di;
  return hn::DemoteTo(hn::Rebind<T, DF>(), hn::Add(hn::NearestInt(v), hn::Set(di, rule.zero_point)));
}

}  // namespace
}  // namespace Tarn::preprocess::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif  // per-target include guard
