// Nearest and bilinear by vectors: the four samples of an output are fetched, interpolated and converted
// to floats at once.
#include "tarnkit/src/preprocess/tn_pointsampler.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "tarnkit/src/preprocess/tn_pointsampler.cpp"
#include "hwy/foreach_target.h"  // compiles this file again for every CPU target

#include "common/tn_intrinsics-inl.h"
#include "hwy/highway.h"
#include "tarnkit/src/cpu_x86/tn_wordfetch_cpu_x86-inl.h"

#ifndef TN_KITS_PREPROCESS_TN_POINTSAMPLER_ONCE_
#define TN_KITS_PREPROCESS_TN_POINTSAMPLER_ONCE_
namespace Tarn::preprocess {

// One row of one component, of a pair of them, or of whole pixels.
struct SampledRow {
  const WordFetch* fetch;
  const float* across;             // weights
  const std::int32_t* sixteenths;  // the same as bytes
  float down;                      // weight of rows[1]
  const std::uint8_t* rows[2];
  float* out[3];
};
using SampleFunction = void (*)(const SampledRow& job);

// How outputs lie among the samples: which of the four count.
enum class Sampling {
  kOne,          // one sample
  kAcross,       // two of one row
  kDown,         // one of each row
  kAcrossFirst,  // four
  kDownFirst,    // four, the other way round
  kSixteenths,   // four with weights of few bits: integers then give what floats would
};
constexpr bool takesTwoAcross(Sampling s) { return s != Sampling::kOne && s != Sampling::kDown; }
constexpr bool takesTwoRows(Sampling s) { return s != Sampling::kOne && s != Sampling::kAcross; }

// Weights that are n / 16: bytes 16 - n and n, for each sample that a word holds.
constexpr float kSixteenth = 1.0f / 16;
constexpr bool hasSixteenths(RowForm form) { return form == RowForm::kBytes || form == RowForm::kPairs; }
std::int32_t sixteenthsOf(float weight, RowForm form);

}  // namespace Tarn::preprocess
#endif

