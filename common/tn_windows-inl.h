// Bytes picked from a row by byte shuffles: the vector code. To be included in a file that is compiled
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

// The picked bytes of a row, vector after vector, by tables in VectorLayout.
template <std::size_t kWindows>
class WindowReader {
 public:
  WindowReader(const std::uint8_t* row, const WindowTables& tables)
      : row_(row), offsets_(tables.offsets), shuffles_(tables.shuffles) {}
  template <class D>
  HWY_INLINE hn::Vec<D> next(D d8) {
    constexpr std::size_t kBytes = kVectorBytes<D>, kBlocks = kBytes / kBlockBytes;
    auto v = PickWindow(d8, row_, offsets_, shuffles_);
    for (std::size_t i = 1; i < kWindows; ++i)
      v = hn::Or(v, PickWindow(d8, row_, offsets_ + i * kBlocks, shuffles_ + i * kBytes));
    offsets_ += kWindows * kBlocks;
    shuffles_ += kWindows * kBytes;
    return v;
  }

 private:
  const std::uint8_t* row_;
  const std::int32_t* offsets_;
  const std::uint8_t* shuffles_;
};

}  // namespace
}  // namespace TarnCPU::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();
#endif  // TN_BLOCKS

#endif  // per-target include guard
