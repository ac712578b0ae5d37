// Rows of a tensor by vectors. Rows are short enough for the first cache, so each channel of a row is
// normalised, converted and stored in one loop.
#include "tarnkit/src/preprocess/tn_tensorwriter.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <type_traits>

#include "tarnkit/src/cpu_x86/tn_wordfetch_cpu_x86.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "tarnkit/src/preprocess/tn_tensorwriter.cpp"
#include "hwy/foreach_target.h"  // compiles this file again for every CPU target

#include "hwy/highway.h"
#include "tarnkit/src/preprocess/tn_elements-inl.h"
#include "tarnkit/src/preprocess/tn_turn-inl.h"

#ifndef TN_KITS_PREPROCESS_TN_TENSORWRITER_ONCE_
#define TN_KITS_PREPROCESS_TN_TENSORWRITER_ONCE_
namespace Tarn::preprocess {

// Columns of elements on their way into a tensor. Distances count elements.
struct BandJob {
  const void* columns;
  std::size_t pitch, channel;  // from column to column and from channel to channel
  std::size_t rows, count, channels;
  bool interleaved;
  void* turned;  // scratch: a `channel` for each channel
  void* to;
  std::size_t to_row, to_channel;
};

}  // namespace Tarn::preprocess
#endif

HWY_BEFORE_NAMESPACE();
namespace Tarn::preprocess::HWY_NAMESPACE {
namespace {

template <Conversion kTo>
HWY_INLINE auto ElementsOf(const ElementRule& rule, VF v) {
  if constexpr (kTo == Conversion::kFloat32) return v;
  if constexpr (kTo == Conversion::kFloat16) return Float16Of(v);
  if constexpr (kTo == Conversion::kBfloat16) return Bfloat16Of(v);
  if constexpr (kTo == Conversion::kBytes) return BytesOf(v);
  if constexpr (kTo == Conversion::kQuantisedBytes) return QuantisedOf<std::uint8_t>(rule, v);
  if constexpr (kTo == Conversion::kQuantisedSigned) return QuantisedOf<std::int8_t>(rule, v);
}

// Vectors of as many elements as of floats, and one element.
template <Conversion kTo>
using Elements = decltype(ElementsOf<kTo>(ElementRule(), VF()));
template <Conversion kTo>
using ElementTag = hn::DFromV<Elements<kTo>>;
template <Conversion kTo>
using Element = hn::TFromD<ElementTag<kTo>>;

// Calls step(i, to) for vectors that cover [0, n), where step stores `kPer` elements a value to `to`.
// The first ones and the last ones may overlap; of fewer values than a vector has, memory of its own
// takes the excess. Planar elements are stored at whole vectors: stores across cache lines cost a fifth
// of a job.
template <int kPer, class T, class Step>
HWY_INLINE void ForVectors(std::size_t n, T* dst, const Step& step) {
  constexpr std::size_t kLanes = hn::MaxLanes(DF());
  if (n < kLanes) {
    HWY_ALIGN T all[kPer * kLanes];
    step(0, all);
    std::memcpy(dst, all, kPer * n * sizeof(T));
    return;
  }
  step(0, dst);
  std::size_t i = kLanes;
  if (kPer == 1) i -= reinterpret_cast<std::uintptr_t>(dst) / sizeof(T) % kLanes;
  for (; i + kLanes <= n; i += kLanes) step(i, dst + kPer * i);
  if (i < n) step(n - kLanes, dst + kPer * (n - kLanes));
}

template <Conversion kTo, Chain kChain>
void WritePlanar(const ElementRule& rule, int channel, const float* values, std::size_t n, void* to) {
  const ChannelChain chain = rule.channels[channel];
  ForVectors<1>(n, static_cast<Element<kTo>*>(to), [&](std::size_t i, Element<kTo>* dst) HWY_ATTR {
    const VF v = Normalised<kChain>(chain, hn::LoadU(DF(), values + i));
    hn::StoreU(ElementsOf<kTo>(rule, v), ElementTag<kTo>(), dst);
  });
}

template <Conversion kTo, Chain kChain>
void WriteInterleaved(const ElementRule& rule, const float* const values[3], std::size_t n, void* to) {
  const ChannelChain c0 = rule.channels[0], c1 = rule.channels[1], c2 = rule.channels[2];
  const float *const v0 = values[0], *const v1 = values[1], *const v2 = values[2];
  ForVectors<3>(n, static_cast<Element<kTo>*>(to), [&](std::size_t i, Element<kTo>* dst) HWY_ATTR {
    const auto a = ElementsOf<kTo>(rule, Normalised<kChain>(c0, hn::LoadU(DF(), v0 + i)));
    const auto b = ElementsOf<kTo>(rule, Normalised<kChain>(c1, hn::LoadU(DF(), v1 + i)));
    const auto c = ElementsOf<kTo>(rule, Normalised<kChain>(c2, hn::LoadU(DF(), v2 + i)));
#if HWY_TARGET == HWY_SCALAR
    dst[0] = hn::GetLane(a);
    dst[1] = hn::GetLane(b);
    dst[2] = hn::GetLane(c);
#else
    hn::StoreInterleaved3(a, b, c, ElementTag<kTo>(), dst);
#endif
  });
}

// Calls use(conversion, chain) with both as types.
template <Conversion kTo, class Use>
HWY_INLINE void WithChain(Chain chain, const Use& use) {
  const std::integral_constant<Conversion, kTo> to;
  switch (chain) {
    case Chain::kNone:
      return use(to, std::integral_constant<Chain, Chain::kNone>());
    case Chain::kDivide:
      return use(to, std::integral_constant<Chain, Chain::kDivide>());
    case Chain::kWhole:
      return use(to, std::integral_constant<Chain, Chain::kWhole>());
    case Chain::kWholePlainly:
      return use(to, std::integral_constant<Chain, Chain::kWholePlainly>());
  }
}

template <class Use>
HWY_INLINE void WithElements(const ElementRule& rule, Chain chain, const Use& use) {
  switch (rule.conversion) {
    case Conversion::kFloat32:
      return WithChain<Conversion::kFloat32>(chain, use);
    case Conversion::kFloat16:
      return WithChain<Conversion::kFloat16>(chain, use);
    case Conversion::kBfloat16:
      return WithChain<Conversion::kBfloat16>(chain, use);
    case Conversion::kBytes:
      return use(std::integral_constant<Conversion, Conversion::kBytes>(),
                 std::integral_constant<Chain, Chain::kNone>());
    case Conversion::kQuantisedBytes:
      return WithChain<Conversion::kQuantisedBytes>(chain, use);
    case Conversion::kQuantisedSigned:
      return WithChain<Conversion::kQuantisedSigned>(chain, use);
  }
}

void PlanarRow(const ElementRule& rule, int channel, const float* values, std::size_t n, void* to) {
  WithElements(rule, rule.channels[channel].chain, [&](auto to_element, auto chain) HWY_ATTR {
    WritePlanar<to_element(), chain()>(rule, channel, values, n, to);
  });
}

// All channels have one chain.
void InterleavedRow(const ElementRule& rule, const float* const values[3], std::size_t n, void* to) {
  WithElements(rule, rule.channels[0].chain, [&](auto to_element, auto chain) HWY_ATTR {
    WriteInterleaved<to_element(), chain()>(rule, values, n, to);
  });
}

// A band of columns into the tensor.
template <class T>
void WriteBand(const BandJob& job) {
  const T* const columns = static_cast<const T*>(job.columns);
  T* const to = static_cast<T*>(job.to);
  const std::size_t channel = job.channel, step = job.interleaved ? job.channels : 1;
  std::size_t whole = job.count / kTurned * kTurned;
  if (!job.interleaved) {
    for (std::size_t c = 0; c < job.channels; ++c)
      TurnRows(columns + c * channel, job.pitch, whole, job.rows, to + c * job.to_channel, job.to_row);
  } else {
#if HWY_TARGET == HWY_SCALAR
    whole = 0;
#else
    T* const turned = static_cast<T*>(job.turned);
    const hn::CappedTag<T, kTurned> d;
    for (std::size_t group = 0; group < whole; group += kTurned) {
      for (std::size_t c = 0; c < 3; ++c)
        TurnRows(columns + c * channel + group * job.pitch, job.pitch, kTurned, job.rows,
                 turned + c * channel, kTurned);
      for (std::size_t i = 0; i < job.rows; ++i)
        for (std::size_t k = 0; k < kTurned; k += hn::Lanes(d)) {
          const T* const from = turned + i * kTurned + k;
          hn::StoreInterleaved3(hn::Load(d, from), hn::Load(d, from + channel),
                                hn::Load(d, from + 2 * channel), d,
                                to + i * job.to_row + 3 * (group + k));
        }
    }
#endif
  }
  for (std::size_t c = 0; c < job.channels; ++c)
    for (std::size_t i = 0; i < job.rows; ++i)
      for (std::size_t k = whole; k < job.count; ++k)
        to[c * job.to_channel + i * job.to_row + k * step] = columns[c * channel + k * job.pitch + i];
}

void TurnBand(std::size_t element, const BandJob& job) {
  (element == 1   ? WriteBand<std::uint8_t>
   : element == 2 ? WriteBand<std::uint16_t>
                  : WriteBand<float>)(job);
}

// A pattern again and again, from its first byte on, by whole cache lines.
void FillPattern(const std::uint8_t* pattern, std::size_t bytes, std::uint8_t* to) {
  const hn::ScalableTag<std::uint8_t> d;
  constexpr std::size_t kLanes = hn::MaxLanes(d);
  const std::size_t ahead = (std::size_t{0} - reinterpret_cast<std::uintptr_t>(to)) % kPatternLine;
  std::size_t i = std::min(ahead, bytes);
  std::memcpy(to, pattern, i);
  for (; i + kPatternBytes <= bytes; i += kPatternBytes)
    for (std::size_t k = 0; k < kPatternBytes; k += kLanes)
      hn::StoreU(hn::LoadU(d, pattern + ahead + k), d, to + i + k);
  if (i < bytes) std::memcpy(to + i, pattern + ahead, bytes - i);
}

}  // namespace
}  // namespace Tarn::preprocess::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace Tarn::preprocess {
namespace {

HWY_EXPORT(PlanarRow);
HWY_EXPORT(InterleavedRow);
HWY_EXPORT(TurnBand);
HWY_EXPORT(FillPattern);

// Whether nothing underflows on the way to a quotient of what is 0 or of at least 2^-100, as the values
// of pixels are.
bool fastDivisor(float divisor) { return divisor >= 1.0f / 1024 && divisor <= 1024.0f; }
bool fastMean(float mean) { return mean == 0.0f || std::fabs(mean) >= 1.0f / (1 << 20); }

Conversion conversionOf(const TensorSpec& spec) {
  switch (spec.type) {
    case ElementType::kFloat32:
      return Conversion::kFloat32;
    case ElementType::kFloat16:
      return Conversion::kFloat16;
    case ElementType::kBfloat16:
      return Conversion::kBfloat16;
    case ElementType::kUint8:
      return spec.step == 0.0f ? Conversion::kBytes : Conversion::kQuantisedBytes;
    case ElementType::kInt8:
      break;
  }
  return Conversion::kQuantisedSigned;
}

// Whether quotients stay far below what a float holds, so that products by reciprocals do too.
bool fastSize(const TensorSpec& spec, int c) {
  const double largest = 255.0 / std::fabs(spec.divisor) + std::fabs(spec.mean[c]);
  return largest / std::fabs(spec.deviation[c]) < 1e30;
}

ChannelChain chainOf(const TensorSpec& spec, int c) {
  const float mean = spec.mean[c], deviation = spec.deviation[c], scale = spec.scale[c];
  ChannelChain chain = {Chain::kWhole,       spec.divisor,    mean, deviation, scale,
                        1.0f / spec.divisor, 1.0f / deviation};
  const bool exact =
      fastDivisor(spec.divisor) && fastDivisor(deviation) && fastMean(mean) && fastSize(spec, c);
  if (!exact)
    chain.chain = Chain::kWholePlainly;
  else if (mean == 0.0f && deviation == 1.0f && scale == 1.0f)
    chain.chain = spec.divisor == 1.0f ? Chain::kNone : Chain::kDivide;
  return chain;
}

}  // namespace

