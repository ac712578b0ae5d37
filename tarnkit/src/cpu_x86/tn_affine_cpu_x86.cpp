// Affine warps of planar float tensors.
//
// All four positions are a term of the column, a term of the row and a constant, added up and then, for
// some, scaled. The terms are computed once per column and row by plain code, tile by tile: they need no
// memory but the stack, and the source pixels of a tile stay in the nearest cache however the picture is
// turned. The vector code adds the terms up for a vector of pixels and all channels.
//
// What costs time then is the fetching of taps. AVX2 and AVX-512 gather the two neighbours of a row as
// one 64-bit element, which halves the number of elements.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "tn_cv.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "tarnkit/src/cpu_x86/tn_affine_cpu_x86.cpp"
#include "hwy/foreach_target.h"  // compiles this file again for every CPU target
#include "hwy/highway.h"

#ifndef TN_AFFINE_CPU_X86_ONCE
#define TN_AFFINE_CPU_X86_ONCE
namespace TarnCPU {
namespace {

constexpr int kTile = 128, kMostLanes = 16;

// One coordinate of the source positions of a tile: the terms of its columns and rows, and the source's
// size in pixels.
struct AffineAxis {
  alignas(64) float column[kTile];
  float row[kTile];
  float offset;
  int size;
};

// columns, rows: at most kTile. The columns' terms go on to the end of a vector with the last one.
struct AffineTile {
  int columns, rows;
  AffineAxis x, y;
  const float* src;  // first plane
  float* dst;        // first plane, first pixel of the tile
  int dst_width, channels;
  std::ptrdiff_t src_plane, dst_plane;  // floats from one plane to the next

  const float* plane(int q) const { return src + q * src_plane; }
  float* out(int q, int i, int j) const {
    return dst + q * dst_plane + std::ptrdiff_t{i} * dst_width + j;
  }
};

}  // namespace
}  // namespace TarnCPU
#endif  // TN_AFFINE_CPU_X86_ONCE

HWY_BEFORE_NAMESPACE();
namespace TarnCPU::HWY_NAMESPACE {
namespace {
namespace hn = hwy::HWY_NAMESPACE;

using DF = hn::ScalableTag<float>;
using DI = hn::RebindToSigned<DF>;
using VF = hn::Vec<DF>;
using VI = hn::Vec<DI>;
constexpr int kLanes = static_cast<int>(hn::MaxLanes(DF()));
static_assert(kMostLanes % kLanes == 0 && kTile % kMostLanes == 0, "a tile ends with a vector");

enum class Scaling { kNone, kMinusHalf, kNormalised };

template <Scaling kScaling>
HWY_INLINE VF Position(const AffineAxis& axis, int row, int column) {
  const DF df;
  const VF half = hn::Set(df, 0.5f);
  const VF sum = hn::Add(hn::Add(hn::Set(df, axis.row[row]), hn::Load(df, axis.column + column)),
                         hn::Set(df, axis.offset));
  if constexpr (kScaling == Scaling::kNone) return sum;
  if constexpr (kScaling == Scaling::kMinusHalf) return hn::Sub(sum, half);
  const VF share = hn::Add(hn::Mul(sum, half), half);
  return hn::Sub(hn::Mul(hn::Set(df, static_cast<float>(axis.size)), share), half);
}

// The conversion of the vector library closes in on the nearest integer where a value does not fit, and
// leaves NaN open; -2^31 fits.
HWY_INLINE VI Truncate(VF position) {
  const DF df;
  const VF limit = hn::Set(df, 2147483648.0f);
  const auto fits = hn::Lt(hn::Abs(position), limit);
  return hn::ConvertTo(DI(), hn::IfThenElse(fits, position, hn::Neg(limit)));
}

HWY_INLINE VF ShareOf(VF position, VI whole) { return hn::Sub(position, hn::ConvertTo(DF(), whole)); }

// The last pixels of a row may be fewer than a vector.
HWY_INLINE void StorePixels(VF pixels, float* to, int count) {
  const DF df;
  if (count >= kLanes) return hn::StoreU(pixels, df, to);
  HWY_ALIGN float buffer[kLanes];
  hn::Store(pixels, df, buffer);
  std::memcpy(to, buffer, static_cast<std::size_t>(count) * sizeof(float));
}

// Where the pixels of a row sample. All are worked out before any tap is fetched: the processor then
// overlaps the fetches of many pixels instead of waiting for each one's place.
struct RowPlan {
  alignas(64) float fx[kTile], fy[kTile];
  alignas(64) std::int32_t index[kTile];  // of the first tap in a plane, where it is inside

