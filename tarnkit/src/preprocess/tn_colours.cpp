// Samples to colours by vectors, in the order of operations that tn_preprocess.h gives.
#include "tarnkit/src/preprocess/tn_colours.h"

#include "tarnkit/src/cpu_x86/tn_wordfetch_cpu_x86.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "tarnkit/src/preprocess/tn_colours.cpp"
#include "hwy/foreach_target.h"  // compiles this file again for every CPU target

#include "hwy/highway.h"

HWY_BEFORE_NAMESPACE();
namespace Tarn::preprocess::HWY_NAMESPACE {
namespace {
namespace hn = hwy::HWY_NAMESPACE;
using DF = hn::ScalableTag<float>;
using VF = hn::Vec<DF>;

HWY_INLINE VF Clamped(VF v) {
  const DF d;
  return hn::Min(hn::Max(v, hn::Zero(d)), hn::Set(d, 255.0f));
}

template <bool kTenBits>
HWY_INLINE VF SampleAt(const ColourRule& rule, const float* row, std::size_t i) {
  const DF d;
  const VF v = hn::Load(d, row + i);
  return kTenBits ? hn::Mul(v, hn::Set(d, rule.sample_scale)) : v;
}

template <bool kTenBits>
HWY_INLINE VF LumaAt(const ColourRule& rule, const float* row, std::size_t i) {
  const DF d;
  return hn::Mul(hn::Sub(SampleAt<kTenBits>(rule, row, i), hn::Set(d, rule.luma_black)),
                 hn::Set(d, rule.luma_gain));
}

template <bool kTenBits>
void YuvToRgb(const ColourRule& rule, std::size_t count, float* const rows[3]) {
  const DF d;
  float *const r0 = rows[0], *const r1 = rows[1], *const r2 = rows[2];
  const VF middle = hn::Set(d, 128.0f);
  const VF red_v = hn::Set(d, rule.red_v), green_u = hn::Set(d, rule.green_u);
  const VF green_v = hn::Set(d, rule.green_v), blue_u = hn::Set(d, rule.blue_u);
  for (std::size_t i = 0; i < count; i += hn::Lanes(d)) {
    const VF y = LumaAt<kTenBits>(rule, r0, i);
    const VF u = hn::Sub(SampleAt<kTenBits>(rule, r1, i), middle);
    const VF v = hn::Sub(SampleAt<kTenBits>(rule, r2, i), middle);
    const VF green = hn::Add(hn::Add(y, hn::Mul(u, green_u)), hn::Mul(v, green_v));
    hn::Store(Clamped(hn::Add(y, hn::Mul(v, red_v))), d, r0 + i);
    hn::Store(Clamped(green), d, r1 + i);
    hn::Store(Clamped(hn::Add(y, hn::Mul(u, blue_u))), d, r2 + i);
  }
}

template <bool kTenBits>
void YuvToGrey(const ColourRule& rule, std::size_t count, float* row) {
  const DF d;
  for (std::size_t i = 0; i < count; i += hn::Lanes(d))
    hn::Store(Clamped(LumaAt<kTenBits>(rule, row, i)), d, row + i);
}

void RgbToGrey(std::size_t count, float* const rows[3]) {
  const DF d;
  for (std::size_t i = 0; i < count; i += hn::Lanes(d)) {
    const VF red = hn::Mul(hn::Load(d, rows[0] + i), hn::Set(d, 0.299f));
    const VF green = hn::Mul(hn::Load(d, rows[1] + i), hn::Set(d, 0.587f));
    const VF blue = hn::Mul(hn::Load(d, rows[2] + i), hn::Set(d, 0.114f));
    hn::Store(Clamped(hn::Add(hn::Add(red, green), blue)), d, rows[0] + i);
  }
}

void Clamp(std::size_t count, float* row) {
  const DF d;
  for (std::size_t i = 0; i < count; i += hn::Lanes(d))
    hn::Store(Clamped(hn::Load(d, row + i)), d, row + i);
}

void MakeColours(const ColourRule& rule, std::size_t count, float* const rows[3]) {
  const bool ten_bits = rule.sample_scale != 1.0f;
  switch (rule.samples) {
    case Samples::kYuv:
      if (rule.grey)
        (ten_bits ? YuvToGrey<true> : YuvToGrey<false>)(rule, count, rows[0]);
      else
        (ten_bits ? YuvToRgb<true> : YuvToRgb<false>)(rule, count, rows);
      return;
    case Samples::kRgb:
      for (int c = 0; c < 3; ++c) Clamp(count, rows[c]);
      if (rule.grey) RgbToGrey(count, rows);
      return;
    case Samples::kGray:
      Clamp(count, rows[0]);
  }
}

}  // namespace
}  // namespace Tarn::preprocess::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace Tarn::preprocess {
namespace {

HWY_EXPORT(MakeColours);

}  // namespace

ColourRule colourRule(const FrameView& frame, TensorColour colour) {
  const FormatShape& shape = shapeOf(frame.format);
  YuvToRgbOptions options;
  options.standard = frame.matrix;
  options.range = frame.range;
  const _ConvertMatrixFromYUV m = makeYuvToRgbMatrix(options);
  const bool limited = frame.range == YuvRange::kLimited;
  const float ten_bits = limited ? 0.25f : 255.0f / 1023.0f;
  return {shape.samples,
          colour == TensorColour::kGray,
          shape.sample_bytes == 1 ? 1.0f : ten_bits,
          limited ? 16.0f : 0.0f,
          m.coef[0],
          m.coef[2],
          m.coef[4],
          m.coef[5],
          m.coef[7]};
}

void makeColours(const ColourRule& rule, std::size_t count, float* const rows[3], const float* out[3]) {
  HWY_DYNAMIC_DISPATCH(MakeColours)(rule, fetchPadded(count), rows);
  const bool one = rule.grey || rule.samples == Samples::kGray;
  for (int c = 0; c < 3; ++c) out[c] = rows[one ? 0 : c];
}

}  // namespace Tarn::preprocess
#endif  // HWY_ONCE
