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
#include "hwy/foreach_target.h"  // compiles this file again for every instruction set

#include "common/tn_stores-inl.h"
#include "common/tn_tail-inl.h"
#include "hwy/cache_control.h"
#include "hwy/highway.h"
#include "tarnkit/src/cpu_x86/tn_wordfetch_cpu_x86-inl.h"

HWY_BEFORE_NAMESPACE();
namespace Tarn {
namespace HWY_NAMESPACE {
namespace {
namespace hn = hwy::HWY_NAMESPACE;
using TarnCPU::HWY_NAMESPACE::StreamRun;

using DF = hn::ScalableTag<float>;
using DI = hn::RebindToSigned<DF>;
using DU = hn::RebindToUnsigned<DF>;
using VF = hn::Vec<DF>;
using VU = hn::Vec<DU>;

// ---- colours

// One row of one channel: n outputs from luma and from chroma, of which every value stands twice.
struct ColourRow {
  const float *HWY_RESTRICT y, *HWY_RESTRICT c1, *HWY_RESTRICT c2;
  float from_y, from_c1, from_c2, offset;

  template <class D>
  HWY_INLINE HWY_ATTR hn::Vec<D> at(D d, std::size_t i) const {
    const auto sum = hn::Add(hn::Add(hn::Mul(hn::Set(d, from_y), hn::LoadU(d, y + i)),
                                     hn::Mul(hn::Set(d, from_c1), hn::LoadU(d, c1 + i))),
                             hn::Mul(hn::Set(d, from_c2), hn::LoadU(d, c2 + i)));
    return hn::Add(sum, hn::Set(d, offset));
  }
};

// Beyond the caches whole lines are streamed. Vectors of half a line are stored as usual, a prefetch of
// `next` ahead, which is written two rows later: streaming halves of lines took 1.36 times as long.
template <bool kBeyondCaches>
HWY_ATTR void WriteRow(const ColourRow row, std::size_t n, float* HWY_RESTRICT dst,
                       [[maybe_unused]] const float* next) {
  constexpr bool kStreams = kBeyondCaches && hn::MaxLanes(DF()) * sizeof(float) == TarnCPU::kCacheLine;
  const DF d;
  const std::size_t lanes = hn::Lanes(d);
  const auto at = [&](auto tag, std::size_t i) TN_INLINE_LAMBDA { return row.at(tag, i); };
  if (kStreams || n < lanes) return StreamRun(d, n, dst, at);
  // Stores across cache lines cost a fifth of the time, so all but the first and the last are aligned.
  hn::StoreU(at(d, 0), d, dst);
  std::size_t i = lanes - reinterpret_cast<std::uintptr_t>(dst) / sizeof(float) % lanes;
  for (; i + lanes <= n; i += lanes) {
    if constexpr (kBeyondCaches) hwy::Prefetch(next + i);
    hn::StoreU(at(d, i), d, dst + i);
  }
  hn::StoreU(at(d, n - lanes), d, dst + n - lanes);
}

// n columns of a row pair of all channels, from `to` on in the first one.
HWY_ATTR void WriteRowPair(const float* const y[2], const float* const c[2], std::size_t n,
                           const _ConvertMatrixFromYUV& mat, const YuvTensor& tensor, float* to) {
  for (std::size_t k = 0; k < 3; ++k)
    for (std::size_t i = 0; i < 2; ++i) {
      const ColourRow row = {
          y[i], c[0], c[1], mat.coef[3 * k], mat.coef[3 * k + 1], mat.coef[3 * k + 2], mat.offset[k]};
      float* const dst = to + k * tensor.plane + i * tensor.pitch;
      const float* const next = dst + 2 * tensor.pitch;
      tensor.beyond_caches ? WriteRow<true>(row, n, dst, next) : WriteRow<false>(row, n, dst, next);
    }
}

// ---- bytes at their own size

HWY_ATTR void ExpandLuma(const std::uint8_t* src, std::size_t n, float* dst) {
  const auto at = [&](auto d, std::size_t i) TN_INLINE_LAMBDA {
    using D = decltype(d);
    const hn::Rebind<std::uint8_t, D> d8;
    hn::StoreU(hn::ConvertTo(d, hn::PromoteTo(hn::RebindToSigned<D>(), hn::LoadU(d8, src + i))), d,
               dst + i);
  };
  const DF d;
  const std::size_t lanes = hn::Lanes(d);
  std::size_t i = 0;
  for (; i + lanes <= n; i += lanes) at(d, i);
  if (i < n && n >= lanes) return at(d, n - lanes);
  for (; i < n; ++i) at(hn::CappedTag<float, 1>(), i);
}

// n bytes, pairs of C1 and C2, to n floats of each: every value twice.
HWY_ATTR void ExpandChroma(const std::uint8_t* src, std::size_t n, float* c1, float* c2) {
  std::size_t i = 0;
#if HWY_TARGET != HWY_SCALAR
  const DF d;
  const DI di;
  const hn::Rebind<std::uint8_t, DF> d8;
  const hn::Repartition<std::uint16_t, decltype(d8)> d16;
  const auto low = hn::Set(d16, 0x00FF);
  const auto at = [&](std::size_t k) TN_INLINE_LAMBDA {
    const auto pair = hn::BitCast(d16, hn::LoadU(d8, src + k));
    const auto first = hn::And(pair, low), second = hn::ShiftRight<8>(pair);
    const auto firsts = hn::BitCast(d8, hn::Or(first, hn::ShiftLeft<8>(first)));
    const auto seconds = hn::BitCast(d8, hn::Or(second, hn::AndNot(low, pair)));
    hn::StoreU(hn::ConvertTo(d, hn::PromoteTo(di, firsts)), d, c1 + k);
    hn::StoreU(hn::ConvertTo(d, hn::PromoteTo(di, seconds)), d, c2 + k);
  };
  const std::size_t lanes = hn::Lanes(d);
  for (; i + lanes <= n; i += lanes) at(i);
  if (i < n && n >= lanes) return at(n - lanes);
#endif
  for (; i < n; i += 2) {
    c1[i] = c1[i + 1] = src[i];
    c2[i] = c2[i + 1] = src[i + 1];
  }
}

// Converts w x h pixels, both even.
HWY_ATTR void ConvertSameSize(const YuvPlane& luma, const YuvPlane& chroma, std::size_t w, std::size_t h,
                              const _ConvertMatrixFromYUV& mat, const YuvTensor& tensor) {
  // Columns that are in work at a time; their floats take half of the first cache.
  constexpr std::size_t kColumns = 1024;
  HWY_ALIGN float scratch[4][kColumns];
  const float* const y[2] = {scratch[0], scratch[1]};
  const float* const c[2] = {scratch[2], scratch[3]};
  for (std::size_t row = 0; row < h; row += 2)
    for (std::size_t x = 0; x < w; x += kColumns) {
      const std::size_t n = std::min(kColumns, w - x);
      ExpandLuma(luma.data + row * luma.pitch + x, n, scratch[0]);
      ExpandLuma(luma.data + (row + 1) * luma.pitch + x, n, scratch[1]);
      ExpandChroma(chroma.data + row / 2 * chroma.pitch + x, n, scratch[2], scratch[3]);
      WriteRowPair(y, c, n, mat, tensor, tensor.data + row * tensor.pitch + x);
    }
  if (tensor.beyond_caches) hwy::FlushStream();
}

// ---- resampling

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

HWY_INLINE HWY_ATTR void StoreTwice(VF v, float* dst) {
#if HWY_TARGET == HWY_SCALAR
  dst[0] = dst[1] = hn::GetLane(v);
#else
  hn::StoreInterleaved2(v, v, DF(), dst);
#endif
}

// A row of luma, into out[0], or of chroma: C1 into out[0] and C2 into out[1], every value twice. Writes
// up to the padding.
template <bool kChroma, WordFetchMode kMode, Along kAlong>
HWY_ATTR void SampleRow(const YuvPlan& plan, const std::uint8_t* const rows[2], RowWeights f,
                        float* const out[2]) {
  const DF d;
  const VF fy0 = hn::Set(d, f.f0), fy1 = hn::Set(d, f.f1);
  // A copy, which the compiler need not read again after every store.
  const YuvFetch fetch = kChroma ? plan.chroma : plan.luma;
  const float *const fx0 = plan.x.f0, *const fx1 = plan.x.f1;
  const std::uint8_t *const row0 = rows[0], *const row1 = rows[1];
  float *const out0 = out[0], *const out1 = out[1];
  const Weights same = WeightsAt(fx0, fx1, 0, fy0, fy1);
  for (std::size_t i = 0; i < fetch.count; i += hn::Lanes(d)) {
    const VU top = FetchWords<kMode>(fetch, row0, i), bottom = FetchWords<kMode>(fetch, row1, i);
    const Weights w = kAlong == Along::kVarying ? WeightsAt(fx0, fx1, i, fy0, fy1) : same;
    constexpr int kStep = kChroma ? 2 : 1;
    const auto sample = [&](auto first) TN_INLINE_LAMBDA {
      if constexpr (kAlong == Along::kOnSamples)
        return InterpolateOnSamples<first()>(top, bottom, fy0, fy1);
      else
        return Interpolate<first(), kStep>(top, bottom, w);
    };
    const std::integral_constant<int, 0> first_byte;
    const std::integral_constant<int, 1> second_byte;
    if constexpr (kChroma) {
      StoreTwice(sample(first_byte), out0 + 2 * i);
      StoreTwice(sample(second_byte), out1 + 2 * i);
    } else {
      hn::StoreU(sample(first_byte), d, out0 + i);
    }
  }
}

using SampleFunction = void (*)(const YuvPlan& plan, const std::uint8_t* const rows[2], RowWeights f,
                                float* const out[2]);

template <bool kChroma, WordFetchMode kMode>
SampleFunction ChooseAlong(const YuvAxis& x) {
  if (x.on_samples) return SampleRow<kChroma, kMode, Along::kOnSamples>;
  if (x.uniform) return SampleRow<kChroma, kMode, Along::kUniform>;
  return SampleRow<kChroma, kMode, Along::kVarying>;
}

template <bool kChroma>
SampleFunction ChooseSampleRow(const YuvPlan& plan) {
#if TN_BLOCKS
  switch ((kChroma ? plan.chroma : plan.luma).mode) {
    case WordFetchMode::kOneWindow:
      return ChooseAlong<kChroma, WordFetchMode::kOneWindow>(plan.x);
    case WordFetchMode::kSpans:
      if constexpr (hn::MaxLanes(DF()) == kFetchLanes)
        return ChooseAlong<kChroma, WordFetchMode::kSpans>(plan.x);
      [[fallthrough]];
    case WordFetchMode::kTwoWindows:
      return ChooseAlong<kChroma, WordFetchMode::kTwoWindows>(plan.x);
    case WordFetchMode::kWords:
      break;
  }
#endif
  return ChooseAlong<kChroma, WordFetchMode::kWords>(plan.x);
}

// The bytes that a fetch may touch of a row that starts at byte `start` of a plane: in place where they
// all exist, else a copy that goes on with the plane's last sample, or with zeros if there is none.
inline const std::uint8_t* RowOrCopy(const YuvPlane& plane, std::size_t start, std::size_t reach,
                                     std::uint8_t* copy) {
  if (reach <= plane.bytes && start <= plane.bytes - reach) return plane.data + start;
  const std::size_t inside = start < plane.bytes ? std::min(reach, plane.bytes - start) : 0;
  if (inside > 0) std::memcpy(copy, plane.data + start, inside);
  for (std::size_t i = inside; i < reach; ++i)
    copy[i] = plane.last == nullptr ? std::uint8_t{0} : plane.last[(start + i) % plane.step];
  return copy;
}

HWY_ATTR void ConvertResampled(const YuvPlane& luma, const YuvPlane& chroma, const YuvPlan& plan,
                               const _ConvertMatrixFromYUV& mat, const YuvTensor& tensor) {
  const SampleFunction sample_luma = ChooseSampleRow<false>(plan);
  const SampleFunction sample_chroma = ChooseSampleRow<true>(plan);
  const auto sample = [&](SampleFunction function, const YuvPlane& plane, const YuvFetch& fetch,
                          std::size_t y, float* const out[2]) {
    const std::size_t first = static_cast<std::size_t>(std::max<std::int64_t>(plan.y.index[y], 0));
    const std::uint8_t* const rows[2] = {
        RowOrCopy(plane, first * plane.pitch, fetch.reach, fetch.copies[0]),
        RowOrCopy(plane, (first + 1) * plane.pitch, fetch.reach, fetch.copies[1])};
    function(plan, rows, {plan.y.f0[y], plan.y.f1[y]}, out);
  };
  for (std::size_t y = 0; y + 1 < plan.y.count; y += 2) {
    sample(sample_chroma, chroma, plan.chroma, y / 2, plan.chroma_out);
    for (std::size_t i = 0; i < 2; ++i) {
      float* const out[2] = {plan.luma_out[i], nullptr};
      sample(sample_luma, luma, plan.luma, y + i, out);
    }
    WriteRowPair(plan.luma_out, plan.chroma_out, plan.x.count / 2 * 2, mat, tensor,
                 tensor.data + y * tensor.pitch);
  }
  if (tensor.beyond_caches) hwy::FlushStream();
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

struct Frame {
  YuvPlane luma, chroma;
};

// Luma of `pitch` bytes a row, then chroma of `chroma_pitch`.
Frame frameOf(const void* data, std::size_t pitch, std::size_t chroma_pitch, std::size_t height) {
  const std::size_t luma_bytes = pitch * height, chroma_bytes = chroma_pitch * (height / 2);
  const std::uint8_t* const luma = static_cast<const std::uint8_t*>(data);
  const std::uint8_t *const chroma = luma + luma_bytes, *const end = chroma + chroma_bytes;
  return {{luma, 1, pitch, luma_bytes + chroma_bytes, luma_bytes > 0 ? chroma - 1 : nullptr},
          {chroma, 2, chroma_pitch, chroma_bytes, chroma_bytes > 0 ? end - 2 : nullptr}};
}

YuvTensor tensorOf(const _TN_Image& image, std::size_t width, std::size_t height) {
  const std::size_t plane = width * height;
  return {static_cast<float*>(image.data), width, plane,
          TarnCPU::exceedsCaches(3 * plane * sizeof(float))};
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
  std::size_t space = 2 * TarnCPU::kArrayAlignment;
  return static_cast<YuvPlan*>(
      std::align(TarnCPU::kArrayAlignment, TarnCPU::kArrayAlignment, place, space));
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
  Block<std::int32_t> index_uv = allocate<std::int32_t>(
      indices + (YuvPlan::bytesFor(sizes) + TarnCPU::kArrayAlignment) / sizeof(std::int32_t));
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
  const YuvPlan& plan =
      *planBehind(index_uv_, chromaIndices(atLeast0(dst_width_), atLeast0(dst_height_)));
  const std::size_t w = plan.x.count, h = plan.y.count;
  // Nothing is to be written, so the frame may be null, which rows must not be counted from.
  if (w < 2 || h < 2) return;
  const auto [luma, chroma] =
      frameOf(in_.data, atLeast0(src_width_), 2 * atLeast0(src_uv_width_), atLeast0(src_height_));
  const YuvTensor tensor = tensorOf(out_, w, h);
  if (plan.same_size && chroma.pitch >= w / 2 * 2)
    HWY_DYNAMIC_DISPATCH(ConvertSameSize)(luma, chroma, w / 2 * 2, h / 2 * 2, cvt_mat_, tensor);
  else
    HWY_DYNAMIC_DISPATCH(ConvertResampled)(luma, chroma, plan, cvt_mat_, tensor);
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
  const auto [luma, chroma] = frameOf(in_.data, w, w, h);
  const YuvTensor tensor = tensorOf(out_, atLeast0(out_.width), atLeast0(out_.height));
  HWY_DYNAMIC_DISPATCH(ConvertSameSize)(luma, chroma, w / 2 * 2, h / 2 * 2, mat, tensor);
}

}  // namespace Tarn
#endif  // HWY_ONCE
