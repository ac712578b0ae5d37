// Triangles by vectors. Sixteen output rows are combined from theirs, then turned, so that the samples
// of an output column's neighbours lie in one vector; and turned back.
#include "tarnkit/src/preprocess/tn_antialiased.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "tarnkit/src/cpu_x86/tn_wordfetch_cpu_x86.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "tarnkit/src/preprocess/tn_antialiased.cpp"
#include "hwy/foreach_target.h"  // compiles this file again for every CPU target

#include "hwy/highway.h"
#include "tarnkit/src/preprocess/tn_turn-inl.h"

HWY_BEFORE_NAMESPACE();
namespace Tarn::preprocess::HWY_NAMESPACE {
namespace {
using DF = hn::ScalableTag<float>;
using VF = hn::Vec<DF>;

// Samples i and on of a row; T: what a sample is.
template <class T>
HWY_INLINE VF SamplesAt(const std::uint8_t* row, std::size_t i) {
  const hn::Rebind<T, DF> d;
  const hn::RebindToSigned<DF> di;
#if HWY_TARGET == HWY_SCALAR
  T sample;
  std::memcpy(&sample, row + i * sizeof(T), sizeof sample);
  return hn::ConvertTo(DF(), hn::PromoteTo(di, hn::Set(d, sample)));
#else
  // Rows of words start at any byte.
  const hn::Repartition<std::uint8_t, decltype(d)> d8;
  return hn::ConvertTo(DF(), hn::PromoteTo(di, hn::BitCast(d, hn::LoadU(d8, row + i * sizeof(T)))));
#endif
}

// Adds the products of so many rows' samples and weights, from the first to the last.
template <class T>
void CombineSamples(const std::uint8_t* const* rows, const float* weights, std::size_t taps,
                    std::size_t samples, float* out) {
  const DF d;
  constexpr std::size_t kLanes = hn::MaxLanes(d);
  std::size_t i = 0;
  for (; i + 4 * kLanes <= samples; i += 4 * kLanes) {
    VF sum0 = hn::Zero(d), sum1 = sum0, sum2 = sum0, sum3 = sum0;
    for (std::size_t t = 0; t < taps; ++t) {
      const VF weight = hn::Set(d, weights[t]);
      const std::uint8_t* const row = rows[t];
      sum0 = hn::Add(sum0, hn::Mul(SamplesAt<T>(row, i), weight));
      sum1 = hn::Add(sum1, hn::Mul(SamplesAt<T>(row, i + kLanes), weight));
      sum2 = hn::Add(sum2, hn::Mul(SamplesAt<T>(row, i + 2 * kLanes), weight));
      sum3 = hn::Add(sum3, hn::Mul(SamplesAt<T>(row, i + 3 * kLanes), weight));
    }
    hn::StoreU(sum0, d, out + i);
    hn::StoreU(sum1, d, out + i + kLanes);
    hn::StoreU(sum2, d, out + i + 2 * kLanes);
    hn::StoreU(sum3, d, out + i + 3 * kLanes);
  }
  for (; i < samples; i += kLanes) {
    VF sum = hn::Zero(d);
    for (std::size_t t = 0; t < taps; ++t)
      sum = hn::Add(sum, hn::Mul(SamplesAt<T>(rows[t], i), hn::Set(d, weights[t])));
    hn::StoreU(sum, d, out + i);
  }
}

void Combine(RowForm form, const std::uint8_t* const* rows, const float* weights, std::size_t taps,
             std::size_t samples, float* out) {
  (form == RowForm::kWords ? CombineSamples<std::uint16_t>
                           : CombineSamples<std::uint8_t>)(rows, weights, taps, samples, out);
}

// The same across for sixteen rows at once. columns: kTurned floats for each sample, the first one's at
// `samples_first`, `step` columns from sample to sample. out: kTurned floats for each output.
void Across(const TriangleTaps& taps, std::int32_t samples_first, std::size_t step, const float* columns,
            float* out) {
  const DF d;
  constexpr std::size_t kLanes = hn::MaxLanes(d);
  for (std::size_t k = 0; k < taps.count; ++k) {
    const float* const weights = taps.weights + k * taps.most;
    const float* const first =
        columns + static_cast<std::size_t>(taps.first[k] - samples_first) * step * kTurned;
    const std::size_t n = static_cast<std::size_t>(taps.samples[k]);
    for (std::size_t row = 0; row < kTurned; row += kLanes) {
      VF sum = hn::Zero(d);
      for (std::size_t t = 0; t < n; ++t)
        sum =
            hn::Add(sum, hn::Mul(hn::Load(d, first + t * step * kTurned + row), hn::Set(d, weights[t])));
      hn::Store(sum, d, out + k * kTurned + row);
    }
  }
}

void ToColumns(const float* rows, std::size_t pitch, std::size_t columns, float* out) {
  TurnRows(rows, pitch, kTurned, columns, out, kTurned);
}

// Back to rows. columns: padded to whole blocks.
void ToRows(const float* columns, std::size_t count, float* out, std::size_t pitch) {
  for (std::size_t x = 0; x < count; x += kTurned)
    TurnRows(columns + x * kTurned, kTurned, kTurned, kTurned, out + x, pitch);
}

}  // namespace
}  // namespace Tarn::preprocess::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace Tarn::preprocess {
namespace {

HWY_EXPORT(Combine);
HWY_EXPORT(Across);
HWY_EXPORT(ToColumns);
HWY_EXPORT(ToRows);

double halfWidth(const PlaneAxis& axis) { return std::max(axis.step(), 1.0); }

std::size_t mostTaps(const PlaneAxis& axis) {
  const std::size_t all = static_cast<std::size_t>(axis.samples().count());
  return std::min(static_cast<std::size_t>(2.0 * halfWidth(axis)) + 2, all);
}

// A power of two of rows that covers the taps of any output.
int slotsFor(const Geometry& geometry) {
  const double step = static_cast<double>(geometry.y.size) / geometry.y.scaled;
  const double rows = std::min(2.0 * std::max(step, 1.0) + 2.0, static_cast<double>(geometry.y.size));
  int slots = 2;
  while (slots < rows) slots *= 2;
  return slots;
}

}  // namespace

