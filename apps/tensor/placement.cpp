#include "apps/tensor/placement.h"

#include <algorithm>
#include <cmath>

namespace tarnkit {

Placement placePicture(Fit fit, int frame_width, int frame_height, int width, int height) {
  if (fit == Fit::kStretch) return {0, 0, width, height};
  const double scale =
      std::min(static_cast<double>(width) / frame_width, static_cast<double>(height) / frame_height);
  const auto even = [scale](int side, int most) {
    return std::clamp(2 * static_cast<int>(std::lround(side * scale / 2.0)), 2, most);
  };
  const int placed_width = even(frame_width, width), placed_height = even(frame_height, height);
  return {(width - placed_width) / 2, (height - placed_height) / 2, placed_width, placed_height};
}

}  // namespace tarnkit
