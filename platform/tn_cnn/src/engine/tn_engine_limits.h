// How large what a model asks for may be.
#ifndef TN_CNN_SRC_ENGINE_TN_ENGINE_LIMITS_H_
#define TN_CNN_SRC_ENGINE_TN_ENGINE_LIMITS_H_

#include <cstdint>

namespace TarnCPU {

// Elements of any one blob, 1 GiB as floats. The engine counts in places with 32 bits.
constexpr std::int64_t kMostBlobElements = std::int64_t{1} << 28;

}  // namespace TarnCPU

#endif  // TN_CNN_SRC_ENGINE_TN_ENGINE_LIMITS_H_
