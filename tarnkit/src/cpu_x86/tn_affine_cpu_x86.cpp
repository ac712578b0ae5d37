// Affine warps of planar float tensors.
//
// All four positions are a term of the column, a term of the row and a constant, added up and then, for
// some, scaled. The terms are computed once per column and row by plain code, tile by tile: they need no
// memory but the stack, and the source pixels of a tile stay in the nearest cache however the picture is
// turned. The vector code adds the terms up for a vector of pixels and all channels.
// What costs time then is the fetching of taps: see tn_affinetaps_cpu_x86-inl.h.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "tarnkit/src/cpu_x86/tn_affinetile_cpu_x86.h"
#include "tn_cv.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "tarnkit/src/cpu_x86/tn_affine_cpu_x86.cpp"
#include "hwy/foreach_target.h"  // compiles this file again for every CPU target
// Behind it, so that it is included again each time.
#include "hwy/highway.h"
#include "tarnkit/src/cpu_x86/tn_affinetaps_cpu_x86-inl.h"

HWY_BEFORE_NAMESPACE();
namespace TarnCPU::HWY_NAMESPACE {
namespace {
HWY_INLINE VF RowTerms(const float* row) {
#if HWY_TARGET <= HWY_AVX3
  const __m512i lanes = _mm512_setr_epi32(0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 3, 3);
  return VF{_mm512_permutexvar_ps(lanes, _mm512_broadcast_f32x4(_mm_load_ps(row)))};
#else
  return hn::Set(DF(), *row);
#endif
}

HWY_INLINE VF ColumnTerms(const float* column) {
  if constexpr (kBlockRows == 1) return hn::Load(DF(), column);
  return hn::LoadDup128(DF(), column);
}

enum class Scaling { kNone, kMinusHalf, kNormalised };

template <Scaling kScaling>
HWY_INLINE VF Position(const AffineAxis& axis, int row, int column) {
  const DF df;
  const VF half = hn::Set(df, 0.5f);
  const VF sum = hn::Add(hn::Add(RowTerms(axis.row + row), ColumnTerms(axis.column + column)),
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

// Some of a vector's rows and columns.
HWY_INLINE void StoreSome(VF pixels, float* to, int to_width, int rows, int columns) {
#if HWY_TARGET <= HWY_AVX3
  // Not by AVX-512's masks: compilers join those to the extraction, which does not spare masked bytes
  // faults.
  const std::ptrdiff_t pitch = to_width;
  const __m128i mask = _mm_cmpgt_epi32(_mm_set1_epi32(columns), _mm_setr_epi32(0, 1, 2, 3));
  _mm_maskstore_ps(to, mask, _mm512_castps512_ps128(pixels.raw));
  if (rows > 1) _mm_maskstore_ps(to + pitch, mask, _mm512_extractf32x4_ps(pixels.raw, 1));
  if (rows > 2) _mm_maskstore_ps(to + 2 * pitch, mask, _mm512_extractf32x4_ps(pixels.raw, 2));
  if (rows > 3) _mm_maskstore_ps(to + 3 * pitch, mask, _mm512_extractf32x4_ps(pixels.raw, 3));
#else
  (void)to_width, (void)rows;
  HWY_ALIGN float buffer[kLanes];
  hn::Store(pixels, DF(), buffer);
  std::memcpy(to, buffer, static_cast<std::size_t>(columns) * sizeof(float));
#endif
}

HWY_INLINE void StoreAll(VF pixels, float* to, int to_width) {
#if HWY_TARGET <= HWY_AVX3
  const std::ptrdiff_t pitch = to_width;
  _mm_storeu_ps(to, _mm512_castps512_ps128(pixels.raw));
  _mm_storeu_ps(to + pitch, _mm512_extractf32x4_ps(pixels.raw, 1));
  _mm_storeu_ps(to + 2 * pitch, _mm512_extractf32x4_ps(pixels.raw, 2));
  _mm_storeu_ps(to + 3 * pitch, _mm512_extractf32x4_ps(pixels.raw, 3));
#else
  (void)to_width;
  hn::StoreU(pixels, DF(), to);
#endif
}

// Where the vectors of a row of blocks sample. All are worked out before any tap is fetched: the
// processor then overlaps the fetches of many pixels instead of waiting for each one's place.
struct RowPlan {
  static constexpr int kVectors = kTile / kBlockColumns;
  alignas(64) float fx[kVectors * kLanes], fy[kVectors * kLanes];
  alignas(64) std::int32_t x0[kVectors * kLanes], y0[kVectors * kLanes];

#if HWY_TARGET <= HWY_AVX3
  Window windows[kVectors];
#endif

  HWY_INLINE void store(int vector, VI x, VI y, VF right, VF below, const AffineTile& t) {
    hn::Store(x, DI(), x0 + vector * kLanes);
    hn::Store(y, DI(), y0 + vector * kLanes);
    hn::Store(right, DF(), fx + vector * kLanes);
    hn::Store(below, DF(), fy + vector * kLanes);
#if HWY_TARGET <= HWY_AVX3
    windows[vector] = Window(x0 + vector * kLanes, y0 + vector * kLanes, t.x.size, t.y.size);
#else
    (void)t;
#endif
  }
  HWY_INLINE VI x(int vector) const { return hn::Load(DI(), x0 + vector * kLanes); }
  HWY_INLINE VI y(int vector) const { return hn::Load(DI(), y0 + vector * kLanes); }
  HWY_INLINE VF across(int vector) const { return hn::Load(DF(), fx + vector * kLanes); }
  HWY_INLINE VF down(int vector) const { return hn::Load(DF(), fy + vector * kLanes); }
};

// Calls for what a vector will read of plane q.
HWY_INLINE void PrefetchTaps(const RowPlan& plan, int vector, const AffinePlanes& planes, int q) {
#if HWY_TARGET <= HWY_AVX3
  // Every other window covers those between as well.
  if (vector % 2 == 0) plan.windows[vector].prefetch(planes, q);
#else
  (void)plan, (void)vector, (void)planes, (void)q;
#endif
}

// Hands taps of pixels that have all four of them in the plane to use.
template <class Use>
HWY_INLINE void WithTaps(const RowPlan& plan, int vector, const AffineTile& t, const Use& use) {
  const VI x = plan.x(vector), y = plan.y(vector);
#if HWY_TARGET <= HWY_AVX3
  const Window& window = plan.windows[vector];
  if (window.holds(x, y, 2))
    return use(WindowTaps(window, window.lanes(x, y), hn::Set(DI(), 1), hn::Set(DI(), Window::kSide)));
#endif
  use(PairTaps(x, y, t.x.size));
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

// Taps of which some do not count.
template <class All>
class CountedTaps {
 public:
  HWY_INLINE CountedTaps(const All& all, const Counting& x, const Counting& y)
      : all_(all),
        count00_(hn::And(x.first, y.first)),
        count01_(hn::And(x.second, y.first)),
        count10_(hn::And(x.first, y.second)),
        count11_(hn::And(x.second, y.second)) {}
  HWY_INLINE Taps load(const AffinePlanes& planes, int q) const {
    const Taps taps = all_.load(planes, q);
    return {hn::IfThenElseZero(count00_, taps.p00), hn::IfThenElseZero(count01_, taps.p01),
            hn::IfThenElseZero(count10_, taps.p10), hn::IfThenElseZero(count11_, taps.p11)};
  }

 private:
  const All& all_;
  MF count00_, count01_, count10_, count11_;
};

// What reads nothing: the source may have no pixels and no address.
struct NoTaps {
  HWY_INLINE Taps load(const AffinePlanes&, int) const {
    const VF zero = hn::Zero(DF());
    return {zero, zero, zero, zero};
  }
};

// As WithTaps, of pixels with taps that do not count.
template <class Use>
HWY_INLINE void WithBorderTaps(const RowPlan& plan, int vector, const AffineTile& t, const Use& use) {
  const DI di;
  const VI x = plan.x(vector), y = plan.y(vector);
  const Counting across = CountingTaps(x, t.x.size), down = CountingTaps(y, t.y.size);
  const DF df;
  if (hn::AllFalse(df, hn::And(hn::Or(across.first, across.second), hn::Or(down.first, down.second))))
    return use(NoTaps());
  const VI one = hn::Set(di, 1);
  const auto inside = [&](VI at, int size)
                          HWY_ATTR { return hn::Min(hn::Max(at, hn::Zero(di)), hn::Set(di, size - 1)); };
  const VI x0 = inside(x, t.x.size), x1 = inside(hn::Add(x, one), t.x.size);
  const VI y0 = inside(y, t.y.size), y1 = inside(hn::Add(y, one), t.y.size);
#if HWY_TARGET <= HWY_AVX3
  const Window& window = plan.windows[vector];
  if (window.holds(x0, y0, 1) && window.holds(x1, y1, 1)) {
    const WindowTaps all(window, window.lanes(x0, y0), hn::Sub(x1, x0),
                         hn::ShiftLeft<3>(hn::Sub(y1, y0)));
    return use(CountedTaps<WindowTaps>(all, across, down));
  }
#endif
  const GatheredTaps all(x0, x1, y0, y1, t.x.size);
  use(CountedTaps<GatheredTaps>(all, across, down));
}

// Calls for what the row of blocks at row i will write of plane q.
HWY_INLINE void PrefetchPixels(const AffineTile& t, const AffinePlanes& planes, int i, int q) {
  const int rows = std::min(kBlockRows, t.rows - i);
  for (int r = 0; r < rows; ++r)
    for (int j = 0; j < t.columns; j += kFloatsOfCacheLine) hwy::Prefetch(planes.out(q, i + r, j));
}

// Some of the planes.
struct Channels {
  int first, end;
};

// Calls vector(n, j, channels) for the vectors of the row of blocks at row i. Planes that are far are
// taken one after the other, the next one called for meanwhile.
template <class Vector>
HWY_INLINE void ForEachVector(const RowPlan& plan, const AffineTile& t, const AffinePlanes& planes,
                              int i, const Vector& vector) {
  const int step = planes.far ? 1 : planes.channels;
  for (int q = 0; q < planes.channels; q += step) {
    if (planes.far) PrefetchPixels(t, planes, i, q);
    for (int j = 0, n = 0; j < t.columns; j += kBlockColumns, ++n) {
      vector(n, j, Channels{q, q + step});
      if (planes.far && q + 1 < planes.channels) PrefetchTaps(plan, n, planes, q + 1);
    }
  }
}

// Blends the channels' taps of the vector at row i and column j of the tile.
template <class Blend, class From>
HWY_INLINE void WarpVector(const AffineTile& t, const AffinePlanes& planes, int i, int j,
                           Channels channels, const Blend& blend, const From& taps) {
  const int rows = t.rows - i, columns = t.columns - j;
  if (rows >= kBlockRows && columns >= kBlockColumns) {
    for (int q = channels.first; q < channels.end; ++q)
      StoreAll(blend(taps.load(planes, q)), planes.out(q, i, j), planes.dst_width);
  } else {
    for (int q = channels.first; q < channels.end; ++q)
      StoreSome(blend(taps.load(planes, q)), planes.out(q, i, j), planes.dst_width, rows,
                std::min(columns, kBlockColumns));
  }
}

template <Scaling kScaling>
void WarpZeroBorder(const AffineTile& t) {
  const DF df;
  const VF one = hn::Set(df, 1.0f);
  const AffinePlanes planes = t.planes;  // where stores cannot be thought to change them
  RowPlan plan;
  for (int i = 0; i < t.rows; i += kBlockRows) {
    bool inside[RowPlan::kVectors];
    for (int j = 0, n = 0; j < t.columns; j += kBlockColumns, ++n) {
      const VF x = Position<kScaling>(t.x, i, j), y = Position<kScaling>(t.y, i, j);
      const VI x0 = Truncate(x), y0 = Truncate(y);
      const Counting across = CountingTaps(x0, t.x.size), down = CountingTaps(y0, t.y.size);
      inside[n] = hn::AllTrue(
          df, hn::And(hn::And(across.first, across.second), hn::And(down.first, down.second)));
      plan.store(n, x0, y0, ShareOf(x, x0), ShareOf(y, y0), t);
      if (planes.far) PrefetchTaps(plan, n, planes, 0);
    }
    ForEachVector(plan, t, planes, i, [&](int n, int j, Channels channels) HWY_ATTR {
      const VF fx = plan.across(n), fy = plan.down(n);
      const ZeroBorderBlend blend = {fx, fy, hn::Sub(one, fx), hn::Sub(one, fy)};
      const auto store = [&](const auto& taps)
                             HWY_ATTR { WarpVector(t, planes, i, j, channels, blend, taps); };
      if (inside[n])
        WithTaps(plan, n, t, store);
      else
        WithBorderTaps(plan, n, t, store);
    });
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
  const VF one = hn::Set(df, 1.0f);
  const AffinePlanes planes = t.planes;  // where stores cannot be thought to change them
  RowPlan plan;
  for (int i = 0; i < t.rows; i += kBlockRows) {
    for (int j = 0, n = 0; j < t.columns; j += kBlockColumns, ++n) {
      const ClampedTap x = ClampTap<kClamped>(Position<kScaling>(t.x, i, j), t.x.size);
      const ClampedTap y = ClampTap<kClamped>(Position<kScaling>(t.y, i, j), t.y.size);
      plan.store(n, x.first, y.first, x.share, y.share, t);
      if (planes.far) PrefetchTaps(plan, n, planes, 0);
    }
    ForEachVector(plan, t, planes, i, [&](int n, int j, Channels channels) HWY_ATTR {
      const VF fx = plan.across(n), fy = plan.down(n);
      const VF gx = hn::Sub(one, fx), gy = hn::Sub(one, fy);
      const WeightedBlend blend = {hn::Mul(gy, gx), hn::Mul(gy, fx), hn::Mul(gx, fy), hn::Mul(fy, fx)};
      WithTaps(plan, n, t,
               [&](const auto& taps) HWY_ATTR { WarpVector(t, planes, i, j, channels, blend, taps); });
    });
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

// Around this, taking planes one by one and calling for memory ahead begin to save more than they cost.
constexpr std::size_t kNearBytes = std::size_t{12} << 20;

int padded(int pixels) { return (pixels + kMostLanes - 1) / kMostLanes * kMostLanes; }

// width, height: of the source, as far as it is to be read.
template <class Terms>
void warp(const Mat& src, int width, int height, const Mat& dst, int channels, const float* matrix) {
  const Terms terms(src, dst, matrix);
  AffineTile tile;
  tile.planes.src = static_cast<const float*>(src.data);
  tile.planes.dst_width = dst.w;
  tile.planes.channels = channels;
  tile.planes.src_plane = static_cast<std::ptrdiff_t>(planeOf(src));
  tile.planes.dst_plane = static_cast<std::ptrdiff_t>(planeOf(dst));
  const std::size_t bytes =
      (planeOf(src) + planeOf(dst)) * static_cast<std::size_t>(channels) * sizeof(float);
  tile.planes.far = bytes > kNearBytes;
  tile.x.size = width;
  tile.y.size = height;
  tile.x.offset = terms.offset().x;
  tile.y.offset = terms.offset().y;
  for (int top = 0; top < dst.h; top += tile.rows) {
    tile.rows = std::min(kTile, dst.h - top);
    for (int i = 0; i < padded(tile.rows); ++i) {
      const Point term = terms.row(top + std::min(i, tile.rows - 1));
      tile.x.row[i] = term.x;
      tile.y.row[i] = term.y;
    }
    for (int left = 0; left < dst.w; left += tile.columns) {
      tile.columns = std::min(kTile, dst.w - left);
      for (int j = 0; j < padded(tile.columns); ++j) {
        const Point term = terms.column(left + std::min(j, tile.columns - 1));
        tile.x.column[j] = term.x;
        tile.y.column[j] = term.y;
      }
      tile.planes.dst = static_cast<float*>(dst.data) + std::ptrdiff_t{top} * dst.w + left;
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
  if (dst.w < 1 || dst.h < 1 || dst.c < 1) return;
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
