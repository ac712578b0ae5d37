#include "tarnkit/src/tracking/tn_overlap.h"

#include <algorithm>
#include <cstring>

namespace Tarn {
namespace {

// One box along one axis. `near_edge` is the left or top edge, `far_edge` the right or bottom one.
struct Extent {
  float near_edge, far_edge, size;
};

// How far a reaches beyond b at either end; positive when a is offset from b in one direction, negative
// or zero when one lies within the other.
struct Offset {
  float extent_overlap, product;
};

Offset compareExtents(const Extent& a, const Extent& b, float far_difference) {
  const float overlap = std::min(a.far_edge, b.far_edge) - std::max(a.near_edge, b.near_edge);
  return {overlap, far_difference * (a.near_edge - b.near_edge)};
}

float overlapOf(const Offset& x, const Offset& y, float area_a, float area_b) {
  const bool apart = x.extent_overlap < 0.0f || y.extent_overlap < 0.0f;
  const float intersection = apart ? 0.0f : x.extent_overlap * y.extent_overlap;
  if (x.product > 0.0f || y.product > 0.0f) return intersection / (area_b + area_a - intersection);
  return 1.0f;
}

Offset compareFromEdge(float a, float a_size, float b, float b_size) {
  return compareExtents({a, a + a_size, a_size}, {b, b + b_size, b_size}, (a + a_size - b) - b_size);
}

Offset compareFromCentre(float a, float a_size, float b, float b_size) {
  const float a_near = a - a_size * 0.5f;
  const float b_near = b - b_size * 0.5f;
  return compareExtents({a_near, a_size + a_near, a_size}, {b_near, b_size + b_near, b_size},
                        (a + a_size * 0.5f) - (b + b_size * 0.5f));
}

}  // namespace

float computeIoU(const float* a, const float* b, const char* format) {
  const auto compare = std::strcmp(format, "ltwh") == 0     ? compareFromEdge
                       : std::strcmp(format, "cxcywh") == 0 ? compareFromCentre
                                                            : nullptr;
  if (compare == nullptr) return 0.0f;
  return overlapOf(compare(a[0], a[2], b[0], b[2]), compare(a[1], a[3], b[1], b[3]), a[2] * a[3],
                   b[2] * b[3]);
}

}  // namespace Tarn