  HWY_INLINE void store(int column, VI place, VF across, VF down) {
    hn::Store(place, DI(), index + column);
    hn::Store(across, DF(), fx + column);
    hn::Store(down, DF(), fy + column);
  }
};

struct Taps {
  VF p00, p01, p10, p11;
};

#if HWY_TARGET <= HWY_AVX2

// Where the left taps of the pixels are in a plane, in bytes.
using D64 = hn::Repartition<std::int64_t, DF>;
struct Places {
  hn::Vec<D64> lower, upper;
};

HWY_INLINE Places PlacesOf(VI index) {
  const D64 d64;
  const hn::Half<DI> half;
  return {hn::ShiftLeft<2>(hn::PromoteTo(d64, hn::LowerHalf(half, index))),
          hn::ShiftLeft<2>(hn::PromoteTo(d64, hn::UpperHalf(half, index)))};
}

HWY_INLINE void LoadPairs(const float* row, const Places& places, VF& left, VF& right) {
  const DF df;
  const D64 d64;
  const auto* const base = reinterpret_cast<const std::int64_t*>(row);
  const VF lower = hn::BitCast(df, hn::GatherOffset(d64, base, places.lower));
  const VF upper = hn::BitCast(df, hn::GatherOffset(d64, base, places.upper));
  left = hn::ConcatEven(df, upper, lower);
  right = hn::ConcatOdd(df, upper, lower);
}

#else

using Places = VI;
HWY_INLINE Places PlacesOf(VI index) { return index; }

HWY_INLINE void LoadPairs(const float* row, const Places& places, VF& left, VF& right) {
  left = hn::GatherIndex(DF(), row, places);
  right = hn::GatherIndex(DF(), row + 1, places);
}

#endif

// Taps of pixels that have all four of them in the plane.
HWY_INLINE Taps LoadTaps(const float* plane, int width, const Places& places) {
  Taps taps;
  LoadPairs(plane, places, taps.p00, taps.p01);
  LoadPairs(plane + width, places, taps.p10, taps.p11);
  return taps;
}

// ---- affine, affine_optimized: zeros outside

using MF = hn::Mask<DF>;

// Whether the taps at x0 or y0 (first) and at the next one (second) count; row 0 and column 0 do not.
struct Counting {
  MF first, second;
};
HWY_INLINE Counting CountingTaps(VI first, int size) {
  const DF df;
  const DI di;
  const VI last = hn::Set(di, size - 1);
  return {hn::RebindMask(df, hn::AndNot(hn::Gt(first, last), hn::Gt(first, hn::Zero(di)))),
          hn::RebindMask(df, hn::And(hn::Lt(first, last), hn::Gt(first, hn::Set(di, -1))))};
}

struct ZeroBorderBlend {
  VF fx, fy, gx, gy;
  HWY_INLINE VF operator()(const Taps& p) const {
    const VF top = hn::Add(hn::Mul(p.p00, gx), hn::Mul(p.p01, fx));
    const VF bottom = hn::Add(hn::Mul(p.p10, gx), hn::Mul(p.p11, fx));
    return hn::Add(hn::Mul(bottom, fy), hn::Mul(top, gy));
  }
};

// Pixels some of whose taps do not count.
class BorderTaps {
 public:
  HWY_INLINE BorderTaps(VI x0, VI y0, const Counting& x, const Counting& y, int width, int height)
      : count00_(hn::And(x.first, y.first)),
        count01_(hn::And(x.second, y.first)),
        count10_(hn::And(x.first, y.second)),
        count11_(hn::And(x.second, y.second)) {
    const DI di;
    const VI zero = hn::Zero(di), one = hn::Set(di, 1), pitch = hn::Set(di, width);
    const VI last_x = hn::Set(di, width - 1), last_y = hn::Set(di, height - 1);
    const auto inside = [&](VI at, VI last) HWY_ATTR { return hn::Min(hn::Max(at, zero), last); };
    const VI left = inside(x0, last_x), right = inside(hn::Add(x0, one), last_x);
    const VI top = hn::Mul(inside(y0, last_y), pitch);
    const VI bottom = hn::Mul(inside(hn::Add(y0, one), last_y), pitch);
    at00_ = hn::Add(top, left);
    at01_ = hn::Add(top, right);
    at10_ = hn::Add(bottom, left);
    at11_ = hn::Add(bottom, right);
  }
  // If none, the source must not be read: it may have no pixels.
  HWY_INLINE bool any() const {
    return !hn::AllFalse(DF(), hn::Or(hn::Or(count00_, count01_), hn::Or(count10_, count11_)));
  }
  HWY_INLINE Taps load(const float* plane) const {
    const auto tap = [&](MF counts, VI at) HWY_ATTR {
      return hn::IfThenElseZero(counts, hn::GatherIndex(DF(), plane, at));
    };
    return {tap(count00_, at00_), tap(count01_, at01_), tap(count10_, at10_), tap(count11_, at11_)};
  }

