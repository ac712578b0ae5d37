// Both passes by vectors of 32-bit lanes, one for each output, which become floats at the end.
#include "tarnkit/src/preprocess/tn_opencvlinear.h"

#include <algorithm>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "tarnkit/src/preprocess/tn_opencvlinear.cpp"
#include "hwy/foreach_target.h"  // compiles this file again for every CPU target
#include "hwy/highway.h"
#include "tarnkit/src/cpu_x86/tn_wordfetch_cpu_x86-inl.h"

#ifndef TN_KITS_PREPROCESS_TN_OPENCVLINEAR_ONCE_
#define TN_KITS_PREPROCESS_TN_OPENCVLINEAR_ONCE_
namespace Tarn::preprocess {

enum class Take {
  kSums,     // two samples weighed
  kSamples,  // a sample as a float
  kPixels,   // the first three bytes of a pixel as floats
};

// What is done with a source row by its fetch.
struct AcrossJob {
  Take what;
  const WordFetch* fetch;
  const std::uint8_t* row;
  const std::int32_t* weights;
  std::int32_t* sums;
  float* values[3];
};

}  // namespace Tarn::preprocess
#endif

HWY_BEFORE_NAMESPACE();
namespace Tarn::preprocess::HWY_NAMESPACE {
namespace {
namespace hn = hwy::HWY_NAMESPACE;
using Tarn::HWY_NAMESPACE::FetchedWords;
using Tarn::HWY_NAMESPACE::FetchWords;
using DF = hn::ScalableTag<float>;
using DI = hn::RebindToSigned<DF>;
using DU = hn::RebindToUnsigned<DF>;
using VI = hn::Vec<DI>;

// The two bytes at the low end of each lane, weighed.
HWY_INLINE VI Weighed(FetchedWords words, const std::int32_t* weights) {
  const DI d;
  const DU du;
  const VI weight = hn::Load(d, weights);
  const auto left = hn::And(words, hn::Set(du, 0xFFu));
#if TN_BLOCKS
  const hn::Repartition<std::int16_t, DI> d16;
  const auto halves = hn::Or(left, hn::And(hn::ShiftLeft<8>(words), hn::Set(du, 0xFF0000u)));
  // Highway leaves open where the sums go; on x86 they stay in order.
  auto unused = hn::Zero(d);
  return hn::ReorderWidenMulAccumulate(d, hn::BitCast(d16, halves), hn::BitCast(d16, weight),
                                       hn::Zero(d), unused);
#else
  const auto right = hn::And(hn::ShiftRight<8>(words), hn::Set(du, 0xFFu));
  return hn::Add(hn::Mul(hn::BitCast(d, left), hn::And(weight, hn::Set(d, 0xFFFF))),
                 hn::Mul(hn::BitCast(d, right), hn::ShiftRight<16>(weight)));
#endif
}

// The byte at bit kFrom of each lane.
template <int kFrom>
HWY_INLINE void StoreByte(FetchedWords words, float* out) {
  auto v = words;
  if constexpr (kFrom > 0) v = hn::ShiftRight<kFrom>(v);
  const VI byte = hn::BitCast(DI(), hn::And(v, hn::Set(DU(), 0xFFu)));
  hn::Store(hn::ConvertTo(DF(), byte), DF(), out);
}

template <WordFetchMode kMode, Take kTake>
void AcrossRow(const AcrossJob& job) {
  const DI d;
  const WordFetch fetch = *job.fetch;  // a copy, which need not be read again after every store
  const std::uint8_t* const row = job.row;
  float *const values0 = job.values[0], *const values1 = job.values[1], *const values2 = job.values[2];
  for (std::size_t i = 0; i < fetch.count; i += hn::Lanes(d)) {
    const FetchedWords words = FetchWords<kMode>(fetch, row, i);
    if constexpr (kTake == Take::kSums) {
      hn::Store(hn::ShiftRight<4>(Weighed(words, job.weights + i)), d, job.sums + i);
    } else {
      StoreByte<0>(words, values0 + i);
      if constexpr (kTake == Take::kPixels) {
        StoreByte<8>(words, values1 + i);
        StoreByte<16>(words, values2 + i);
      }
    }
  }
}

template <WordFetchMode kMode>
void AcrossBy(const AcrossJob& job) {
  switch (job.what) {
    case Take::kSums:
      return AcrossRow<kMode, Take::kSums>(job);
    case Take::kSamples:
      return AcrossRow<kMode, Take::kSamples>(job);
    case Take::kPixels:
      return AcrossRow<kMode, Take::kPixels>(job);
  }
}

void Across(const AcrossJob& job) {
#if TN_BLOCKS
  switch (job.fetch->mode) {
    case WordFetchMode::kOneWindow:
      return AcrossBy<WordFetchMode::kOneWindow>(job);
    case WordFetchMode::kSpans:
      if constexpr (hn::MaxLanes(DF()) == kFetchLanes) return AcrossBy<WordFetchMode::kSpans>(job);
      [[fallthrough]];
    case WordFetchMode::kTwoWindows:
      return AcrossBy<WordFetchMode::kTwoWindows>(job);
    case WordFetchMode::kWords:
      break;
  }
#endif
  AcrossBy<WordFetchMode::kWords>(job);
}

// The upper 16 bits of a product: sums are below 2^15, weights at most 2^11.
HWY_INLINE VI Share(const std::int32_t* sums, VI weight) {
  const DI d;
#if TN_BLOCKS
  const hn::Repartition<std::int16_t, DI> d16;
  return hn::BitCast(d, hn::MulHigh(hn::BitCast(d16, hn::Load(d, sums)), hn::BitCast(d16, weight)));
#else
  return hn::ShiftRight<16>(hn::Mul(hn::Load(d, sums), weight));
#endif
}

void Down(const std::int32_t* top, const std::int32_t* bottom, const std::int32_t weights[2],
          std::size_t count, float* out) {
  const DI d;
  const VI first = hn::Set(d, weights[0]), second = hn::Set(d, weights[1]), half = hn::Set(d, 2);
  for (std::size_t i = 0; i < count; i += hn::Lanes(d)) {
    const VI sum = hn::Add(Share(top + i, first), Share(bottom + i, second));
    hn::Store(hn::ConvertTo(DF(), hn::ShiftRight<2>(hn::Add(sum, half))), DF(), out + i);
  }
}

void Halve(const std::uint8_t* top, const std::uint8_t* bottom, std::size_t count, float* out) {
#if HWY_TARGET == HWY_SCALAR
  for (std::size_t i = 0; i < count; ++i)
    out[i] =
        static_cast<float>((top[2 * i] + top[2 * i + 1] + bottom[2 * i] + bottom[2 * i + 1] + 2) >> 2);
#else
  const DF d;
  const hn::Rebind<std::uint16_t, DF> d16;
  const hn::Repartition<std::uint8_t, decltype(d16)> d8;
  const auto pairs = [&](const std::uint8_t* from) HWY_ATTR {
    const auto both = hn::BitCast(d16, hn::LoadU(d8, from));
    return hn::Add(hn::And(both, hn::Set(d16, 0xFF)), hn::ShiftRight<8>(both));
  };
  for (std::size_t i = 0; i < count; i += hn::Lanes(d)) {
    const auto sum = hn::Add(hn::Add(pairs(top + 2 * i), pairs(bottom + 2 * i)), hn::Set(d16, 2));
    hn::Store(hn::ConvertTo(d, hn::PromoteTo(DI(), hn::ShiftRight<2>(sum))), d, out + i);
  }
#endif
}

}  // namespace
}  // namespace Tarn::preprocess::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace Tarn::preprocess {
namespace {

HWY_EXPORT(Across);
HWY_EXPORT(Down);
HWY_EXPORT(Halve);

constexpr GreyRule kGrey = {9798, 19235, 3735, 15};

// Half to even: behind 2^23 floats have no more bits below 1.
std::int32_t weightOf(float share) {
  constexpr float kWhole = 1 << 23;
  return static_cast<std::int32_t>((share * 2048.0f + kWhole) - kWhole);
}

// Output k of what is shown. Columns keep to the samples there are, rows only their positions.
HWY_INLINE ByteTap tapOf(const AxisGeometry& axis, std::size_t k, bool across) {
  const double step = static_cast<double>(axis.size) / axis.scaled;
  const float at = static_cast<float>((static_cast<int>(k) + axis.cut + 0.5) * step - 0.5);
  // At least -0.5, so that one below the truncated position is the floor where that is above.
  int first = static_cast<int>(at);
  if (static_cast<float>(first) > at) --first;
  float share = at - static_cast<float>(first);
  if (across && (first < 0 || first >= axis.size - 1)) {
    first = std::clamp(first, 0, axis.size - 1);
    share = 0.0f;
  }
  return {first, {weightOf(1.0f - share), weightOf(share)}};
}

bool halves(const AxisGeometry& axis) { return axis.size == std::int64_t{2} * axis.scaled; }

}  // namespace

