// Semi-planar 4:2:0 frames to planar float tensors, with and without resampling.
//
// A tensor takes 12 bytes for each pixel, eight times what the frame does, so writing it is most of the
// work. Luma and chroma of a pair of output rows are therefore prepared as floats in the first cache,
// and then each row of each channel is written in one run. Writing six runs at a time took a sixth
// longer.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <type_traits>

#include "common/tn_check.h"
#include "tarnkit/src/cpu_x86/tn_yuvplan_cpu_x86.h"
#include "tn_yuvconverter.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "tarnkit/src/cpu_x86/tn_yuvconverter_cpu_x86.cpp"
#include "hwy/cache_control.h"
#include "hwy/foreach_target.h"  // compiles this file again for every instruction set
#include "hwy/highway.h"

#ifndef TN_YUVCONVERTER_ONCE
#define TN_YUVCONVERTER_ONCE
namespace Tarn {

// Where a frame's bytes are and which of them exist.
struct YuvFrame {
  const std::uint8_t* luma;
  const std::uint8_t* chroma;
  std::size_t luma_pitch, chroma_pitch;
  std::size_t luma_bytes, chroma_bytes;  // chroma follows luma
};

// Three float planes.
struct YuvTensor {
  float* data;
  std::size_t pitch, plane;  // floats from row to row and from channel to channel
  bool far;                  // too many bytes for the caches
};

}  // namespace Tarn
#endif