 private:
  MF count00_, count01_, count10_, count11_;
  VI at00_, at01_, at10_, at11_;
};

template <Scaling kScaling>
void WarpZeroBorder(const AffineTile& t) {
  const DF df;
  const DI di;
  const VF one = hn::Set(df, 1.0f), zero = hn::Zero(df);
  RowPlan plan;
  for (int i = 0; i < t.rows; ++i) {
    const VI width = hn::Set(di, t.x.size);
    bool inside[kTile / kLanes];
    for (int j = 0; j < t.columns; j += kLanes) {
      const VF x = Position<kScaling>(t.x, i, j), y = Position<kScaling>(t.y, i, j);
      const VI x0 = Truncate(x), y0 = Truncate(y);
      const Counting across = CountingTaps(x0, t.x.size), down = CountingTaps(y0, t.y.size);
      inside[j / kLanes] = hn::AllTrue(
          df, hn::And(hn::And(across.first, across.second), hn::And(down.first, down.second)));
      plan.store(j, hn::Add(hn::Mul(y0, width), x0), ShareOf(x, x0), ShareOf(y, y0));
    }
    for (int j = 0; j < t.columns; j += kLanes) {
      const VF fx = hn::Load(df, plan.fx + j), fy = hn::Load(df, plan.fy + j);
      const ZeroBorderBlend blend = {fx, fy, hn::Sub(one, fx), hn::Sub(one, fy)};
      const auto store = [&](int q, VF pixels)
                             HWY_ATTR { StorePixels(pixels, t.out(q, i, j), t.columns - j); };
      if (inside[j / kLanes]) {
        const Places places = PlacesOf(hn::Load(di, plan.index + j));
        for (int q = 0; q < t.channels; ++q) store(q, blend(LoadTaps(t.plane(q), t.x.size, places)));
        continue;
      }
      const VI x0 = Truncate(Position<kScaling>(t.x, i, j));
      const VI y0 = Truncate(Position<kScaling>(t.y, i, j));
      const BorderTaps taps(x0, y0, CountingTaps(x0, t.x.size), CountingTaps(y0, t.y.size), t.x.size,
                            t.y.size);
      if (taps.any()) {
        for (int q = 0; q < t.channels; ++q) store(q, blend(taps.load(t.plane(q))));
      } else {
        // Weights decide the zeros' signs.
        const VF outside = blend({zero, zero, zero, zero});
        for (int q = 0; q < t.channels; ++q) store(q, outside);
      }
    }
  }
}

// ---- affine_sse, affine_sse_hwc: indices clamped into the source

enum class Clamped { kIndices, kIndicesAndShares };

struct WeightedBlend {
  VF w00, w01, w10, w11;
  HWY_INLINE VF operator()(const Taps& p) const {
    const VF top = hn::Add(hn::Mul(p.p00, w00), hn::Mul(p.p01, w01));
    return hn::Add(hn::Add(top, hn::Mul(p.p10, w10)), hn::Mul(p.p11, w11));
  }
};

// The first of two taps, both in the source, and the share of the second.
struct ClampedTap {
  VI first;
  VF share;
};
template <Clamped kClamped>
HWY_INLINE ClampedTap ClampTap(VF position, int size) {
  const DF df;
  const DI di;
  const VI zero = hn::Zero(di), most = hn::Set(di, size - 2);
  const VI first = Truncate(position);
  VF share = ShareOf(position, first);
  if constexpr (kClamped == Clamped::kIndicesAndShares) {
    const auto before = hn::RebindMask(df, hn::Lt(first, zero));
    const auto behind = hn::RebindMask(df, hn::Gt(first, most));
    share = hn::IfThenElse(behind, hn::Set(df, 1.0f), hn::IfThenZeroElse(before, share));
  }
  return {hn::Min(hn::Max(first, zero), most), share};
}

template <Scaling kScaling, Clamped kClamped>
void WarpClamped(const AffineTile& t) {
  const DF df;
  const DI di;
  const VF one = hn::Set(df, 1.0f);
  RowPlan plan;
  for (int i = 0; i < t.rows; ++i) {
    const VI width = hn::Set(di, t.x.size);
    for (int j = 0; j < t.columns; j += kLanes) {
      const ClampedTap x = ClampTap<kClamped>(Position<kScaling>(t.x, i, j), t.x.size);
      const ClampedTap y = ClampTap<kClamped>(Position<kScaling>(t.y, i, j), t.y.size);
      plan.store(j, hn::Add(hn::Mul(y.first, width), x.first), x.share, y.share);
    }
    for (int j = 0; j < t.columns; j += kLanes) {
      const VF fx = hn::Load(df, plan.fx + j), fy = hn::Load(df, plan.fy + j);
      const VF gx = hn::Sub(one, fx), gy = hn::Sub(one, fy);
      const WeightedBlend blend = {hn::Mul(gy, gx), hn::Mul(gy, fx), hn::Mul(gx, fy), hn::Mul(fy, fx)};
      const Places places = PlacesOf(hn::Load(di, plan.index + j));
      for (int q = 0; q < t.channels; ++q)
        StorePixels(blend(LoadTaps(t.plane(q), t.x.size, places)), t.out(q, i, j), t.columns - j);
    }
  }
}

void WarpAffine(const AffineTile& t) { WarpZeroBorder<Scaling::kNormalised>(t); }
void WarpAffineOptimized(const AffineTile& t) { WarpZeroBorder<Scaling::kNone>(t); }
void WarpAffineSse(const AffineTile& t) { WarpClamped<Scaling::kNone, Clamped::kIndices>(t); }
void WarpAffineSseHwc(const AffineTile& t) {
  WarpClamped<Scaling::kMinusHalf, Clamped::kIndicesAndShares>(t);
}

}  // namespace
}  // namespace TarnCPU::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace TarnCPU {

