// Prefetching: cache lines that the processor is asked to load before they are needed.
//
// The hardware's own prefetchers follow long runs of rising addresses. These functions are for the rest:
// blocks of short rows, columns, and output planes that are written side by side.
#ifndef TN_KITS_COMMON_TN_PREFETCH_H_
#define TN_KITS_COMMON_TN_PREFETCH_H_

#include <cstddef>

#include "hwy/cache_control.h"

namespace TarnCPU {

constexpr std::size_t kCacheLine = 64;

// Whether a job that reads and writes so many bytes is too large for the caches. From about 12 MB on,
// prefetching begins to save more than it costs.
constexpr bool exceedsCaches(std::size_t bytes) { return bytes > std::size_t{12} << 20; }

// Prefetches the lines of `count` elements. Nothing need be readable there.
template <class T>
HWY_INLINE void PrefetchRun(const T* from, std::ptrdiff_t count) {
  constexpr std::ptrdiff_t kLine = kCacheLine / sizeof(T);
  for (std::ptrdiff_t i = 0; i < count; i += kLine) hwy::Prefetch(from + i);
}

// The same for `rows` runs whose beginnings are `pitch` elements apart.
template <class T>
HWY_INLINE void PrefetchRows(const T* from, std::ptrdiff_t count, std::ptrdiff_t rows,
                             std::ptrdiff_t pitch) {
  for (std::ptrdiff_t row = 0; row < rows; ++row) PrefetchRun(from + row * pitch, count);
}

}  // namespace TarnCPU

#endif  // TN_KITS_COMMON_TN_PREFETCH_H_