HWY_BEFORE_NAMESPACE();
namespace Tarn::preprocess::HWY_NAMESPACE {
namespace {
namespace hn = hwy::HWY_NAMESPACE;
using Tarn::HWY_NAMESPACE::FetchedWords;
using Tarn::HWY_NAMESPACE::FetchWords;
using DF = hn::ScalableTag<float>;
using VF = hn::Vec<DF>;

// kBits bits of each word, from bit kFirst on.
template <int kFirst, int kBits>
HWY_INLINE VF SampleOf(FetchedWords words) {
  const hn::ScalableTag<std::uint32_t> du;
  const hn::RebindToSigned<decltype(du)> di;
  auto v = words;
  if constexpr (kFirst != 0) v = hn::ShiftRight<kFirst>(v);
  if constexpr (kFirst + kBits != 32) v = hn::And(v, hn::Set(du, (1u << kBits) - 1));
  return hn::ConvertTo(DF(), hn::BitCast(di, v));
}

HWY_INLINE VF Between(VF a, VF b, VF weight) { return hn::Add(a, hn::Mul(hn::Sub(b, a), weight)); }

// Of a row's samples a and b and the next row's c and e: those that count. What does not is left out by
// the compiler.
template <Sampling kSampling>
HWY_INLINE VF Combined(VF a, VF b, VF c, VF e, VF across, VF down) {
  if constexpr (kSampling == Sampling::kOne) return a;
  if constexpr (kSampling == Sampling::kAcross) return Between(a, b, across);
  if constexpr (kSampling == Sampling::kDown) return Between(a, c, down);
  if constexpr (kSampling == Sampling::kAcrossFirst)
    return Between(Between(a, b, across), Between(c, e, across), down);
  if constexpr (kSampling == Sampling::kDownFirst)
    return Between(Between(a, c, down), Between(b, e, down), across);
}

// Sample number kSample of the words, each kBits wide, the right-hand one kStep samples on.
template <Sampling kSampling, int kBits, int kSample, int kStep>
HWY_INLINE VF Interpolated(FetchedWords top, FetchedWords bottom, VF across, VF down) {
  constexpr int kLeft = kSample * kBits, kRight = (kSample + kStep) * kBits;
  return Combined<kSampling>(SampleOf<kLeft, kBits>(top), SampleOf<kRight, kBits>(top),
                             SampleOf<kLeft, kBits>(bottom), SampleOf<kRight, kBits>(bottom), across,
                             down);
}

template <RowForm kForm, WordFetchMode kMode, Sampling kSampling>
void SampleRow(const SampledRow& job) {
  const DF d;
  const WordFetch fetch = *job.fetch;  // a copy, which need not be read again after every store
  const VF down = hn::Set(d, job.down);
  const std::uint8_t *const row0 = job.rows[0], *const row1 = job.rows[1];
  float *const out0 = job.out[0], *const out1 = job.out[1];
  constexpr int kBits = kForm == RowForm::kWords ? 16 : 8;
  constexpr int kStep = kForm == RowForm::kPairs ? 2 : 1;
  for (std::size_t i = 0; i < fetch.count; i += hn::Lanes(d)) {
    const FetchedWords top = FetchWords<kMode>(fetch, row0, i);
    FetchedWords bottom = top;
    if constexpr (takesTwoRows(kSampling)) bottom = FetchWords<kMode>(fetch, row1, i);
    VF across = down;
    if constexpr (takesTwoAcross(kSampling)) across = hn::Load(d, job.across + i);
    hn::Store(Interpolated<kSampling, kBits, 0, kStep>(top, bottom, across, down), d, out0 + i);
    if constexpr (kForm == RowForm::kPairs)
      hn::Store(Interpolated<kSampling, kBits, 1, kStep>(top, bottom, across, down), d, out1 + i);
  }
}

// The same of whole pixels: a word holds one, and another one its right-hand neighbour.
template <RowForm kForm, WordFetchMode kMode, Sampling kSampling>
void SamplePixels(const SampledRow& job) {
  const DF d;
  const WordFetch fetch = *job.fetch;
  const VF down = hn::Set(d, job.down);
  const std::uint8_t *const row0 = job.rows[0], *const row1 = job.rows[1];
  float *const out0 = job.out[0], *const out1 = job.out[1], *const out2 = job.out[2];
  constexpr std::size_t kNext = rowUnit(kForm);
  for (std::size_t i = 0; i < fetch.count; i += hn::Lanes(d)) {
    const FetchedWords a = FetchWords<kMode>(fetch, row0, i);
    FetchedWords b = a, c = a, e = a;
    VF across = down;
    if constexpr (takesTwoAcross(kSampling)) {
      b = FetchWords<kMode>(fetch, row0 + kNext, i);
      across = hn::Load(d, job.across + i);
    }
    if constexpr (takesTwoRows(kSampling)) c = FetchWords<kMode>(fetch, row1, i);
    if constexpr (takesTwoAcross(kSampling) && takesTwoRows(kSampling))
      e = FetchWords<kMode>(fetch, row1 + kNext, i);
    const auto at = [&](auto first) HWY_ATTR {
      return Combined<kSampling>(SampleOf<first(), 8>(a), SampleOf<first(), 8>(b),
                                 SampleOf<first(), 8>(c), SampleOf<first(), 8>(e), across, down);
    };
    hn::Store(at(std::integral_constant<int, 0>()), d, out0 + i);
    hn::Store(at(std::integral_constant<int, 8>()), d, out1 + i);
    hn::Store(at(std::integral_constant<int, 16>()), d, out2 + i);
  }
}

#if TN_BLOCKS
// As SampleRow, in 16-bit lanes. 255 * 16 * 16 is what they hold, and every float on the way would be
// exact.
template <RowForm kForm, WordFetchMode kMode>
void SampleSixteenths(const SampledRow& job) {
  const DF d;
  const hn::ScalableTag<std::uint8_t> d8;
  const hn::ScalableTag<std::uint16_t> d16;
  const hn::ScalableTag<std::int32_t> di;
  const WordFetch fetch = *job.fetch;
  const int down = static_cast<int>(job.down / kSixteenth);
  const auto weight1 = hn::Set(d16, static_cast<std::uint16_t>(down));
  const auto weight0 = hn::Set(d16, static_cast<std::uint16_t>(16 - down));
  const VF unit = hn::Set(d, kSixteenth * kSixteenth);
  const std::uint8_t *const row0 = job.rows[0], *const row1 = job.rows[1];
  float *const out0 = job.out[0], *const out1 = job.out[1];
  // Neighbouring bytes are to be samples of one kind.
  alignas(16) static constexpr std::uint8_t kPairs[16] = {0, 2,  1, 3,  4,  6,  5,  7,
                                                          8, 10, 9, 11, 12, 14, 13, 15};
  const auto pairs = hn::LoadDup128(d8, kPairs);
  const auto across = [&](const std::uint8_t* row, std::size_t i) HWY_ATTR {
    auto bytes = hn::BitCast(d8, FetchWords<kMode>(fetch, row, i));
    if constexpr (kForm == RowForm::kPairs) bytes = hn::TableLookupBytes(bytes, pairs);
    const auto weights = hn::BitCast(d8, hn::Load(di, job.sixteenths + i));
    return hn::BitCast(d16, TarnCPU::HWY_NAMESPACE::MulAddBytes(bytes, weights));
  };
  for (std::size_t i = 0; i < fetch.count; i += hn::Lanes(d)) {
    const auto sum =
        hn::BitCast(di, hn::Add(hn::Mul(across(row0, i), weight0), hn::Mul(across(row1, i), weight1)));
    const auto low = hn::And(sum, hn::Set(di, 0xFFFF));
    hn::Store(hn::Mul(hn::ConvertTo(d, low), unit), d, out0 + i);
    if constexpr (kForm == RowForm::kPairs) {
      const auto high =
          hn::BitCast(di, hn::ShiftRight<16>(hn::BitCast(hn::RebindToUnsigned<DF>(), sum)));
      hn::Store(hn::Mul(hn::ConvertTo(d, high), unit), d, out1 + i);
    }
  }
}
#endif

template <RowForm kForm, WordFetchMode kMode, Sampling kSampling>
constexpr SampleFunction kSample = arePixels(kForm) ? SamplePixels<kForm, kMode, kSampling>
                                                    : SampleRow<kForm, kMode, kSampling>;

template <RowForm kForm, WordFetchMode kMode>
SampleFunction ChooseSampling(Sampling sampling) {
  switch (sampling) {
    case Sampling::kOne:
      return kSample<kForm, kMode, Sampling::kOne>;
    case Sampling::kAcross:
      return kSample<kForm, kMode, Sampling::kAcross>;
    case Sampling::kDown:
      return kSample<kForm, kMode, Sampling::kDown>;
    case Sampling::kSixteenths:
#if TN_BLOCKS
      if constexpr (hasSixteenths(kForm)) return SampleSixteenths<kForm, kMode>;
#endif
      [[fallthrough]];
    case Sampling::kAcrossFirst:
      return kSample<kForm, kMode, Sampling::kAcrossFirst>;
    case Sampling::kDownFirst:
      break;
  }
  return kSample<kForm, kMode, Sampling::kDownFirst>;
}

template <RowForm kForm>
SampleFunction ChooseMode(WordFetchMode mode, Sampling sampling) {
#if TN_BLOCKS
  switch (mode) {
    case WordFetchMode::kOneWindow:
      return ChooseSampling<kForm, WordFetchMode::kOneWindow>(sampling);
    case WordFetchMode::kSpans:
      if constexpr (hn::MaxLanes(DF()) == kFetchLanes)
        return ChooseSampling<kForm, WordFetchMode::kSpans>(sampling);
      [[fallthrough]];
    case WordFetchMode::kTwoWindows:
      return ChooseSampling<kForm, WordFetchMode::kTwoWindows>(sampling);
    case WordFetchMode::kWords:
      break;
  }
#endif
  (void)mode;
  return ChooseSampling<kForm, WordFetchMode::kWords>(sampling);
}

// Rows that are interpolated across already; padded.
void Blend(const float* top, const float* bottom, float weight, std::size_t count, float* out) {
  const DF d;
  for (std::size_t i = 0; i < count; i += hn::Lanes(d))
    hn::Store(Between(hn::Load(d, top + i), hn::Load(d, bottom + i), hn::Set(d, weight)), d, out + i);
}

void Sample(RowForm form, Sampling sampling, const SampledRow& job) {
  const auto choose = [&] {
    switch (form) {
      case RowForm::kWords:
        return ChooseMode<RowForm::kWords>;
      case RowForm::kPairs:
        return ChooseMode<RowForm::kPairs>;
      case RowForm::kPixels3:
        return ChooseMode<RowForm::kPixels3>;
      case RowForm::kPixels4:
        return ChooseMode<RowForm::kPixels4>;
      default:
        return ChooseMode<RowForm::kBytes>;
    }
  }();
  choose(job.fetch->mode, sampling)(job);
}

}  // namespace
}  // namespace Tarn::preprocess::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace Tarn::preprocess {
namespace {

HWY_EXPORT(Blend);
HWY_EXPORT(Sample);

Sampling samplingOf(bool two_across, bool two_rows, bool down_first) {
  if (!two_across) return two_rows ? Sampling::kDown : Sampling::kOne;
  if (!two_rows) return Sampling::kAcross;
  return down_first ? Sampling::kDownFirst : Sampling::kAcrossFirst;
}

SampleRange straightPixels(const Geometry& g, const FrameView& frame, bool across) {
  return pixelsOf(turnOf(frame.orientation).swapped == across ? g.y : g.x);
}

}  // namespace

