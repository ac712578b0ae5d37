// The source pixels that an affine warp blends: three ways to fetch them for a vector of destination
// pixels. To be included in a file that is compiled again for every CPU target.
//
// Hardware gathers are no help: many processors carry them out tap by tap in microcode. A vector of
// AVX-512 is a block of 4x4 pixels instead, whose taps lie in a window of 8x8 source pixels where the
// warp shrinks by less than 1.4, however it turns (by less than 2 where it does not): eight loads fetch
// the window, lookups in registers pick the taps. Everything else loads the two neighbours of a row as
// one piece. Gathers are left for what few pixels have taps outside.
#if defined(TN_KITS_TARNKIT_SRC_CPU_X86_TN_AFFINETAPS_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef TN_KITS_TARNKIT_SRC_CPU_X86_TN_AFFINETAPS_INL_H_
#undef TN_KITS_TARNKIT_SRC_CPU_X86_TN_AFFINETAPS_INL_H_
#else
#define TN_KITS_TARNKIT_SRC_CPU_X86_TN_AFFINETAPS_INL_H_
#endif

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "hwy/cache_control.h"
#include "hwy/highway.h"
#include "tarnkit/src/cpu_x86/tn_affinetile_cpu_x86.h"

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

// The pixels of a vector: of one row, or of a block of rows.
#if HWY_TARGET <= HWY_AVX3
constexpr int kBlockRows = 4;
#else
constexpr int kBlockRows = 1;
#endif
constexpr int kBlockColumns = kLanes / kBlockRows;

struct Taps {
  VF p00, p01, p10, p11;
};

#if HWY_TARGET == HWY_SCALAR || HWY_TARGET == HWY_EMU128

HWY_INLINE void LoadPairs(const float* row, const std::int32_t* index, VF& left, VF& right) {
  const VI places = hn::Load(DI(), index);
  left = hn::GatherIndex(DF(), row, places);
  right = hn::GatherIndex(DF(), row + 1, places);
}

#else

// Two neighbours at each of two places.
HWY_INLINE __m128 TwoPairs(const float* row, const std::int32_t* index) {
  const __m128i first = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(row + index[0]));
  return _mm_loadh_pi(_mm_castsi128_ps(first), reinterpret_cast<const __m64*>(row + index[1]));
}

// Every other two pixels in each result, so that the sides part within 128 bits.
HWY_INLINE void LoadPairs(const float* row, const std::int32_t* index, VF& left, VF& right) {
#if HWY_TARGET <= HWY_AVX3
  const auto load = [&](int k) HWY_ATTR {
    const __m256 lower = _mm256_insertf128_ps(_mm256_castps128_ps256(TwoPairs(row, index + k)),
                                              TwoPairs(row, index + k + 4), 1);
    const __m256 upper = _mm256_insertf128_ps(_mm256_castps128_ps256(TwoPairs(row, index + k + 8)),
                                              TwoPairs(row, index + k + 12), 1);
    return _mm512_insertf32x8(_mm512_castps256_ps512(lower), upper, 1);
  };
  const __m512 a = load(0), b = load(2);
  left = VF{_mm512_shuffle_ps(a, b, _MM_SHUFFLE(2, 0, 2, 0))};
  right = VF{_mm512_shuffle_ps(a, b, _MM_SHUFFLE(3, 1, 3, 1))};
#elif HWY_TARGET <= HWY_AVX2
  const auto load = [&](int k) HWY_ATTR {
    return _mm256_insertf128_ps(_mm256_castps128_ps256(TwoPairs(row, index + k)),
                                TwoPairs(row, index + k + 4), 1);
  };
  const __m256 a = load(0), b = load(2);
  left = VF{_mm256_shuffle_ps(a, b, _MM_SHUFFLE(2, 0, 2, 0))};
  right = VF{_mm256_shuffle_ps(a, b, _MM_SHUFFLE(3, 1, 3, 1))};
#else
  const __m128 a = TwoPairs(row, index), b = TwoPairs(row, index + 2);
  left = VF{_mm_shuffle_ps(a, b, _MM_SHUFFLE(2, 0, 2, 0))};
  right = VF{_mm_shuffle_ps(a, b, _MM_SHUFFLE(3, 1, 3, 1))};
#endif
}

#endif

// Taps of pixels that have all four of them in the plane.
class PairTaps {
 public:
  HWY_INLINE PairTaps(VI x0, VI y0, int width) : width_(width) {
    hn::Store(hn::Add(hn::Mul(y0, hn::Set(DI(), width)), x0), DI(), index_);
  }
  HWY_INLINE Taps load(const AffinePlanes& planes, int q) const {
    const float* const plane = planes.plane(q);
    Taps taps;
    LoadPairs(plane, index_, taps.p00, taps.p01);
    LoadPairs(plane + width_, index_, taps.p10, taps.p11);
    return taps;
  }

 private:
  alignas(64) std::int32_t index_[kLanes];
  int width_;
};