HWY_EXPORT(WarpAffine);
HWY_EXPORT(WarpAffineOptimized);
HWY_EXPORT(WarpAffineSse);
HWY_EXPORT(WarpAffineSseHwc);

namespace {

// The terms of a position in the source.
struct Point {
  float x, y;
};

float centre(int pixel) { return static_cast<float>(pixel) + 0.5f; }
float halfOf(int size) { return static_cast<float>(size) * 0.5f; }
// From double on purpose: beyond the range of float it is infinite.
float rounded(double value) { return static_cast<float>(value); }

struct NormalisedTerms {
  const float* m;
  float half_width, half_height;

  NormalisedTerms(const Mat&, const Mat& dst, const float* matrix)
      : m(matrix), half_width(halfOf(dst.w)), half_height(halfOf(dst.h)) {}
  Point offset() const { return {m[2], m[5]}; }
  Point column(int j) const {
    const float x = (centre(j) - half_width) / half_width;
    return {x * m[0], x * m[3]};
  }
  Point row(int i) const {
    const float y = (centre(i) - half_height) / half_height;
    return {y * m[1], y * m[4]};
  }
  static void warpTile(const AffineTile& tile) { HWY_DYNAMIC_DISPATCH(WarpAffine)(tile); }
};

// Heights among the factors of x and widths among those of y: see the contract.
struct OptimizedTerms {
  float a0, a1, a2, b0, b1, b2;
  float step_x, step_y;