std::int32_t sixteenthsOf(float weight, RowForm form) {
  const std::uint32_t n = static_cast<std::uint32_t>(weight / kSixteenth);
  const std::uint32_t pair = 16 - n + (n << 8);
  return static_cast<std::int32_t>(form == RowForm::kPairs ? pair * 0x10001u : pair);
}

PointSampler::PointSampler(const TensorSpec& spec, const FrameView& frame, const Geometry& geometry)
    : nearest_(spec.resampling == Resampling::kNearest),
      colour_(spec.colour),
      down_first_(turnOf(frame.orientation).swapped),
      rows_(frame, straightPixels(geometry, frame, true), straightPixels(geometry, frame, false), 2,
            true),
      rule_(colourRule(frame, spec.colour)),
      luma_(makePlane(frame, geometry, 0)),
      chroma_(makePlane(frame, geometry, 1)) {}

PointSampler::Plane PointSampler::makePlane(const FrameView& frame, const Geometry& geometry,
                                            int component) const {
  return {planeAxes(geometry, frame, component, false, rows_.columns(component), rows_.rows(component)),
          {},
          {},
          {},
          nullptr,
          false};
}

void PointSampler::take(TarnCPU::Arrays& arrays) {
  rows_.take(arrays);
  for (Plane* plane : {&luma_, &chroma_}) {
    plane->x.take(arrays, plane->axes.x.outputs());
    plane->y.take(arrays, plane->axes.y.outputs());
    plane->fetch = takeWordFetch(arrays, plane->x.count);
    plane->sixteenths = arrays.take<std::int32_t>(fetchPadded(plane->x.count));
  }
  for (int component = 0; component < 3; ++component)
    for (KeptRow& kept : kept_[component])
      for (int c = 0; c < componentsIn(rows_.form(component)); ++c)
        kept.values[c] = arrays.take<float>(fetchPadded(luma_.axes.x.outputs()));
  for (float*& row : values_) row = arrays.take<float>(fetchPadded(luma_.axes.x.outputs()));
}