// Taps of any pixels of the plane.
class GatheredTaps {
 public:
  HWY_INLINE GatheredTaps(VI x0, VI x1, VI y0, VI y1, int width) {
    const VI pitch = hn::Set(DI(), width), upper = hn::Mul(y0, pitch), lower = hn::Mul(y1, pitch);
    at00_ = hn::Add(upper, x0);
    at01_ = hn::Add(upper, x1);
    at10_ = hn::Add(lower, x0);
    at11_ = hn::Add(lower, x1);
  }
  HWY_INLINE Taps load(const AffinePlanes& planes, int q) const {
    const DF df;
    const float* const plane = planes.plane(q);
    return {hn::GatherIndex(df, plane, at00_), hn::GatherIndex(df, plane, at01_),
            hn::GatherIndex(df, plane, at10_), hn::GatherIndex(df, plane, at11_)};
  }

 private:
  VI at00_, at01_, at10_, at11_;
};

#if HWY_TARGET <= HWY_AVX3

// The source pixels round the taps of a block.
class Window {
 public:
  static constexpr int kSide = 8;

  Window() = default;
  // x0, y0: of the lanes of a block. Their least is at a corner, positions being monotonous in rows and
  // in columns; where terms beyond the range of floats break that, holds() says so.
  HWY_INLINE Window(const std::int32_t* x0, const std::int32_t* y0, int width, int height)
      : left_(std::max(std::min(LeastOfCorners(x0), width - kSide), 0)),
        top_(std::max(std::min(LeastOfCorners(y0), height - kSide), 0)),
        width_(width),
        fits_(width >= kSide && height >= kSide) {}

  // Whether it holds the squares of size x size pixels whose upper left ones are at x and y.
  HWY_INLINE bool holds(VI x, VI y, int size) const {
    // Without signs, for places before the window as well.
    const auto most = _mm512_set1_epi32(kSide - size);
    return fits_ && (_mm512_cmpgt_epu32_mask(column(x).raw, most) |
                     _mm512_cmpgt_epu32_mask(row(y).raw, most)) == 0;
  }

  // Of pixels that it holds.
  HWY_INLINE VI lanes(VI x, VI y) const { return hn::Add(hn::ShiftLeft<3>(row(y)), column(x)); }

  HWY_INLINE void prefetch(const AffinePlanes& planes, int q) const {
    if (!fits_) return;
    // Windows overlap: those beside this one call for the rest.
    const float* const from = planes.plane(q) + std::ptrdiff_t{top_} * width_ + left_ + kSide / 2;
    for (int r = 0; r < kSide; ++r) hwy::Prefetch(from + std::ptrdiff_t{r} * width_);
  }

  struct Place {
    VI lanes;
    __mmask16 lower;  // whether in the lower half
    explicit HWY_INLINE Place(VI at)
        : lanes(at), lower(_mm512_test_epi32_mask(at.raw, _mm512_set1_epi32(kSide * kSide / 2))) {}
  };

  struct Pixels {
    __m512 rows[4];  // two each
    HWY_INLINE VF at(const Place& place) const {
      return VF{_mm512_mask_blend_ps(place.lower,
                                     _mm512_permutex2var_ps(rows[0], place.lanes.raw, rows[1]),
                                     _mm512_permutex2var_ps(rows[2], place.lanes.raw, rows[3]))};
    }
  };
  HWY_INLINE Pixels load(const float* plane) const {
    const std::ptrdiff_t pitch = width_;
    const float* const from = plane + top_ * pitch + left_;
    const auto rows = [&](int row) HWY_ATTR {
      return _mm512_insertf32x8(_mm512_castps256_ps512(_mm256_loadu_ps(from + row * pitch)),
                                _mm256_loadu_ps(from + (row + 1) * pitch), 1);
    };
    return {{rows(0), rows(2), rows(4), rows(6)}};
  }

 private:
  static HWY_INLINE std::int32_t LeastOfCorners(const std::int32_t* lanes) {
    return std::min(std::min(lanes[0], lanes[3]), std::min(lanes[12], lanes[15]));
  }
  HWY_INLINE VI column(VI x) const { return hn::Sub(x, hn::Set(DI(), left_)); }
  HWY_INLINE VI row(VI y) const { return hn::Sub(y, hn::Set(DI(), top_)); }

  int left_, top_, width_;
  bool fits_;
};

class WindowTaps {
 public:
  // at: lanes of the upper left taps; right, below: how many lanes from there to the others.
  HWY_INLINE WindowTaps(const Window& window, VI at, VI right, VI below)
      : window_(window),
        at00_(at),
        at01_(hn::Add(at, right)),
        at10_(hn::Add(at, below)),
        at11_(hn::Add(at, hn::Add(right, below))) {}
  HWY_INLINE Taps load(const AffinePlanes& planes, int q) const {
    const Window::Pixels pixels = window_.load(planes.plane(q));
    return {pixels.at(at00_), pixels.at(at01_), pixels.at(at10_), pixels.at(at11_)};
  }

 private:
  const Window& window_;
  Window::Place at00_, at01_, at10_, at11_;
};

#endif

}  // namespace
}  // namespace TarnCPU::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif  // per-target include guard