HWY_BEFORE_NAMESPACE();
namespace Tarn {
namespace HWY_NAMESPACE {
namespace {
namespace hn = hwy::HWY_NAMESPACE;

using DF = hn::ScalableTag<float>;
using DI = hn::RebindToSigned<DF>;
using DU = hn::RebindToUnsigned<DF>;
using D8 = hn::Repartition<std::uint8_t, DF>;
using VF = hn::Vec<DF>;
using VU = hn::Vec<DU>;

// ---- colours

// A row of the colour matrix.
struct Channel {
  float from_y, from_c1, from_c2, offset;
};

template <class D>
HWY_INLINE HWY_ATTR void ColourAt(D d, const float* y, const float* c1, const float* c2, Channel channel,
                                  std::size_t i, float* dst) {
  const auto sum = hn::Add(hn::Add(hn::Mul(hn::Set(d, channel.from_y), hn::LoadU(d, y + i)),
                                   hn::Mul(hn::Set(d, channel.from_c1), hn::LoadU(d, c1 + i))),
                           hn::Mul(hn::Set(d, channel.from_c2), hn::LoadU(d, c2 + i)));
  hn::StoreU(hn::Add(sum, hn::Set(d, channel.offset)), d, dst + i);
}

// One row of one channel: n outputs from luma and from chroma, of which every value stands twice.
// Called for meanwhile, if given: `next`, where n more floats will be written soon.
template <bool kCallsNext>
HWY_ATTR void ColourRow(const float* HWY_RESTRICT y, const float* HWY_RESTRICT c1,
                        const float* HWY_RESTRICT c2, std::size_t n, Channel channel,
                        float* HWY_RESTRICT dst, [[maybe_unused]] const float* next) {
  const DF d;
  const std::size_t lanes = hn::Lanes(d);
  std::size_t i = 0;
  if (n < lanes) {
    for (; i < n; ++i) ColourAt(hn::CappedTag<float, 1>(), y, c1, c2, channel, i, dst);
    return;
  }
  // The first vector overlaps the second, which starts where the tensor is aligned: stores across cache
  // lines cost a fifth of the time. The last one overlaps too.
  ColourAt(d, y, c1, c2, channel, 0, dst);
  i = lanes - reinterpret_cast<std::uintptr_t>(dst) / sizeof(float) % lanes;
  for (; i + lanes <= n; i += lanes) {
    if constexpr (kCallsNext) hwy::Prefetch(next + i);
    ColourAt(d, y, c1, c2, channel, i, dst);
  }
  ColourAt(d, y, c1, c2, channel, n - lanes, dst);
}

// Columns [0, n) of a row pair of all channels, of which `left` rows are left.
HWY_ATTR void ColourRowPair(const float* const y[2], const float* const c[2], std::size_t n,
                            const _ConvertMatrixFromYUV& mat, const YuvTensor& tensor, std::size_t left,
                            float* dst) {
  for (std::size_t k = 0; k < 3; ++k) {
    const Channel channel = {mat.coef[3 * k], mat.coef[3 * k + 1], mat.coef[3 * k + 2], mat.offset[k]};
    for (std::size_t row = 0; row < 2; ++row) {
      float* const to = dst + k * tensor.plane + row * tensor.pitch;
      if (tensor.far && left >= 4)
        ColourRow<true>(y[row], c[0], c[1], n, channel, to, to + 2 * tensor.pitch);
      else
        ColourRow<false>(y[row], c[0], c[1], n, channel, to, nullptr);
    }
  }
}

// ---- bytes at their own size

template <class D>
HWY_ATTR void ExpandLumaAt(D d, const std::uint8_t* src, std::size_t i, float* dst) {
  const hn::Rebind<std::uint8_t, D> d8;
  const hn::RebindToSigned<D> di;
  hn::StoreU(hn::ConvertTo(d, hn::PromoteTo(di, hn::LoadU(d8, src + i))), d, dst + i);
}

HWY_ATTR void ExpandLuma(const std::uint8_t* src, std::size_t n, float* dst) {
  const DF d;
  const std::size_t lanes = hn::Lanes(d);
  std::size_t i = 0;
  for (; i + lanes <= n; i += lanes) ExpandLumaAt(d, src, i, dst);
  if (i < n && n >= lanes) return ExpandLumaAt(d, src, n - lanes, dst);
  for (; i < n; ++i) ExpandLumaAt(hn::CappedTag<float, 1>(), src, i, dst);
}

// n bytes, pairs of C1 and C2, to n floats of each: every value twice.
HWY_ATTR void ExpandChroma(const std::uint8_t* src, std::size_t n, float* c1, float* c2) {
  std::size_t i = 0;
#if HWY_TARGET != HWY_SCALAR
  const DF d;
  const DI di;
  const hn::Rebind<std::uint8_t, DF> d8;
  const hn::Repartition<std::uint16_t, decltype(d8)> d16;
  const std::size_t lanes = hn::Lanes(d);
  const auto low = hn::Set(d16, 0x00FF);
  const auto at = [&](std::size_t k) HWY_ATTR {
    const auto pair = hn::BitCast(d16, hn::LoadU(d8, src + k));
    const auto first = hn::And(pair, low), second = hn::ShiftRight<8>(pair);
    const auto firsts = hn::BitCast(d8, hn::Or(first, hn::ShiftLeft<8>(first)));
    const auto seconds = hn::BitCast(d8, hn::Or(second, hn::AndNot(low, pair)));
    hn::StoreU(hn::ConvertTo(d, hn::PromoteTo(di, firsts)), d, c1 + k);
    hn::StoreU(hn::ConvertTo(d, hn::PromoteTo(di, seconds)), d, c2 + k);
  };
  for (; i + lanes <= n; i += lanes) at(i);
  if (i < n && n >= lanes) return at(n - lanes);
#endif
  for (; i < n; i += 2) {
    c1[i] = c1[i + 1] = src[i];
    c2[i] = c2[i + 1] = src[i + 1];
  }
}

// Converts w x h pixels, both even.
HWY_ATTR void ConvertSameSize(const YuvFrame& frame, std::size_t w, std::size_t h,
                              const _ConvertMatrixFromYUV& mat, const YuvTensor& tensor) {
  // Columns that are in work at a time; their floats take half of the first cache.
  constexpr std::size_t kColumns = 1024;
  HWY_ALIGN float scratch[4][kColumns];
  const float* const y[2] = {scratch[0], scratch[1]};
  const float* const c[2] = {scratch[2], scratch[3]};
  for (std::size_t row = 0; row < h; row += 2)
    for (std::size_t x = 0; x < w; x += kColumns) {
      const std::size_t n = std::min(kColumns, w - x);
      ExpandLuma(frame.luma + row * frame.luma_pitch + x, n, scratch[0]);
      ExpandLuma(frame.luma + (row + 1) * frame.luma_pitch + x, n, scratch[1]);
      ExpandChroma(frame.chroma + row / 2 * frame.chroma_pitch + x, n, scratch[2], scratch[3]);
      ColourRowPair(y, c, n, mat, tensor, h - row, tensor.data + row * tensor.pitch + x);
    }
}

// ---- resampling

#if HWY_TARGET != HWY_SCALAR
// From both rows 16 bytes at each offset, block after block. Both at once, so that few offsets are alive
// at a time.
template <class D>
HWY_INLINE HWY_ATTR void LoadBlocks(D d, const std::uint8_t* top_row, const std::uint8_t* bottom_row,
                                    const std::int32_t* offset, hn::Vec<D>& top, hn::Vec<D>& bottom) {
  if constexpr (hn::MaxLanes(D()) == 16) {
    top = hn::LoadU(d, top_row + *offset);
    bottom = hn::LoadU(d, bottom_row + *offset);
  } else {
    const hn::Half<D> half;
    hn::Vec<decltype(half)> top_low, top_high, bottom_low, bottom_high;
    LoadBlocks(half, top_row, bottom_row, offset, top_low, bottom_low);
    LoadBlocks(half, top_row, bottom_row, offset + hn::MaxLanes(half) / 16, top_high, bottom_high);
    top = hn::Combine(d, top_high, top_low);
    bottom = hn::Combine(d, bottom_high, bottom_low);
  }
}
#endif

// The tables of a fetch, as addresses that the compiler need not read again after every store.
struct FetchTables {
  explicit FetchTables(const YuvFetch& fetch)
      : offset{fetch.offset[0], fetch.offset[1]},
        lookup{fetch.lookup[0], fetch.lookup[1]},
        word(fetch.word),
        lane(fetch.lane),
        shift(fetch.shift) {}
  const std::int32_t* offset[2];
  const std::uint32_t* lookup[2];
  const std::int32_t *word, *lane, *shift;
};

// In place of a number of loads: outputs fetch from spans.
constexpr int kSpans = 3;

// The words of outputs [i, i + lanes) in two source rows.
template <int kLoads>
HWY_INLINE HWY_ATTR void FetchWords(const FetchTables& fetch, const std::uint8_t* top_row,
                                    const std::uint8_t* bottom_row, std::size_t i, VU& top, VU& bottom) {
  const DU d;
#if HWY_TARGET != HWY_SCALAR
  if constexpr (kLoads == kSpans) {
    const DI di;
    const auto lane = hn::LoadU(di, fetch.lane + i);
    const auto shift = hn::BitCast(d, hn::LoadU(di, fetch.shift + i));
    const auto in_first = hn::RebindMask(d, hn::Lt(lane, hn::Set(di, static_cast<int>(kYuvMaxLanes))));
    // A lookup takes the low bits of its index, so that one index serves both halves of a span.
    const auto index =
        hn::IndicesFromVec(d, hn::And(lane, hn::Set(di, static_cast<int>(kYuvMaxLanes) - 1)));
    const auto pick = [&](const std::uint8_t* row) HWY_ATTR {
      const D8 d8;
      const std::uint8_t* const start = row + fetch.word[i];
      const auto first = hn::BitCast(d, hn::LoadU(d8, start));
      const auto second = hn::BitCast(d, hn::LoadU(d8, start + hn::Lanes(d8)));
      const auto words = hn::IfThenElse(in_first, hn::TableLookupLanes(first, index),
                                        hn::TableLookupLanes(second, index));
      return hn::Shr(words, shift);
    };
    top = pick(top_row);
    bottom = pick(bottom_row);
    return;
  } else if constexpr (kLoads > 0) {
    const D8 d8;
    const std::size_t group = i / kYuvGroup;
    hn::Vec<D8> upper, lower;
    LoadBlocks(d8, top_row, bottom_row, fetch.offset[0] + group, upper, lower);
    auto lookup = hn::BitCast(d8, hn::LoadU(d, fetch.lookup[0] + i));
    upper = hn::TableLookupBytesOr0(upper, lookup);
    lower = hn::TableLookupBytesOr0(lower, lookup);
    if constexpr (kLoads > 1) {
      hn::Vec<D8> upper2, lower2;
      LoadBlocks(d8, top_row, bottom_row, fetch.offset[1] + group, upper2, lower2);
      lookup = hn::BitCast(d8, hn::LoadU(d, fetch.lookup[1] + i));
      upper = hn::Or(upper, hn::TableLookupBytesOr0(upper2, lookup));
      lower = hn::Or(lower, hn::TableLookupBytesOr0(lower2, lookup));
    }
    top = hn::BitCast(d, upper);
    bottom = hn::BitCast(d, lower);
    return;
  }
#endif
  if constexpr (hn::MaxLanes(DU()) >= 8) {
    const DI di;
    const auto offset = hn::LoadU(di, fetch.word + i);
    const auto gather = [&](const std::uint8_t* row) HWY_ATTR {
      return hn::BitCast(d, hn::GatherOffset(di, reinterpret_cast<const std::int32_t*>(row), offset));
    };
    top = gather(top_row);
    bottom = gather(bottom_row);
  } else {
    HWY_ALIGN std::uint32_t words[2][hn::MaxLanes(DU())];
    for (std::size_t lane = 0; lane < hn::Lanes(d); ++lane) {
      std::memcpy(&words[0][lane], top_row + fetch.word[i + lane], sizeof(std::uint32_t));
      std::memcpy(&words[1][lane], bottom_row + fetch.word[i + lane], sizeof(std::uint32_t));
    }
    top = hn::Load(d, words[0]);
    bottom = hn::Load(d, words[1]);
  }
}

template <int kByte>
HWY_INLINE HWY_ATTR VF ByteOf(VU words) {
  const DU du;
  return hn::ConvertTo(DF(),
                       hn::BitCast(DI(), hn::And(hn::ShiftRight<8 * kByte>(words), hn::Set(du, 0xFFu))));
}

struct RowWeights {
  float f0, f1;
};

// The weights of a vector of outputs.
struct Weights {
  VF top_left, top_right, bottom_left, bottom_right;
};

HWY_INLINE HWY_ATTR Weights WeightsAt(const float* f0, const float* f1, std::size_t i, VF fy0, VF fy1) {
  const VF fx0 = hn::LoadU(DF(), f0 + i), fx1 = hn::LoadU(DF(), f1 + i);
  return {hn::Mul(fx0, fy0), hn::Mul(fx1, fy0), hn::Mul(fy1, fx0), hn::Mul(fy1, fx1)};
}

// Bytes kFirst of the words are the left-hand samples, bytes kFirst + kStep the right-hand ones. The
// order of the sum is part of the contract.
template <int kFirst, int kStep>
HWY_INLINE HWY_ATTR VF Interpolate(VU top, VU bottom, const Weights& w) {
  const VF upper = hn::Add(hn::Mul(ByteOf<kFirst>(top), w.top_left),
                           hn::Mul(ByteOf<kFirst + kStep>(top), w.top_right));
  return hn::Add(hn::Add(upper, hn::Mul(ByteOf<kFirst>(bottom), w.bottom_left)),
                 hn::Mul(ByteOf<kFirst + kStep>(bottom), w.bottom_right));
}

// With every output on a sample column fx0 is 1 and fx1 is 0. The right-hand products are then zeros, of
// either sign, added to sums that are never -0, since fy0 is not negative: leaving them out changes no
// bit.
template <int kFirst>
HWY_INLINE HWY_ATTR VF InterpolateOnSamples(VU top, VU bottom, VF fy0, VF fy1) {
  return hn::Add(hn::Mul(ByteOf<kFirst>(top), fy0), hn::Mul(ByteOf<kFirst>(bottom), fy1));
}

// What is known about the weights of all outputs of a row.
enum class Along { kVarying, kUniform, kOnSamples };

// A row of luma; writes up to the padding.
template <int kLoads, Along kAlong>
HWY_ATTR void SampleLuma(const YuvPlan& plan, const std::uint8_t* const rows[2], RowWeights f,
                         float* out) {
  const DF d;
  const VF fy0 = hn::Set(d, f.f0), fy1 = hn::Set(d, f.f1);
  const FetchTables fetch(plan.luma);
  const float *const fx0 = plan.x.f0, *const fx1 = plan.x.f1;
  const Weights same = WeightsAt(fx0, fx1, 0, fy0, fy1);
  const auto weights = [&](std::size_t i) HWY_ATTR {
    return kAlong == Along::kUniform ? same : WeightsAt(fx0, fx1, i, fy0, fy1);
  };
  const std::size_t count = plan.x.count;
  const std::uint8_t *const row0 = rows[0], *const row1 = rows[1];
  for (std::size_t i = 0; i < count; i += hn::Lanes(d)) {
    VU top, bottom;
    FetchWords<kLoads>(fetch, row0, row1, i, top, bottom);
    if constexpr (kAlong == Along::kOnSamples)
      hn::StoreU(InterpolateOnSamples<0>(top, bottom, fy0, fy1), d, out + i);
    else
      hn::StoreU(Interpolate<0, 1>(top, bottom, weights(i)), d, out + i);
  }
}

HWY_INLINE HWY_ATTR void StoreTwice(VF v, float* dst) {
#if HWY_TARGET == HWY_SCALAR
  dst[0] = dst[1] = hn::GetLane(v);
#else
  hn::StoreInterleaved2(v, v, DF(), dst);
#endif
}

// A row of chroma, every value twice; writes up to the padding.
template <int kLoads, Along kAlong>
HWY_ATTR void SampleChroma(const YuvPlan& plan, const std::uint8_t* const rows[2], RowWeights f,
                           float* c1, float* c2) {
  const DF d;
  const VF fy0 = hn::Set(d, f.f0), fy1 = hn::Set(d, f.f1);
  const FetchTables fetch(plan.chroma);
  const float *const fx0 = plan.x.f0, *const fx1 = plan.x.f1;
  const Weights same = WeightsAt(fx0, fx1, 0, fy0, fy1);
  const auto weights = [&](std::size_t i) HWY_ATTR {
    return kAlong == Along::kUniform ? same : WeightsAt(fx0, fx1, i, fy0, fy1);
  };
  const std::size_t count = plan.x.count / 2;
  const std::uint8_t *const row0 = rows[0], *const row1 = rows[1];
  for (std::size_t i = 0; i < count; i += hn::Lanes(d)) {
    VU top, bottom;
    FetchWords<kLoads>(fetch, row0, row1, i, top, bottom);
    if constexpr (kAlong == Along::kOnSamples) {
      StoreTwice(InterpolateOnSamples<0>(top, bottom, fy0, fy1), c1 + 2 * i);
      StoreTwice(InterpolateOnSamples<1>(top, bottom, fy0, fy1), c2 + 2 * i);
    } else {
      const Weights w = weights(i);
      StoreTwice(Interpolate<0, 2>(top, bottom, w), c1 + 2 * i);
      StoreTwice(Interpolate<1, 2>(top, bottom, w), c2 + 2 * i);
    }
  }
}

// Calls job(loads, along) with both as types.
template <class Job>
HWY_ATTR void WithShape(const YuvFetch& fetch, const YuvAxis& axis, const Job& job) {
  const auto with = [&](auto l) HWY_ATTR {
    if (axis.on_samples)
      job(l, std::integral_constant<Along, Along::kOnSamples>());
    else if (axis.uniform)
      job(l, std::integral_constant<Along, Along::kUniform>());
    else
      job(l, std::integral_constant<Along, Along::kVarying>());
  };
  const int loads = fetch.loads;
#if HWY_TARGET != HWY_SCALAR
  if constexpr (hn::MaxLanes(DF()) == kYuvMaxLanes)
    if (fetch.spans) return with(std::integral_constant<int, kSpans>());
#endif
  if (loads == 1)
    with(std::integral_constant<int, 1>());
  else if (loads == 2)
    with(std::integral_constant<int, 2>());
  else
    with(std::integral_constant<int, 0>());
}

// `reach` bytes from byte `start` of a plane of which `bytes` exist: in place where they all do, else a
// copy that goes on with the `step` bytes at `last`, or with zeros if there is no such sample.
inline const std::uint8_t* RowOrCopy(const std::uint8_t* plane, std::size_t bytes, std::size_t start,
                                     std::size_t reach, const std::uint8_t* last, std::size_t step,
                                     std::uint8_t* copy) {
  if (reach <= bytes && start <= bytes - reach) return plane + start;
  const std::size_t inside = start < bytes ? std::min(reach, bytes - start) : 0;
  if (inside > 0) std::memcpy(copy, plane + start, inside);
  for (std::size_t i = inside; i < reach; ++i)
    copy[i] = last == nullptr ? std::uint8_t{0} : last[(start + i) % step];
  return copy;
}

void LumaRows(const YuvFrame& frame, YuvPlan& plan, std::size_t y, const std::uint8_t* rows[2]) {
  // Behind the luma the frame goes on with chroma, which taps past the luma read.
  const std::size_t bytes = frame.luma_bytes + frame.chroma_bytes;
  const std::size_t first = static_cast<std::size_t>(std::max<std::int64_t>(plan.y.index[y], 0));
  const std::uint8_t* const last = frame.luma_bytes > 0 ? frame.luma + frame.luma_bytes - 1 : nullptr;
  for (std::size_t i = 0; i < 2; ++i)
    rows[i] = RowOrCopy(frame.luma, bytes, (first + i) * frame.luma_pitch, plan.luma.reach, last, 1,
                        plan.luma_rows[i]);
}

void ChromaRows(const YuvFrame& frame, YuvPlan& plan, std::size_t y, const std::uint8_t* rows[2]) {
  const std::size_t first = static_cast<std::size_t>(std::max<std::int64_t>(plan.y.index[y], 0));
  const std::uint8_t* const last =
      frame.chroma_bytes > 0 ? frame.chroma + frame.chroma_bytes - 2 : nullptr;
  for (std::size_t i = 0; i < 2; ++i)
    rows[i] = RowOrCopy(frame.chroma, frame.chroma_bytes, (first + i) * frame.chroma_pitch,
                        plan.chroma.reach, last, 2, plan.chroma_rows[i]);
}

HWY_ATTR void ConvertResampled(const YuvFrame& frame, YuvPlan& plan, const _ConvertMatrixFromYUV& mat,
                               const YuvTensor& tensor) {
  if (plan.x.count == 0) return;
  const float* const luma[2] = {plan.luma_out[0], plan.luma_out[1]};
  const float* const chroma[2] = {plan.chroma_out[0], plan.chroma_out[1]};
  for (std::size_t y = 0; y + 1 < plan.y.count; y += 2) {
    const std::uint8_t* rows[2];
    ChromaRows(frame, plan, y / 2, rows);
    WithShape(plan.chroma, plan.x, [&](auto loads, auto along) HWY_ATTR {
      SampleChroma<loads(), along()>(plan, rows, {plan.y.f0[y / 2], plan.y.f1[y / 2]},
                                     plan.chroma_out[0], plan.chroma_out[1]);
    });
    for (std::size_t i = 0; i < 2; ++i) {
      LumaRows(frame, plan, y + i, rows);
      WithShape(plan.luma, plan.x, [&](auto loads, auto along) HWY_ATTR {
        SampleLuma<loads(), along()>(plan, rows, {plan.y.f0[y + i], plan.y.f1[y + i]}, plan.luma_out[i]);
      });
    }
    ColourRowPair(luma, chroma, plan.x.count / 2 * 2, mat, tensor, plan.y.count - y,
                  tensor.data + y * tensor.pitch);
  }
}

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace Tarn
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace Tarn {
namespace {

HWY_EXPORT(ConvertSameSize);
HWY_EXPORT(ConvertResampled);

// Callers match crash reports by this place, which therefore stays although the code moves.
#define TN_YUV_SOURCE "tarnkit/src/cpu_x86/tn_yuvconverter_cpu_x86"

std::size_t atLeast0(int size) { return static_cast<std::size_t>(std::max(size, 0)); }

YuvTensor tensorOf(const _TN_Image& image, std::size_t width, std::size_t height) {
  // Around this, calling for memory ahead begins to save more than it costs.
  constexpr std::size_t kNearBytes = std::size_t{12} << 20;
  const std::size_t plane = width * height;
  return {static_cast<float*>(image.data), width, plane, 3 * plane * sizeof(float) > kNearBytes};
}

// Weights and indices of w x h outputs from a plane of `pitch` samples a row, `step` bytes each.
void fillTables(const YuvPlan& plan, std::size_t w, std::size_t h, int pitch, int step, float* weights,
                std::int32_t* index) {
  for (std::size_t y = 0; y < h; ++y) {
    const float fy0 = plan.y.f0[y], fy1 = plan.y.f1[y];
    const std::int64_t row = pitch * plan.y.index[y], next_row = pitch * (plan.y.index[y] + 1);
    for (std::size_t x = 0; x < w; ++x) {
      const float fx0 = plan.x.f0[x], fx1 = plan.x.f1[x];
      *weights++ = fx0 * fy0;
      *weights++ = fx1 * fy0;
      *weights++ = fy1 * fx0;
      *weights++ = fy1 * fx1;
      *index++ = static_cast<std::int32_t>((row + plan.x.index[x]) * step);
      *index++ = static_cast<std::int32_t>((next_row + plan.x.index[x]) * step);
    }
  }
}

struct Free {
  void operator()(void* block) const { std::free(block); }
};
template <class T>
using Block = std::unique_ptr<T[], Free>;

// `count` zeros. An empty table is a block too, so that no block is always an error.
template <class T>
Block<T> allocate(std::size_t count) {
  Block<T> block(static_cast<T*>(std::calloc(std::max<std::size_t>(count, 1), sizeof(T))));
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

template <class T>
void release(T*& buffer) {
  if (buffer == nullptr) return;
  std::free(buffer);
  buffer = nullptr;
}

// Indices of the chroma table of a w x h output.
std::size_t chromaIndices(std::size_t w, std::size_t h) { return 2 * (w / 2) * (h / 2); }

// The plan follows the chroma's indices in their block, from the next cache line on.
YuvPlan* planBehind(std::int32_t* index_uv, std::size_t indices) {
  void* place = index_uv + indices;
  std::size_t space = 2 * kYuvLine;
  return static_cast<YuvPlan*>(std::align(kYuvLine, kYuvLine, place, space));
}

}  // namespace

TarnYUVToolKit::TarnYUVToolKit(const int& src_width, const int& src_height, const int& src_uv_width,
                               const int& src_uv_height, const int& dst_width, const int& dst_height)
    : src_width_(src_width),
      src_height_(src_height),
      src_uv_width_(src_uv_width),
      src_uv_height_(src_uv_height),
      dst_width_(dst_width),
      dst_height_(dst_height) {
  const YuvPlanSizes sizes = {src_width, src_height, dst_width, dst_height};
  const std::size_t w = atLeast0(dst_width), h = atLeast0(dst_height), indices = chromaIndices(w, h);
  // calloc refuses what does not fit a size_t; these counts do, below 2^31 by 2^31 pixels.
  Block<float> weights_y = allocate<float>(4 * w * h), weights_uv = allocate<float>(2 * indices);
  Block<std::int32_t> index_y = allocate<std::int32_t>(2 * w * h);
  Block<std::int32_t> index_uv =
      allocate<std::int32_t>(indices + (YuvPlan::bytesFor(sizes) + kYuvLine) / sizeof(std::int32_t));
  Block<float> buf_y = allocate<float>(w * h), buf_u = allocate<float>(w * h / 4),
               buf_v = allocate<float>(w * h / 4);

  const YuvPlan& plan = YuvPlan::makeAt(planBehind(index_uv.get(), indices), sizes);
  fillTables(plan, plan.x.count, plan.y.count, src_width, 1, weights_y.get(), index_y.get());
  fillTables(plan, plan.x.count / 2, plan.y.count / 2, src_uv_width, 2, weights_uv.get(),
             index_uv.get());
  buf_y_ = buf_y.release();
  buf_u_ = buf_u.release();
  buf_v_ = buf_v.release();
  weights_y_ = weights_y.release();
  weights_uv_ = weights_uv.release();
  index_y_ = index_y.release();
  index_uv_ = index_uv.release();
}

TarnYUVToolKit::~TarnYUVToolKit() {
  release(buf_y_);
  release(buf_u_);
  release(buf_v_);
  release(weights_y_);
  release(weights_uv_);
  release(index_y_);
  release(index_uv_);
}

TarnYUVToolKit& TarnYUVToolKit::operator=(const TarnYUVToolKit& other) = default;

const _ConvertMatrixFromYUV TarnYUVToolKit::getCvtMat() const { return cvt_mat_; }

void TarnYUVToolKit::setCvtMat(const _ConvertMatrixFromYUV& mat) { cvt_mat_ = mat; }

void TarnYUVToolKit::convert(const _TN_Image& in_, const _TN_Image& out_) {
  if (out_.pix_fmt != TN_PIX_FMT_CHW_F32) return;
  YuvPlan& plan = *planBehind(index_uv_, chromaIndices(atLeast0(dst_width_), atLeast0(dst_height_)));
  const std::size_t w = plan.x.count, h = plan.y.count;
  YuvFrame frame;
  frame.luma_pitch = atLeast0(src_width_);
  frame.luma_bytes = frame.luma_pitch * atLeast0(src_height_);
  frame.chroma_pitch = 2 * atLeast0(src_uv_width_);
  frame.chroma_bytes = frame.chroma_pitch * (atLeast0(src_height_) / 2);
  frame.luma = static_cast<const std::uint8_t*>(in_.data);
  frame.chroma = frame.luma + frame.luma_bytes;
  const YuvTensor tensor = tensorOf(out_, w, h);
  if (plan.same_size && frame.chroma_pitch >= w / 2 * 2)
    HWY_DYNAMIC_DISPATCH(ConvertSameSize)(frame, w / 2 * 2, h / 2 * 2, cvt_mat_, tensor);
  else
    HWY_DYNAMIC_DISPATCH(ConvertResampled)(frame, plan, cvt_mat_, tensor);
}

void TarnYUVToolKit::Convert(const _TN_Image& in_, const _TN_Image& out_,
                             const _ConvertMatrixFromYUV& mat) {
  TN_CHECK_AT(in_.pix_fmt == TN_PIX_FMT_NV12 || in_.pix_fmt == TN_PIX_FMT_NV21 ||
                  in_.pix_fmt == TN_PIX_FMT_YUVI420 || in_.pix_fmt == TN_PIX_FMT_YUV420V,
              "in_.pix_fmt == TN_PIX_FMT_NV12 || in_.pix_fmt == TN_PIX_FMT_NV21 || "
              "in_.pix_fmt == TN_PIX_FMT_YUVI420 || in_.pix_fmt == TN_PIX_FMT_YUV420V",
              TN_YUV_SOURCE, 1182);
  TN_CHECK_AT(out_.pix_fmt == TN_PIX_FMT_CHW_F32, "out_.pix_fmt == TN_PIX_FMT_CHW_F32", TN_YUV_SOURCE,
              1183);
  const std::size_t w = atLeast0(in_.width), h = atLeast0(in_.height);
  YuvFrame frame;
  frame.luma_pitch = frame.chroma_pitch = w;
  frame.luma_bytes = w * h;
  frame.chroma_bytes = w * (h / 2);
  frame.luma = static_cast<const std::uint8_t*>(in_.data);
  frame.chroma = frame.luma + frame.luma_bytes;
  const YuvTensor tensor = tensorOf(out_, atLeast0(out_.width), atLeast0(out_.height));
  HWY_DYNAMIC_DISPATCH(ConvertSameSize)(frame, w / 2 * 2, h / 2 * 2, mat, tensor);
}

}  // namespace Tarn
#endif  // HWY_ONCE