void PointSampler::begin() {
  for (int component = 0; component < (componentsOf(rule_) == 3 ? 2 : 1); ++component) {
    if (rows_.form(component) == RowForm::kNone) continue;
    Plane& plane = component == 0 ? luma_ : chroma_;
    plane.x.fill(plane.axes.x, nearest_);
    plane.y.fill(plane.axes.y, nearest_);
    const RowForm form = rows_.form(component);
    const std::int32_t unit = static_cast<std::int32_t>(rowUnit(form));
    for (std::size_t k = 0; k < plane.x.count; ++k)
      plane.fetch.word[k] = (plane.x.first[k] - rows_.columns(component).first) * unit;
    fillWordFetch(plane.fetch, arePixels(form) ? 3 : plane.x.on_samples ? unit : 2 * unit);
    for (std::size_t k = 0; k < fetchPadded(plane.x.count) && plane.x.sixteenths; ++k)
      plane.sixteenths[k] = sixteenthsOf(plane.x.weight[k], form);
    // Rows are kept where that saves a third of them, and not for integers, which are as fast.
    const bool integers = hasSixteenths(form) && plane.x.sixteenths && plane.y.sixteenths;
    plane.keeps_rows = !down_first_ && !plane.x.on_samples && !integers && plane.axes.y.step() < 1.4;
  }
}