  OptimizedTerms(const Mat& src, const Mat& dst, const float* m)
      : a0(rounded(m[0] * 0.5 * src.w)),
        a1(rounded(m[1] * 0.5 * src.h)),
        a2(rounded((m[2] * 0.5 + 0.5) * src.h - 0.5)),
        b0(rounded(m[3] * 0.5 * src.w)),
        b1(rounded(m[4] * 0.5 * src.h)),
        b2(rounded((m[5] * 0.5 + 0.5) * src.w - 0.5)),
        step_x(1.0f / halfOf(dst.w)),
        step_y(1.0f / halfOf(dst.h)) {}
  Point offset() const { return {a2, b2}; }
  Point column(int j) const {
    const float x = centre(j) * step_x - 1.0f;
    return {x * a0, x * b0};
  }
  Point row(int i) const {
    const float y = centre(i) * step_y - 1.0f;
    return {y * a1, y * b1};
  }
  static void warpTile(const AffineTile& tile) { HWY_DYNAMIC_DISPATCH(WarpAffineOptimized)(tile); }
};

struct SseTerms {
  static constexpr bool kMayOverlap = false;
  const float* m;
  float half_width, half_height;

  SseTerms(const Mat&, const Mat& dst, const float* matrix)
      : m(matrix), half_width(halfOf(dst.w)), half_height(halfOf(dst.h)) {}
  Point offset() const {
    return {(m[2] + 1.0f) * half_width - 0.5f, (m[5] + 1.0f) * half_height - 0.5f};
  }
  Point column(int j) const {
    const float x = centre(j) - half_width;
    return {x * m[0], x * ((half_height / half_width) * m[3])};
  }
  Point row(int i) const {
    const float y = centre(i) - half_height;
    return {y * ((half_width / half_height) * m[1]), y * m[4]};
  }
  static void warpTile(const AffineTile& tile) { HWY_DYNAMIC_DISPATCH(WarpAffineSse)(tile); }
};

// Other roundings than SseTerms, and half a pixel comes off later.
struct SseHwcTerms : SseTerms {
  static constexpr bool kMayOverlap = true;
  using SseTerms::SseTerms;
  Point offset() const { return {(m[2] + 1.0f) * half_width, (m[5] + 1.0f) * half_height}; }
  Point column(int j) const {
    const float x = centre(j) - half_width;
    return {x * m[0], (x * m[3]) * (half_height / half_width)};
  }
  Point row(int i) const {
    const float y = centre(i) - half_height;
    return {(y * m[1]) * (half_width / half_height), y * m[4]};
  }
  static void warpTile(const AffineTile& tile) { HWY_DYNAMIC_DISPATCH(WarpAffineSseHwc)(tile); }
};

std::size_t planeOf(const Mat& mat) {
  return static_cast<std::size_t>(mat.w) * static_cast<std::size_t>(mat.h);
}

// width, height: of the source, as far as it is to be read.
template <class Terms>
void warp(const Mat& src, int width, int height, const Mat& dst, int channels, const float* matrix) {
  const Terms terms(src, dst, matrix);
  AffineTile tile;
  tile.src = static_cast<const float*>(src.data);
  tile.dst_width = dst.w;
  tile.channels = channels;
  tile.src_plane = static_cast<std::ptrdiff_t>(planeOf(src));
  tile.dst_plane = static_cast<std::ptrdiff_t>(planeOf(dst));
  tile.x.size = width;
  tile.y.size = height;
  tile.x.offset = terms.offset().x;
  tile.y.offset = terms.offset().y;
  for (int top = 0; top < dst.h; top += tile.rows) {
    tile.rows = std::min(kTile, dst.h - top);
    for (int i = 0; i < tile.rows; ++i) {
      const Point term = terms.row(top + i);
      tile.x.row[i] = term.x;
      tile.y.row[i] = term.y;
    }
    for (int left = 0; left < dst.w; left += tile.columns) {
      tile.columns = std::min(kTile, dst.w - left);
      const int padded = (tile.columns + kMostLanes - 1) / kMostLanes * kMostLanes;
      for (int j = 0; j < padded; ++j) {
        const Point term = terms.column(left + std::min(j, tile.columns - 1));
        tile.x.column[j] = term.x;
        tile.y.column[j] = term.y;
      }
      tile.dst = static_cast<float*>(dst.data) + std::ptrdiff_t{top} * dst.w + left;
      Terms::warpTile(tile);
    }
  }
}

std::size_t bytesOf(const Mat& mat) { return 3 * planeOf(mat) * sizeof(float); }

bool overlap(const Mat& a, const Mat& b) {
  const auto a0 = reinterpret_cast<std::uintptr_t>(a.data),
             b0 = reinterpret_cast<std::uintptr_t>(b.data);
  return a0 < b0 + bytesOf(b) && b0 < a0 + bytesOf(a);
}

Mat copyOf(const Mat& mat) {
  Mat copy(mat.w, mat.h, 3);
  std::memcpy(copy.data, mat.data, bytesOf(mat));
  return copy;
}

template <class Terms>
void warpAnySizes(const Mat& src, const Mat& dst, const float* matrix) {
  if (dst.w < 1 || dst.h < 1) return;
  warp<Terms>(src, std::max(src.w, 0), std::max(src.h, 0), dst, dst.c, matrix);
}

template <class Terms>
void warpOneSize(const Mat& src, const Mat& dst, const float* matrix) {
  if (dst.w < 2 || dst.h < 2) return;
  // Callers warp in place where the contract lets them.
  if (Terms::kMayOverlap && overlap(src, dst)) return warpOneSize<Terms>(copyOf(src), dst, matrix);
  warp<Terms>(src, dst.w, dst.h, dst, 3, matrix);
}

}  // namespace
}  // namespace TarnCPU

void affine(TarnCPU::Mat src, TarnCPU::Mat dst, const float* matrix) {
  TarnCPU::warpAnySizes<TarnCPU::NormalisedTerms>(src, dst, matrix);
}

void affine_optimized(TarnCPU::Mat src, TarnCPU::Mat dst, const float* matrix) {
  TarnCPU::warpAnySizes<TarnCPU::OptimizedTerms>(src, dst, matrix);
}

void affine_sse(TarnCPU::Mat src, TarnCPU::Mat dst, const float* matrix) {
  TarnCPU::warpOneSize<TarnCPU::SseTerms>(src, dst, matrix);
}

void affine_sse_hwc(TarnCPU::Mat src, TarnCPU::Mat dst, const float* matrix) {
  TarnCPU::warpOneSize<TarnCPU::SseHwcTerms>(src, dst, matrix);
}

#endif  // HWY_ONCE
