// Bytes picked from a row by byte shuffles: the vector side. To be included in a file that is compiled
// again for every CPU target.
#if defined(TN_KITS_COMMON_TN_WINDOWS_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef TN_KITS_COMMON_TN_WINDOWS_INL_H_
#undef TN_KITS_COMMON_TN_WINDOWS_INL_H_
#else
#define TN_KITS_COMMON_TN_WINDOWS_INL_H_
#endif

#include <cstddef>
#include <cstdint>

#include "common/tn_windows.h"
#include "hwy/highway.h"

// Without byte shuffles there is nothing to gain, and the portable emulation of vectors gives the lanes
// of reordering operations other places than x86 does.
#undef TN_WINDOWS
#if HWY_ARCH_X86 && HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128
#define TN_WINDOWS 1
#else
#define TN_WINDOWS 0
#endif

#if TN_WINDOWS
HWY_BEFORE_NAMESPACE();
namespace TarnCPU::HWY_NAMESPACE {
namespace {
namespace hn = hwy::HWY_NAMESPACE;

constexpr std::size_t kBytes = hn::MaxLanes(hn::ScalableTag<std::uint8_t>());
constexpr std::size_t kBlocks = kBytes / kWindowBytes;

// One window for each block of a vector.
template <class D>
HWY_INLINE hn::Vec<D> LoadWindows(D d, const std::uint8_t* row, const std::int32_t* offsets) {
  if constexpr (hn::MaxLanes(D()) == kWindowBytes) {
    return hn::LoadU(d, row + *offsets);
  } else {
    const hn::Half<D> half;
    return hn::Combine(d, LoadWindows(half, row, offsets + hn::MaxLanes(half) / kWindowBytes),
                       LoadWindows(half, row, offsets));
  }
}

// The next vector of picked bytes; the tables move on.
template <std::size_t kWindows, class D>
HWY_INLINE hn::Vec<D> PickBytes(D d8, const std::uint8_t* row, const std::int32_t*& offsets,
                                const std::uint8_t*& shuffles) {
  auto v = hn::TableLookupBytes(LoadWindows(d8, row, offsets), hn::Load(d8, shuffles));
  for (std::size_t window = 1; window < kWindows; ++window)
    v = hn::Or(v, hn::TableLookupBytes(LoadWindows(d8, row, offsets + window * kBlocks),
                                       hn::Load(d8, shuffles + window * kBytes)));
  offsets += kWindows * kBlocks;
  shuffles += kWindows * kBytes;
  return v;
}

}  // namespace
}  // namespace TarnCPU::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();
#endif  // TN_WINDOWS

#endif  // per-target include guard