void PointSampler::start(const FrameView& frame) {
  rows_.aim(frame);
  rule_ = colourRule(frame, colour_);
  for (auto& component : kept_)
    for (KeptRow& kept : component) kept.y = -1;
}

const PointSampler::KeptRow& PointSampler::keptRow(const Plane& plane, int component, int y) {
  KeptRow& kept = kept_[component][y & 1];
  if (kept.y == y) return kept;
  kept.y = y;
  const SampledRow job = {&plane.fetch,
                          plane.x.weight,
                          plane.sixteenths,
                          0.0f,
                          {rows_.row(component, y), nullptr},
                          {kept.values[0], kept.values[1], kept.values[2]}};
  HWY_DYNAMIC_DISPATCH(Sample)(rows_.form(component), Sampling::kAcross, job);
  return kept;
}

void PointSampler::sample(const Plane& plane, int component, std::size_t k, float* const out[3]) {
  const int first = plane.y.first[k];
  const float down = plane.y.weight[k];
  const bool two_rows = down != 0.0f;
  const RowForm form = rows_.form(component);
  if (plane.keeps_rows && two_rows) {
    const KeptRow &top = keptRow(plane, component, first),
                  &bottom = keptRow(plane, component, first + 1);
    for (int c = 0; c < componentsIn(form); ++c) HWY_DYNAMIC_DISPATCH(Blend)
    (top.values[c], bottom.values[c], down, plane.x.count, out[c]);
    return;
  }
  const float sixteenths = down / kSixteenth;
  const bool few_bits =
      two_rows && hasSixteenths(form) && plane.x.sixteenths && sixteenths == std::floor(sixteenths);
  const SampledRow job = {
      &plane.fetch,
      plane.x.weight,
      plane.sixteenths,
      down,
      {rows_.row(component, first), two_rows ? rows_.row(component, first + 1) : nullptr},
      {out[0], out[1], out[2]}};
  HWY_DYNAMIC_DISPATCH(Sample)
  (form, few_bits ? Sampling::kSixteenths : samplingOf(!plane.x.on_samples, two_rows, down_first_), job);
}

void PointSampler::row(std::size_t k, const float* out[3]) {
  // Every part writes as many rows as its form has components.
  const bool turned = rows_.blueFirst() && arePixels(rows_.form(0));
  float* const first[3] = {values_[turned ? 2 : 0], values_[1], values_[turned ? 0 : 2]};
  sample(luma_, 0, k, first);
  if (componentsOf(rule_) == 3 && rows_.form(1) != RowForm::kNone) {
    const bool v_first = rows_.vFirst();
    float* const second[3] = {values_[v_first ? 2 : 1], values_[v_first ? 1 : 2], nullptr};
    sample(chroma_, 1, k, second);
    float* const third[3] = {second[1], nullptr, nullptr};
    if (rows_.form(2) != RowForm::kNone) sample(chroma_, 2, k, third);
  }
  makeColours(rule_, luma_.x.count, values_, out);
}

}  // namespace Tarn::preprocess
#endif  // HWY_ONCE
