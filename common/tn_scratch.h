// Memory of one call: asked for once, cut into arrays that start on vector boundaries.
#ifndef TN_KITS_COMMON_TN_SCRATCH_H_
#define TN_KITS_COMMON_TN_SCRATCH_H_

#include <cstddef>
#include <cstdint>
#include <memory>

namespace TarnCPU {

class Scratch {
 public:
  // `bytes`: the sum of bytesFor() of all arrays. Throws std::bad_alloc.
  explicit Scratch(std::size_t bytes) : block_(new std::uint8_t[bytes + kAlignment]) {
    void* start = block_.get();
    std::size_t space = bytes + kAlignment;
    next_ = static_cast<std::uint8_t*>(std::align(kAlignment, bytes, start, space));
  }
  template <class T>
  static constexpr std::size_t bytesFor(std::size_t count) {
    return (count * sizeof(T) + kAlignment - 1) / kAlignment * kAlignment;
  }
  template <class T>
  T* take(std::size_t count) {
    T* const array = reinterpret_cast<T*>(next_);
    next_ += bytesFor<T>(count);
    return array;
  }

 private:
  static constexpr std::size_t kAlignment = 64;

  std::unique_ptr<std::uint8_t[]> block_;
  std::uint8_t* next_;
};

}  // namespace TarnCPU

#endif  // TN_KITS_COMMON_TN_SCRATCH_H_
