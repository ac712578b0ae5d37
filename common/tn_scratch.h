// Memory of one call: one allocation for several arrays, each on a vector boundary.
#ifndef TN_KITS_COMMON_TN_SCRATCH_H_
#define TN_KITS_COMMON_TN_SCRATCH_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <tuple>

namespace TarnCPU {

// An array to be allocated.
template <class T>
struct ScratchArray {
  std::size_t count;
};

class Scratch {
 public:
  // Uninitialised arrays in the order given, until the object dies. To be called once. Throws
  // std::bad_alloc.
  template <class... T>
  std::tuple<T*...> allocate(ScratchArray<T>... arrays) {
    const std::size_t bytes = (bytesOf(arrays) + ...);
    std::size_t space = bytes + kAlignment;
    block_.reset(new std::uint8_t[space]);
    void* start = block_.get();
    std::uint8_t* next = static_cast<std::uint8_t*>(std::align(kAlignment, bytes, start, space));
    const auto take = [&next](std::size_t size) { return (next += size) - size; };
    // In braces, so that it is evaluated from left to right.
    return std::tuple<T*...>{reinterpret_cast<T*>(take(bytesOf(arrays)))...};
  }

 private:
  static constexpr std::size_t kAlignment = 64;

  template <class T>
  static constexpr std::size_t bytesOf(ScratchArray<T> array) {
    return (array.count * sizeof(T) + kAlignment - 1) / kAlignment * kAlignment;
  }

  std::unique_ptr<std::uint8_t[]> block_;
};

}  // namespace TarnCPU

#endif  // TN_KITS_COMMON_TN_SCRATCH_H_