void TriangleTaps::take(TarnCPU::Arrays& arrays, const PlaneAxis& axis) {
  count = axis.outputs();
  most = mostTaps(axis);
  first = arrays.take<std::int32_t>(count);
  samples = arrays.take<std::int32_t>(count);
  weights = arrays.take<float>(count * most);
}

void TriangleTaps::fill(const PlaneAxis& axis) {
  const double width = halfWidth(axis);
  // Sample numbers are counted from the axis' base, as positions are.
  const int low = axis.samples().first - axis.base(), high = axis.samples().last - axis.base() + 1;
  for (std::size_t k = 0; k < count; ++k) {
    const double centre = axis.position(k) + 0.5;
    int begin = std::max(static_cast<int>(centre - width + 0.5), low);
    int end = std::min(static_cast<int>(centre + width + 0.5), high);
    // Positions beside the samples, as chroma has them at a region's edge, take the nearest one.
    begin = std::clamp(begin, low, high - 1);
    end = std::clamp(end, begin + 1, std::min(high, begin + static_cast<int>(most)));
    first[k] = axis.base() + begin;
    samples[k] = end - begin;
    const auto weight_at = [&](int i) {
      return std::max(1.0 - std::fabs(i + 0.5 - centre) / width, 0.0);
    };
    double sum = 0.0;
    for (int i = begin; i < end; ++i) sum += weight_at(i);
    float* const to = weights + k * most;
    for (int i = begin; i < end; ++i)
      to[i - begin] = sum > 0.0 ? static_cast<float>(weight_at(i) / sum) : i == begin ? 1.0f : 0.0f;
  }
}

Antialiased::Antialiased(const TensorSpec& spec, const FrameView& frame, const Geometry& geometry)
    : colour_(spec.colour),
      rows_(frame, pixelsOf(geometry.x), pixelsOf(geometry.y), slotsFor(geometry)),
      rule_(colourRule(frame, spec.colour)),
      luma_(makePlane(frame, geometry, 0)),
      chroma_(makePlane(frame, geometry, 1)) {}

