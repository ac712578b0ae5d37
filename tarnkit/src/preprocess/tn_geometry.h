// Where a region of the upright picture goes in a tensor, in whole pixels.
#ifndef TN_KITS_PREPROCESS_TN_GEOMETRY_H_
#define TN_KITS_PREPROCESS_TN_GEOMETRY_H_

#include "tarnkit/src/preprocess/tn_frame.h"

namespace Tarn::preprocess {

// One upright axis. The region's `size` pixels become `scaled` ones, of which the tensor shows `shown`,
// from number `cut` on, at `at`.
struct AxisGeometry {
  int start, size;
  int scaled, cut, at, shown;
};

struct Geometry {
  AxisGeometry x, y;
};

// The frame is a checked one. Errors: std::invalid_argument for a region without pixels.
Geometry makeGeometry(const TensorSpec& spec, const FrameView& frame, const Region& region);
Placement placementOf(const Geometry& geometry, const FrameView& frame);

// Errors: std::invalid_argument beginning with a field's name.
void checkSpec(const TensorSpec& spec);

constexpr int channelsOf(TensorColour colour) { return colour == TensorColour::kGray ? 1 : 3; }
constexpr std::size_t elementBytes(ElementType type) {
  return type == ElementType::kFloat32                                     ? 4
         : type == ElementType::kFloat16 || type == ElementType::kBfloat16 ? 2
                                                                           : 1;
}

// One operation rounded after the other: what every element of channel `c` comes from.
inline float normalised(const TensorSpec& spec, int c, float value) {
  return ((value / spec.divisor - spec.mean[c]) / spec.deviation[c]) * spec.scale[c];
}

}  // namespace Tarn::preprocess

#endif  // TN_KITS_PREPROCESS_TN_GEOMETRY_H_
