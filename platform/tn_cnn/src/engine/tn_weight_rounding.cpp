#include "platform/tn_cnn/src/engine/tn_weight_rounding.h"

#include <cmath>
#include <cstdint>
#include <cstring>

namespace TarnCPU {
namespace {

// Rounds off the lowest `dropped` bits of the significand. A carry runs into the exponent, as it should.
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
// Halfway between the largest half, 65504, and what would follow it.
constexpr float kInfiniteFromF16 = 65520.0f;
// Its last bit is worth 2^-24, the step of halves below the smallest normal one.
constexpr float kSubnormalStep = 0.5f;

}  // namespace

float roundWeight(float value, WeightPrecision precision) {
  if (!std::isfinite(value) || precision == WeightPrecision::kF32) return value;
  if (precision == WeightPrecision::kBf16) return dropBits(value, kDroppedByBf16);
  const float size = std::fabs(value);
  if (size >= kInfiniteFromF16) return std::copysign(INFINITY, value);
  if (size >= kSmallestNormalF16) return dropBits(value, kDroppedByF16);
  // The addition rounds to that step, to even on ties; the subtraction is exact.
  const float shifted = size + kSubnormalStep;
  return std::copysign(shifted - kSubnormalStep, value);
}

}  // namespace TarnCPU