SampleRange OpencvLinear::needed(const AxisGeometry& axis, bool across) const {
  const std::size_t last = static_cast<std::size_t>(axis.shown) - 1;
  switch (way_) {
    case Way::kCopy:
      return {axis.cut, axis.cut + axis.shown - 1};
    case Way::kHalve:
      return {2 * axis.cut, 2 * (axis.cut + axis.shown) - 1};
    case Way::kInterpolate:
      break;
  }
  return {std::clamp(tapOf(axis, 0, across).first, 0, axis.size - 1),
          std::clamp(tapOf(axis, last, across).first + 1, 0, axis.size - 1)};
}

SampleRange OpencvLinear::neededPixels(const AxisGeometry& axis, bool across) const {
  const SampleRange range = needed(axis, across);
  return {axis.start + range.first, axis.start + range.last};
}

OpencvLinear::OpencvLinear(const TensorSpec& spec, const FrameView& frame, const Geometry& geometry)
    : x_(geometry.x),
      y_(geometry.y),
      way_(x_.size == x_.scaled && y_.size == y_.scaled ? Way::kCopy
           : halves(x_) && halves(y_)                   ? Way::kHalve
                                                        : Way::kInterpolate),
      rows_(frame, neededPixels(x_, true), neededPixels(y_, false), 2,
            spec.colour == TensorColour::kGray ? &kGrey : nullptr),
      count_(static_cast<std::size_t>(x_.shown)) {}