Antialiased::Plane Antialiased::makePlane(const FrameView& frame, const Geometry& geometry,
                                          int component) const {
  return {planeAxes(geometry, frame, component, true, rows_.columns(component), rows_.rows(component)),
          {},
          {}};
}

std::size_t Antialiased::sampleFloats(int component) const {
  const std::size_t n = static_cast<std::size_t>(rows_.columns(component).count());
  return rows_.form(component) == RowForm::kPairs ? 2 * n : n;
}

void Antialiased::take(TarnCPU::Arrays& arrays) {
  rows_.take(arrays);
  for (Plane* plane : {&luma_, &chroma_}) {
    plane->x.take(arrays, plane->axes.x);
    plane->y.take(arrays, plane->axes.y);
  }
  const std::size_t outputs = fetchPadded(luma_.x.count);
  const std::size_t samples = fetchPadded(std::max(sampleFloats(0), sampleFloats(1)));
  sources_ = arrays.take<const std::uint8_t*>(std::max(luma_.y.most, chroma_.y.most));
  down_ = arrays.take<float>(samples * kBand);
  turned_ = arrays.take<float>(samples * kBand);
  across_ = arrays.take<float>(outputs * kBand);
  for (float*& value : values_) value = arrays.take<float>(outputs * kBand);
}

void Antialiased::start(const FrameView& frame) {
  rows_.aim(frame);
  rows_.turn();
  rule_ = colourRule(frame, colour_);
}

void Antialiased::begin() {
  for (Plane* plane : {&luma_, &chroma_}) {
    plane->x.fill(plane->axes.x);
    plane->y.fill(plane->axes.y);
  }
  // Rows of a band that the picture does not have are turned too.
  std::fill_n(down_, fetchPadded(std::max(sampleFloats(0), sampleFloats(1))) * kBand, 0.0f);
  std::fill_n(across_, fetchPadded(luma_.x.count) * kBand, 0.0f);
}

void Antialiased::makePlaneBand(const Plane& plane, int component, std::size_t first,
                                std::size_t count) {
  const RowForm form = rows_.form(component);
  const std::size_t samples = sampleFloats(component), pitch = fetchPadded(samples);
  for (std::size_t k = first; k < first + count; ++k) {
    const std::size_t taps = static_cast<std::size_t>(plane.y.samples[k]);
    for (std::size_t t = 0; t < taps; ++t)
      sources_[t] = rows_.row(component, plane.y.first[k] + static_cast<int>(t));
    HWY_DYNAMIC_DISPATCH(Combine)
    (form, sources_, plane.y.weights + k * plane.y.most, taps, samples, down_ + (k - first) * pitch);
  }
  HWY_DYNAMIC_DISPATCH(ToColumns)(down_, pitch, samples, turned_);
  const bool pairs = form == RowForm::kPairs, v_first = rows_.vFirst();
  const std::size_t outputs = fetchPadded(plane.x.count);
  for (int kind = 0; kind < (pairs ? 2 : 1); ++kind) {
    HWY_DYNAMIC_DISPATCH(Across)
    (plane.x, rows_.columns(component).first, pairs ? 2 : 1,
     turned_ + static_cast<std::size_t>(kind) * kBand, across_);
    const int part = component + kind;
    float* const to = values_[part > 0 && v_first ? 3 - part : part];
    HWY_DYNAMIC_DISPATCH(ToRows)(across_, outputs, to, outputs);
  }
}

void Antialiased::row(std::size_t k, const float* out[3]) {
  const std::size_t in_band = k % kBand;
  if (in_band == 0) {
    const std::size_t count = std::min(kBand, luma_.y.count - k);
    for (int component = 0; component < componentsOf(rule_); ++component)
      if (rows_.form(component) != RowForm::kNone)
        makePlaneBand(component == 0 ? luma_ : chroma_, component, k, count);
  }
  const std::size_t outputs = fetchPadded(luma_.x.count);
  float* rows[3];
  for (std::size_t c = 0; c < 3; ++c) rows[c] = values_[c] + in_band * outputs;
  makeColours(rule_, luma_.x.count, rows, out);
}

}  // namespace Tarn::preprocess
#endif  // HWY_ONCE
