// The four source pixels, or taps, that an affine warp blends for each destination pixel: three ways to
// fetch them for a vector of pixels. To be included in a file that is compiled again for every CPU
// target.
//
// - WindowTaps, with AVX-512 only: a vector is a block of 4x4 pixels. Its taps lie in a window of 8x8
//   source pixels if the warp shrinks by less than 1.4 (less than 2 without rotation). Eight loads fetch
//   the window, and lookups in registers pick the taps.
// - PairTaps: two taps of a row are neighbours, so one load of 8 bytes fetches both. For vectors that no
//   window holds, and for older instruction sets.
// - GatheredTaps: hardware gathers, which many processors carry out tap by tap in microcode. For the few
//   vectors with taps outside the source.
#if defined(TN_KITS_CPU_X86_TN_AFFINETAPS_CPU_X86_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef TN_KITS_CPU_X86_TN_AFFINETAPS_CPU_X86_INL_H_
#undef TN_KITS_CPU_X86_TN_AFFINETAPS_CPU_X86_INL_H_
#else
#define TN_KITS_CPU_X86_TN_AFFINETAPS_CPU_X86_INL_H_
#endif

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "common/tn_blocks-inl.h"
#include "common/tn_intrinsics-inl.h"
#include "common/tn_prefetch.h"
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

// The floats at row[index[i]] and those to the right of them.
HWY_INLINE void LoadPairs(const float* row, const std::int32_t* index, VF& left, VF& right) {
  const DF df;
#if TN_BLOCKS
  const auto pairs = [&](std::size_t first, std::size_t step) HWY_ATTR {
    return GatherHalfBlocks(df, [&](std::size_t i) HWY_ATTR { return row + index[first + step * i]; });
  };
#if HWY_TARGET == HWY_AVX2
  // Here ConcatEven takes two instructions, which compete with those that join the pairs.
  const hn::Repartition<std::uint64_t, DF> d64;
  const VF even = pairs(0, 2), odd = pairs(1, 2);
  left = hn::OddEven(hn::BitCast(df, hn::ShiftLeft<32>(hn::BitCast(d64, odd))), even);
  right = hn::OddEven(odd, hn::BitCast(df, hn::ShiftRight<32>(hn::BitCast(d64, even))));
#else
  const VF lower = pairs(0, 1), upper = pairs(kLanes / 2, 1);
  left = hn::ConcatEven(df, upper, lower);
  right = hn::ConcatOdd(df, upper, lower);
#endif
#else
  const VI places = hn::Load(DI(), index);
  left = hn::GatherIndex(df, row, places);
  right = hn::GatherIndex(df, row + 1, places);
#endif
}

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

// The 8x8 source pixels that hold the taps of a block.
class Window {
 public:
  static constexpr int kSide = 8;

  Window() = default;
  // x0, y0: of the lanes of a block. Positions only rise or only fall along rows and along columns, so
  // the least is at a corner. Terms that overflow can break that; holds() then returns false.
  HWY_INLINE Window(const std::int32_t* x0, const std::int32_t* y0, int width, int height)
      : left_(std::max(std::min(LeastOfCorners(x0), width - kSide), 0)),
        top_(std::max(std::min(LeastOfCorners(y0), height - kSide), 0)),
        width_(width),
        fits_(width >= kSide && height >= kSide) {}

  // Whether it holds the squares of size x size pixels whose upper left ones are at x and y.
  HWY_INLINE bool holds(VI x, VI y, int size) const {
    // As unsigned numbers, places before the window are too large as well.
    const hn::RebindToUnsigned<DI> du;
    const auto most = hn::Set(du, static_cast<std::uint32_t>(kSide - size));
    return fits_ && hn::AllFalse(du, hn::Or(hn::Gt(hn::BitCast(du, column(x)), most),
                                            hn::Gt(hn::BitCast(du, row(y)), most)));
  }

  // Places in the window, row by row, of pixels that it holds.
  HWY_INLINE VI lanes(VI x, VI y) const { return hn::Add(hn::ShiftLeft<3>(row(y)), column(x)); }

  HWY_INLINE void prefetch(const AffinePlanes& planes, int q) const {
    if (!fits_) return;
    // A line of each row will do: windows overlap, and those beside this one prefetch the rest.
    const float* const from = planes.plane(q) + std::ptrdiff_t{top_} * width_ + left_ + kSide / 2;
    PrefetchRows(from, 1, kSide, width_);
  }

  struct Place {
    VI lanes;
    hn::Mask<DF> lower;  // whether in the lower half
    explicit HWY_INLINE Place(VI at)
        : lanes(at), lower(hn::RebindMask(DF(), hn::TestBit(at, hn::Set(DI(), kSide * kSide / 2)))) {}
  };

  struct Pixels {
    VF rows[4];  // two each
    HWY_INLINE VF at(const Place& place) const {
      return hn::IfThenElse(place.lower, LookupLanesOfTwo(rows[2], rows[3], place.lanes),
                            LookupLanesOfTwo(rows[0], rows[1], place.lanes));
    }
  };
  HWY_INLINE Pixels load(const float* plane) const {
    const std::ptrdiff_t pitch = width_;
    const float* const from = plane + top_ * pitch + left_;
    const auto rows = [&](int row) HWY_ATTR {
      const hn::Half<DF> half;
      return hn::Combine(DF(), hn::LoadU(half, from + (row + 1) * pitch),
                         hn::LoadU(half, from + row * pitch));
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
