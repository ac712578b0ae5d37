// Affine warps of planar float tensors.
//
// In all four warps a source position is the sum of a term of the column, a term of the row and a
// constant; some scale the sum. Plain code computes the terms once per column and row of a tile of 64x64
// pixels. The vector code adds them up and blends, for all channels. Tiles keep the terms on the stack,
// and the source pixels in the first-level cache even if the warp rotates. Most of the time goes into
// fetching source pixels: see tn_affinetaps_cpu_x86-inl.h.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "tarnkit/src/cpu_x86/tn_affinetile_cpu_x86.h"
#include "tn_cv.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "tarnkit/src/cpu_x86/tn_affine_cpu_x86.cpp"
#include "hwy/foreach_target.h"  // compiles this file again for every CPU target
// After foreach_target.h, so that each target includes them again.
#include "common/tn_tail-inl.h"
#include "hwy/highway.h"
#include "tarnkit/src/cpu_x86/tn_affinetaps_cpu_x86-inl.h"

HWY_BEFORE_NAMESPACE();
namespace TarnCPU::HWY_NAMESPACE {
namespace {
// The terms of each lane's row, then of its column.
HWY_INLINE VF RowTerms(const float* row) {
#if HWY_TARGET <= HWY_AVX3
  alignas(64) static constexpr std::int32_t kRowOfLane[kLanes] = {0, 0, 0, 0, 1, 1, 1, 1,
                                                                  2, 2, 2, 2, 3, 3, 3, 3};
  return hn::TableLookupLanes(hn::LoadDup128(DF(), row), hn::SetTableIndices(DF(), kRowOfLane));
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

// Toward zero; -2^31 where the result would not fit and for NaN. Highway's ConvertTo clamps what does
// not fit, and leaves open what NaN becomes.
HWY_INLINE VI Truncate(VF position) {
  const DF df;
  const VF limit = hn::Set(df, 2147483648.0f);
  const auto fits = hn::Lt(hn::Abs(position), limit);
  return hn::ConvertTo(DI(), hn::IfThenElse(fits, position, hn::Neg(limit)));
}

HWY_INLINE VF ShareOf(VF position, VI whole) { return hn::Sub(position, hn::ConvertTo(DF(), whole)); }

#if HWY_TARGET <= HWY_AVX3
// Calls store(row, pixels) for the rows of a block.
template <class Store>
HWY_INLINE void ForEachBlockRow(VF pixels, const Store& store) {
  store(0, BlockOf<0>(pixels));
  store(1, BlockOf<1>(pixels));
  store(2, BlockOf<2>(pixels));
  store(3, BlockOf<3>(pixels));
}
#endif

// A vector's pixels to rows that are `pitch` floats apart.
HWY_INLINE void StoreAll(VF pixels, float* to, std::ptrdiff_t pitch) {
#if HWY_TARGET <= HWY_AVX3
  ForEachBlockRow(pixels, [&](int row, auto block)
                              HWY_ATTR { hn::StoreU(block, hn::Full128<float>(), to + row * pitch); });
#else
  (void)pitch;
  hn::StoreU(pixels, DF(), to);
#endif
}

// The same for the first `rows` rows and `columns` columns.
HWY_INLINE void StoreSome(VF pixels, float* to, std::ptrdiff_t pitch, int rows, int columns) {
#if HWY_TARGET <= HWY_AVX3
  ForEachBlockRow(pixels, [&](int row, auto block) HWY_ATTR {
    if (row < rows) StoreFirstOfFour(block, columns, to + row * pitch);
  });
#else
  (void)pitch, (void)rows;
  StoreFirst(pixels, DF(), static_cast<std::size_t>(columns), to);
#endif
}

// Where the vectors of a row of blocks sample. All positions are computed before any tap is fetched, so
// that the processor overlaps the fetches of many pixels instead of waiting for each position.
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

// Prefetches what a vector will read of plane q.
HWY_INLINE void PrefetchTaps(const RowPlan& plan, int vector, const AffinePlanes& planes, int q) {
#if HWY_TARGET <= HWY_AVX3
  // Windows overlap: every other one is enough.
  if (vector % 2 == 0) plan.windows[vector].prefetch(planes, q);
#else
  (void)plan, (void)vector, (void)planes, (void)q;
#endif
}

// Calls use(taps) for a vector of pixels that have all four taps in the plane.
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

// Along one axis: whether the tap at x0 or y0 (first) and the next one (second) count. Row 0 and column
// 0 do not, by contract.
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

// Taps of which those outside the plane are zeros.
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

// No tap counts. Reads nothing: the source may have no pixels and no address.
struct NoTaps {
  HWY_INLINE Taps load(const AffinePlanes&, int) const {
    const VF zero = hn::Zero(DF());
    return {zero, zero, zero, zero};
  }
};

// As WithTaps, for pixels with taps outside the plane, which count as zeros.
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

// Some of the planes.
struct Channels {
  int first, end;
};

// Calls block(n, j, channels) for block n, which begins at column j, of the row of blocks at row i.
// Planes that exceed the caches are taken one after the other, and the next one is prefetched while one
// is written.
template <class Block>
HWY_INLINE void ForEachBlock(const RowPlan& plan, const AffineTile& t, const AffinePlanes& planes, int i,
                             const Block& block) {
  const int step = planes.exceed_caches ? 1 : planes.channels;
  for (int q = 0; q < planes.channels; q += step) {
    if (planes.exceed_caches)
      PrefetchRows(planes.out(q, i, 0), t.columns, std::min(kBlockRows, t.rows - i), planes.dst_width);
    for (int j = 0, n = 0; j < t.columns; j += kBlockColumns, ++n) {
      block(n, j, Channels{q, q + step});
      if (planes.exceed_caches && q + 1 < planes.channels) PrefetchTaps(plan, n, planes, q + 1);
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
  const AffinePlanes planes = t.planes;  // a copy that stores of floats cannot alias
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
      if (planes.exceed_caches) PrefetchTaps(plan, n, planes, 0);
    }
    ForEachBlock(plan, t, planes, i, [&](int n, int j, Channels channels) HWY_ATTR {
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
  const AffinePlanes planes = t.planes;  // a copy that stores of floats cannot alias
  RowPlan plan;
  for (int i = 0; i < t.rows; i += kBlockRows) {
    for (int j = 0, n = 0; j < t.columns; j += kBlockColumns, ++n) {
      const ClampedTap x = ClampTap<kClamped>(Position<kScaling>(t.x, i, j), t.x.size);
      const ClampedTap y = ClampTap<kClamped>(Position<kScaling>(t.y, i, j), t.y.size);
      plan.store(n, x.first, y.first, x.share, y.share, t);
      if (planes.exceed_caches) PrefetchTaps(plan, n, planes, 0);
    }
    ForEachBlock(plan, t, planes, i, [&](int n, int j, Channels channels) HWY_ATTR {
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
// Computed in double and rounded once; infinite beyond the range of float.
float rounded(double value) { return static_cast<float>(value); }

using TileKernel = void (*)(const AffineTile& tile);

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
  static TileKernel kernel() { return HWY_DYNAMIC_DISPATCH(WarpAffine); }
};

// By contract some terms of x have a height as a factor, and some of y a width.
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
  static TileKernel kernel() { return HWY_DYNAMIC_DISPATCH(WarpAffineOptimized); }
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
  static TileKernel kernel() { return HWY_DYNAMIC_DISPATCH(WarpAffineSse); }
};

// Rounds at other places than SseTerms; half a pixel is subtracted from the sum.
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
  static TileKernel kernel() { return HWY_DYNAMIC_DISPATCH(WarpAffineSseHwc); }
};

std::size_t planeOf(const Mat& mat) {
  return static_cast<std::size_t>(mat.w) * static_cast<std::size_t>(mat.h);
}

int padded(int pixels) { return (pixels + kMostLanes - 1) / kMostLanes * kMostLanes; }

// width, height: of the part of the source that may be read.
template <class Terms>
void warp(const Mat& src, int width, int height, const Mat& dst, int channels, const float* matrix) {
  const Terms terms(src, dst, matrix);
  const TileKernel warp_tile = Terms::kernel();
  AffineTile tile;
  tile.planes.src = static_cast<const float*>(src.data);
  tile.planes.dst_width = dst.w;
  tile.planes.channels = channels;
  tile.planes.src_plane = static_cast<std::ptrdiff_t>(planeOf(src));
  tile.planes.dst_plane = static_cast<std::ptrdiff_t>(planeOf(dst));
  const std::size_t bytes =
      (planeOf(src) + planeOf(dst)) * static_cast<std::size_t>(channels) * sizeof(float);
  tile.planes.exceed_caches = exceedsCaches(bytes);
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
      warp_tile(tile);
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