TensorWriter::TensorWriter(const TensorSpec& spec)
    : width_(static_cast<std::size_t>(spec.width)),
      height_(static_cast<std::size_t>(spec.height)),
      channels_(static_cast<std::size_t>(channelsOf(spec.colour))),
      element_(elementBytes(spec.type)),
      interleaved_(spec.layout == TensorLayout::kNhwc && channels_ > 1),
      blue_first_(spec.colour == TensorColour::kBgr),
      rule_{conversionOf(spec),
            {chainOf(spec, 0), chainOf(spec, 1), chainOf(spec, 2)},
            spec.step,
            spec.zero_point} {
  for (const ChannelChain& chain : rule_.channels)
    // Rows of pixels take one loop for all channels, whose chain must do for each.
    if (interleaved_ && chain.chain != rule_.channels[0].chain)
      for (ChannelChain& other : rule_.channels) other.chain = Chain::kWholePlainly;
  HWY_ALIGN float value[kFetchLanes];
  std::uint8_t elements[3 * sizeof(float)];
  for (std::size_t c = 0; c < channels_; ++c) {
    std::fill(value, value + kFetchLanes, spec.bar[c]);
    HWY_DYNAMIC_DISPATCH(PlanarRow)(rule_, static_cast<int>(c), value, 1, elements + c * element_);
  }
  const std::size_t unit = interleaved_ ? channels_ * element_ : element_;
  for (std::size_t c = 0; c < (interleaved_ ? 1 : channels_); ++c)
    for (std::size_t i = 0; i < sizeof bars_[c]; ++i) bars_[c][i] = elements[c * element_ + i % unit];
}

