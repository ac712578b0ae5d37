// Stores past the caches, for outputs that they do not hold (see exceedsCaches). An ordinary store first
// reads the line that it writes to; these do not, which saves a third to a half of the memory traffic.
// Whoever reads the output soon finds it in memory instead of in a cache, so smaller outputs are better
// off with ordinary stores. To be included in a file that is compiled again for every CPU target.
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "common/tn_prefetch.h"
#include "hwy/highway.h"

#ifndef TN_KITS_COMMON_TN_STORES_ONCE_H_
#define TN_KITS_COMMON_TN_STORES_ONCE_H_

#if HWY_COMPILER_MSVC
#include <intrin.h>
#else
#include <cpuid.h>
#endif

namespace TarnCPU {

// Whether `rep movsb` copies whole lines at a time (the processor's "enhanced rep movsb").
inline bool hasFastCopyInstruction() {
  constexpr unsigned kBit = 9;  // of EBX, in leaf 7
#if HWY_COMPILER_MSVC
  int registers[4];
  __cpuid(registers, 0);
  if (registers[0] < 7) return false;
  __cpuidex(registers, 7, 0);
  return (static_cast<unsigned>(registers[1]) >> kBit & 1) != 0;
#else
  unsigned eax = 0, ebx = 0, ecx = 0, edx = 0;
  return __get_cpuid_count(7, 0, &eax, &ebx, &ecx, &edx) != 0 && (ebx >> kBit & 1) != 0;
#endif
}

using RowCopy = void (*)(std::uint8_t* to, const std::uint8_t* from, std::size_t bytes);

// How to copy the rows of an image of so many bytes. memcpy looks at the size of a single row, for which
// caches always seem large enough. The instruction takes long to start, so short rows are left to
// memcpy.
inline RowCopy chooseRowCopy(std::size_t image_bytes, std::size_t row_bytes) {
  static const bool fast = hasFastCopyInstruction();
  constexpr std::size_t kShortRow = 2 * kCacheLine;
  if (fast && row_bytes >= kShortRow && exceedsCaches(2 * image_bytes))
    return [](std::uint8_t* to, const std::uint8_t* from, std::size_t bytes) {
#if HWY_COMPILER_MSVC
      __movsb(to, from, bytes);
#else
      __asm__ volatile("rep movsb" : "+D"(to), "+S"(from), "+c"(bytes) : : "memory");
#endif
    };
  return [](std::uint8_t* to, const std::uint8_t* from, std::size_t bytes) {
    std::memcpy(to, from, bytes);
  };
}

}  // namespace TarnCPU
#endif  // TN_KITS_COMMON_TN_STORES_ONCE_H_

#if defined(TN_KITS_COMMON_TN_STORES_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef TN_KITS_COMMON_TN_STORES_INL_H_
#undef TN_KITS_COMMON_TN_STORES_INL_H_
#else
#define TN_KITS_COMMON_TN_STORES_INL_H_
#endif

HWY_BEFORE_NAMESPACE();
namespace TarnCPU::HWY_NAMESPACE {
namespace {
namespace hn = hwy::HWY_NAMESPACE;

// Writes `count` elements with streaming stores: at(d, i) gives a vector of those from i on, for D and,
// at the run's ends, for one lane. `to`: at the alignment of its elements. After the last run
// hwy::FlushStream() makes the stores visible to other threads in their order.
template <class D, class At>
HWY_INLINE void StreamRun(D d, std::size_t count, hn::TFromD<D>* HWY_RESTRICT to, const At& at) {
  const hn::CappedTag<hn::TFromD<D>, 1> one;
  const std::size_t lanes = hn::Lanes(d);
  const std::size_t ahead = reinterpret_cast<std::uintptr_t>(to) / sizeof(*to) % lanes;
  std::size_t i = 0;
  for (; i < count && (ahead + i) % lanes != 0; ++i) hn::StoreU(at(one, i), one, to + i);
  for (; i + lanes <= count; i += lanes) hn::Stream(at(d, i), d, to + i);
  for (; i < count; ++i) hn::StoreU(at(one, i), one, to + i);
}

}  // namespace
}  // namespace TarnCPU::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif  // per-target include guard
