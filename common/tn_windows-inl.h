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

#include "common/tn_blocks-inl.h"
#include "common/tn_windows.h"
#include "hwy/highway.h"

#if TN_BLOCKS
HWY_BEFORE_NAMESPACE();
namespace TarnCPU::HWY_NAMESPACE {
namespace {
namespace hn = hwy::HWY_NAMESPACE;

// What one window for each block of a vector has of the bytes wanted; zeros elsewhere.
template <class D>
HWY_INLINE hn::Vec<D> PickWindow(D d8, const std::uint8_t* row, const std::int32_t* offsets,
                                 const std::uint8_t* shuffles) {
  const auto windows = GatherBlocks(d8, [&](std::size_t i) HWY_ATTR { return row + offsets[i]; });
  return hn::TableLookupBytesOr0(windows, hn::Load(d8, shuffles));
}

// A vector of picked bytes from tables in VectorLayout, and on to the entries of the next one.
template <std::size_t kWindows, class D>
HWY_INLINE hn::Vec<D> PickNextBytes(D d8, const std::uint8_t* row, const std::int32_t*& offsets,
                                    const std::uint8_t*& shuffles) {
  constexpr std::size_t kBlocks = kVectorBytes<D> / kBlockBytes;
  auto v = hn::Zero(d8);
  for (std::size_t window = 0; window < kWindows; ++window) {
    const auto picked = PickWindow(d8, row, offsets, shuffles);
    v = window == 0 ? picked : hn::Or(v, picked);
    offsets += kBlocks;
    shuffles += kVectorBytes<D>;
  }
  return v;
}

}  // namespace
}  // namespace TarnCPU::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();
#endif  // TN_BLOCKS

#endif  // per-target include guard
