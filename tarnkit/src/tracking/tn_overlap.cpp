// The overlap of two boxes, as it is defined.
#include "tarnkit/src/tracking/tn_overlap.h"

#include <algorithm>
#include <cstring>

namespace Tarn {
namespace {

// Boxes a and b along one axis.
struct AxisOverlap {
  float shared;  // length of the common extent; negative when they are apart
  float offset;  // positive when neither extent lies within the other
};

// The order of these sums is part of the definition: rounding decides whether boxes with a common edge
// count as nested.
AxisOverlap compareFromEdge(float a, float a_size, float b, float b_size) {
  const float shared = std::min(a + a_size, b + b_size) - std::max(a, b);
  return {shared, ((a + a_size - b) - b_size) * (a - b)};
}

AxisOverlap compareFromCentre(float a, float a_size, float b, float b_size) {
  const float a_near = a - a_size * 0.5f;
  const float b_near = b - b_size * 0.5f;
  const float shared = std::min(a_size + a_near, b_size + b_near) - std::max(a_near, b_near);
  return {shared, ((a + a_size * 0.5f) - (b + b_size * 0.5f)) * (a_near - b_near)};
}

}  // namespace

float computeIoU(const float* a, const float* b, const char* format) {
  const auto compare = std::strcmp(format, "ltwh") == 0     ? compareFromEdge
                       : std::strcmp(format, "cxcywh") == 0 ? compareFromCentre
                                                            : nullptr;
  if (compare == nullptr) return 0.0f;
  const AxisOverlap x = compare(a[0], a[2], b[0], b[2]);
  const AxisOverlap y = compare(a[1], a[3], b[1], b[3]);
  if (!(x.offset > 0.0f) && !(y.offset > 0.0f)) return 1.0f;
  const bool apart = x.shared < 0.0f || y.shared < 0.0f;
  const float intersection = apart ? 0.0f : x.shared * y.shared;
  return intersection / (b[2] * b[3] + a[2] * a[3] - intersection);
}

}  // namespace Tarn
