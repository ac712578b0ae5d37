// Arrays carved out of one block of memory, each from a cache line on.
#ifndef TN_KITS_COMMON_TN_ARRAYS_H_
#define TN_KITS_COMMON_TN_ARRAYS_H_

#include <cstddef>
#include <cstdint>

namespace TarnCPU {

// The widest loads fill a line, and every one across two lines costs double.
constexpr std::size_t kArrayAlignment = 64;

// Hands out the arrays of a block one after the other. Without a block it only adds up their bytes.
class Arrays {
 public:
  // block: null, or at a multiple of kArrayAlignment.
  explicit Arrays(std::uint8_t* block) : block_(block) {}
  template <class T>
  T* take(std::size_t count) {
    T* const array = block_ == nullptr ? nullptr : reinterpret_cast<T*>(block_ + bytes_);
    bytes_ += (count * sizeof(T) + kArrayAlignment - 1) / kArrayAlignment * kArrayAlignment;
    return array;
  }
  std::size_t bytes() const { return bytes_; }

 private:
  std::uint8_t* block_;
  std::size_t bytes_ = 0;
};

}  // namespace TarnCPU

#endif  // TN_KITS_COMMON_TN_ARRAYS_H_