std::uint8_t* TensorWriter::elementAt(std::size_t channel, std::size_t y, std::size_t x) const {
  const std::size_t element =
      interleaved_ ? (y * width_ + x) * channels_ + channel : (channel * height_ + y) * width_ + x;
  return tensor_ + element * element_;
}

void TensorWriter::fillBar(std::size_t y, std::size_t x, std::size_t count) {
  if (count == 0) return;
  const std::size_t planes = interleaved_ ? 1 : channels_;
  const std::size_t bytes = count * element_ * (channels_ / planes);
  for (std::size_t c = 0; c < planes; ++c)
    HWY_DYNAMIC_DISPATCH(FillPattern)(bars_[c], bytes, elementAt(c, y, x));
}

void TensorWriter::fillBars(std::size_t first, std::size_t last) {
  const std::size_t top = static_cast<std::size_t>(geometry_.y.at);
  const std::size_t shown = static_cast<std::size_t>(geometry_.y.shown);
  for (std::size_t bar = first; bar < last; ++bar) fillBar(bar < top ? bar : bar + shown, 0, width_);
}

void TensorWriter::fillSides(std::size_t y) {
  const std::size_t left = static_cast<std::size_t>(geometry_.x.at);
  const std::size_t right = left + static_cast<std::size_t>(geometry_.x.shown);
  fillBar(y, 0, left);
  fillBar(y, right, width_ - right);
}