void OpencvLinear::take(TarnCPU::Arrays& arrays) {
  rows_.take(arrays);
  const std::size_t padded = fetchPadded(count_);
  for (int c = 0; c < rows_.channels(); ++c) values_[c] = arrays.take<float>(padded);
  if (way_ != Way::kInterpolate) return;
  fetch_ = takeWordFetch(arrays, count_);
  if (rows_.pixelBytes() != 0) pixel_fetch_ = takeWordFetch(arrays, count_);
  weights_ = arrays.take<std::int32_t>(padded);
  for (auto& slot : across_)
    for (int c = 0; c < rows_.channels(); ++c) slot[c] = arrays.take<std::int32_t>(padded);
}

void OpencvLinear::begin() {
  rows_.begin();
  if (way_ != Way::kInterpolate) return;
  held_[0] = held_[1] = -1;
  const int base = needed(x_, true).first;
  on_samples_ = true;
  for (std::size_t k = 0; k < count_; ++k) {
    const ByteTap tap = tapOf(x_, k, true);
    fetch_.word[k] = tap.first - base;
    weights_[k] = tap.weight[0] | tap.weight[1] << 16;
    on_samples_ = on_samples_ && tap.weight[1] == 0;
  }
  std::fill(weights_ + count_, weights_ + fetchPadded(count_), weights_[count_ - 1]);
  fillWordFetch(fetch_, on_samples_ ? 1 : 2);
  if (!on_samples_ || rows_.pixelBytes() == 0) return;
  for (std::size_t k = 0; k < count_; ++k) pixel_fetch_.word[k] = fetch_.word[k] * rows_.pixelBytes();
  fillWordFetch(pixel_fetch_, 3);
}

// Row y of the region, resized across.
const std::int32_t* const* OpencvLinear::resampled(int y) {
  const int slot = y & 1;
  if (held_[slot] != y) {
    held_[slot] = y;
    const std::uint8_t* rgb[3];
    rows_.row(y_.start + y, rgb);
    for (int c = 0; c < rows_.channels(); ++c)
      HWY_DYNAMIC_DISPATCH(Across)({Take::kSums, &fetch_, rgb[c], weights_, across_[slot][c], {}});
  }
  return across_[slot];
}

// The samples of row y of the picture that lie on outputs.
void OpencvLinear::pick(int y) {
  const bool blue_first = rows_.blueFirst();
  const std::uint8_t* const pixels =
      rows_.pixelBytes() == 0 ? nullptr : rows_.pixels(y, pixel_fetch_.reach);
  if (pixels != nullptr) {
    float* const first = values_[blue_first ? 2 : 0];
    float* const third = values_[blue_first ? 0 : 2];
    HWY_DYNAMIC_DISPATCH(Across)
    ({Take::kPixels, &pixel_fetch_, pixels, nullptr, nullptr, {first, values_[1], third}});
    return;
  }
  const std::uint8_t* rgb[3];
  rows_.row(y, rgb);
  for (int c = 0; c < rows_.channels(); ++c) HWY_DYNAMIC_DISPATCH(Across)
  ({Take::kSamples, &fetch_, rgb[c], nullptr, nullptr, {values_[c], nullptr, nullptr}});
}

void OpencvLinear::row(std::size_t k, const float* out[3]) {
  const int channels = rows_.channels();
  const std::uint8_t *top[3], *bottom[3];
  const int shown = static_cast<int>(k) + y_.cut;
  if (way_ == Way::kCopy) {
    rows_.row(y_.start + shown, top);
    for (int c = 0; c < channels; ++c) bytesToFloats(top[c], count_, values_[c]);
  } else if (way_ == Way::kHalve) {
    rows_.row(y_.start + 2 * shown, top);
    rows_.row(y_.start + 2 * shown + 1, bottom);
    for (int c = 0; c < channels; ++c)
      HWY_DYNAMIC_DISPATCH(Halve)(top[c], bottom[c], count_, values_[c]);
  } else {
    const ByteTap tap = tapOf(y_, k, false);
    const int row0 = std::clamp(tap.first, 0, y_.size - 1);
    const int row1 = std::clamp(tap.first + 1, 0, y_.size - 1);
    if (on_samples_ && tap.weight[1] == 0) {
      pick(y_.start + row0);
    } else {
      // A row without weight need not be there.
      const std::int32_t* const* const sums0 = resampled(tap.weight[0] == 0 ? row1 : row0);
      const std::int32_t* const* const sums1 = resampled(tap.weight[1] == 0 ? row0 : row1);
      for (int c = 0; c < channels; ++c)
        HWY_DYNAMIC_DISPATCH(Down)(sums0[c], sums1[c], tap.weight, count_, values_[c]);
    }
  }
  for (int c = 0; c < 3; ++c) out[c] = values_[channels == 1 ? 0 : c];
}

}  // namespace Tarn::preprocess
#endif  // HWY_ONCE
