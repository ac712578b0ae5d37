// Vectors as 16-byte blocks: loaded from several addresses at once. To be included in a file that is
// compiled again for every CPU target.
#if defined(TN_KITS_COMMON_TN_BLOCKS_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef TN_KITS_COMMON_TN_BLOCKS_INL_H_
#undef TN_KITS_COMMON_TN_BLOCKS_INL_H_
#else
#define TN_KITS_COMMON_TN_BLOCKS_INL_H_
#endif

#include <cstddef>

#include "hwy/highway.h"

// TN_BLOCKS: whether vectors consist of 16-byte blocks and have byte shuffles within them. One-lane
// vectors do not; the portable emulation gives the lanes of reordering operations other places than x86
// does.
#undef TN_BLOCKS
#if HWY_ARCH_X86 && HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128
#define TN_BLOCKS 1
#else
#define TN_BLOCKS 0
#endif

#if TN_BLOCKS
HWY_BEFORE_NAMESPACE();
namespace TarnCPU::HWY_NAMESPACE {
namespace {
namespace hn = hwy::HWY_NAMESPACE;

constexpr std::size_t kBlockBytes = 16;

template <class D>
constexpr std::size_t kVectorBytes = hn::MaxLanes(D()) * sizeof(hn::TFromD<D>);

// A vector of pieces of kPiece bytes, 8 or 16: piece number i is loaded from place(i), in any alignment.
template <std::size_t kPiece, class D, class Place>
HWY_INLINE hn::Vec<D> GatherPieces(D d, const Place& place, std::size_t first = 0) {
  if constexpr (kVectorBytes<D> == kPiece) {
    return hn::LoadU(d, place(first));
  } else {
    const hn::Half<D> half;
    constexpr std::size_t kPieces = kVectorBytes<D> / 2 / kPiece;
    return hn::Combine(d, GatherPieces<kPiece>(half, place, first + kPieces),
                       GatherPieces<kPiece>(half, place, first));
  }
}

// A vector of 16-byte blocks, block i from place(i).
template <class D, class Place>
HWY_INLINE hn::Vec<D> GatherBlocks(D d, const Place& place) {
  return GatherPieces<kBlockBytes>(d, place);
}

// A vector of 8-byte half blocks, number i from place(i).
template <class D, class Place>
HWY_INLINE hn::Vec<D> GatherHalfBlocks(D d, const Place& place) {
  return GatherPieces<kBlockBytes / 2>(d, place);
}

}  // namespace
}  // namespace TarnCPU::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();
#endif  // TN_BLOCKS

#endif  // per-target include guard