void TensorWriter::begin(const Geometry& geometry, bool by_columns, void* tensor) {
  geometry_ = geometry;
  by_columns_ = by_columns;
  tensor_ = static_cast<std::uint8_t*>(tensor);
  if (tensor_ == nullptr || !by_columns) return;
  const std::size_t shown = static_cast<std::size_t>(geometry_.y.shown);
  fillBars(0, height_ - shown);
  for (std::size_t k = 0; k < shown; ++k) fillSides(static_cast<std::size_t>(geometry_.y.at) + k);
}

void TensorWriter::take(TarnCPU::Arrays& arrays) {
  if (!by_columns_) return;
  const std::size_t bytes =
      channels_ * kBand * element_ * fetchPadded(static_cast<std::size_t>(geometry_.y.shown));
  band_ = arrays.take<std::uint8_t>(bytes);
  if (interleaved_) turned_ = arrays.take<std::uint8_t>(bytes);
}

void TensorWriter::put(std::size_t k, const float* const colours[3]) {
  const float* const ordered[3] = {colours[blue_first_ ? 2 : 0], colours[1],
                                   colours[blue_first_ ? 0 : 2]};
  if (!by_columns_) return putRow(k, ordered);
  const std::size_t n = static_cast<std::size_t>(geometry_.y.shown), row = fetchPadded(n) * element_;
  for (std::size_t c = 0; c < std::min<std::size_t>(channels_, 3); ++c) HWY_DYNAMIC_DISPATCH(PlanarRow)
  (rule_, static_cast<int>(c), ordered[c], n, band_ + (c * kBand + k % kBand) * row);
  const bool last = k + 1 == static_cast<std::size_t>(geometry_.x.shown);
  if (k % kBand == kBand - 1 || last) putBand(k / kBand * kBand, k % kBand + 1);
}

void TensorWriter::putRow(std::size_t k, const float* const colours[3]) {
  const std::size_t n = static_cast<std::size_t>(geometry_.x.shown);
  // Bars are spread among the rows: stores that wait for memory do so while the next row is computed.
  const std::size_t shown = static_cast<std::size_t>(geometry_.y.shown), bars = height_ - shown;
  fillBars(bars * k / shown, bars * (k + 1) / shown);
  const std::size_t y = static_cast<std::size_t>(geometry_.y.at) + k,
                    x = static_cast<std::size_t>(geometry_.x.at);
  fillSides(y);
  if (interleaved_) return HWY_DYNAMIC_DISPATCH(InterleavedRow)(rule_, colours, n, elementAt(0, y, x));
  for (std::size_t c = 0; c < std::min<std::size_t>(channels_, 3); ++c)
    HWY_DYNAMIC_DISPATCH(PlanarRow)(rule_, static_cast<int>(c), colours[c], n, elementAt(c, y, x));
}

void TensorWriter::putBand(std::size_t first, std::size_t count) {
  const std::size_t n = static_cast<std::size_t>(geometry_.y.shown), padded = fetchPadded(n);
  const std::size_t y = static_cast<std::size_t>(geometry_.y.at);
  const std::size_t x = static_cast<std::size_t>(geometry_.x.at) + first;
  const BandJob job = {band_,
                       padded,
                       kBand * padded,
                       n,
                       count,
                       channels_,
                       interleaved_,
                       turned_,
                       elementAt(0, y, x),
                       interleaved_ ? width_ * channels_ : width_,
                       interleaved_ ? 1 : width_ * height_};
  HWY_DYNAMIC_DISPATCH(TurnBand)(element_, job);
}

}  // namespace Tarn::preprocess
#endif  // HWY_ONCE
