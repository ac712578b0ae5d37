// Rounds floats to half precision and bfloat16.
#include "platform/tn_cnn/src/engine/tn_weight_rounding.h"

#include <cmath>
#include <cstdint>
#include <cstring>

namespace TarnCPU {
namespace {

// Rounds off the lowest `dropped` bits of the significand. A carry rightly goes into the exponent.
float dropBits(float value, unsigned dropped) {
  std::uint32_t bits;
  std::memcpy(&bits, &value, sizeof bits);
  const std::uint32_t half = 1u << (dropped - 1), last = (bits >> dropped) & 1;
  bits = (bits + half - 1 + last) & ~((1u << dropped) - 1);
  std::memcpy(&value, &bits, sizeof value);
  return value;
}

constexpr unsigned kDroppedByBf16 = 16, kDroppedByF16 = 13;
constexpr float kSmallestNormalF16 = 6.103515625e-05f;  // 2^-14
// Halfway between 65504, the largest finite half, and the value that would follow it.
constexpr float kInfiniteFromF16 = 65520.0f;
// A float of this size has steps of 2^-24, like halves below the smallest normal one.
constexpr float kSubnormalStep = 0.5f;

}  // namespace

float roundWeight(float value, WeightPrecision precision) {
  if (!std::isfinite(value) || precision == WeightPrecision::kF32) return value;
  if (precision == WeightPrecision::kBf16) return dropBits(value, kDroppedByBf16);
  const float size = std::fabs(value);
  if (size >= kInfiniteFromF16) return std::copysign(INFINITY, value);
  if (size >= kSmallestNormalF16) return dropBits(value, kDroppedByF16);
  // The addition rounds to such a step, ties to even; the subtraction is exact.
  const float shifted = size + kSubnormalStep;
  return std::copysign(shifted - kSubnormalStep, value);
}

}  // namespace TarnCPU
