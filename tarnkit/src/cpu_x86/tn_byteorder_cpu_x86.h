// The packed byte orders that kernels are instantiated for.
#ifndef TN_KITS_CPU_X86_TN_BYTEORDER_CPU_X86_H_
#define TN_KITS_CPU_X86_TN_BYTEORDER_CPU_X86_H_

#include <cstddef>

namespace TarnCPU {

// kBytes is the size of a pixel, kRed the place of R in it. B is at 2 - kRed, G always at byte 1.
struct BgraOrder {
  static constexpr std::size_t kBytes = 4, kRed = 2;
};
struct RgbaOrder {
  static constexpr std::size_t kBytes = 4, kRed = 0;
};
struct RgbOrder {
  static constexpr std::size_t kBytes = 3, kRed = 0;
};

}  // namespace TarnCPU

#endif  // TN_KITS_CPU_X86_TN_BYTEORDER_CPU_X86_H_
