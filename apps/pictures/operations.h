// What can be done to a picture. No operation changes its source; planar pictures are turned,
// mirrored and cut plane by plane.
#ifndef TN_KITS_APPS_PICTURES_OPERATIONS_H_
#define TN_KITS_APPS_PICTURES_OPERATIONS_H_

#include "apps/pictures/picture.h"

namespace tarnkit {

// Packed RGB: grey becomes three equal bytes, the fourth byte of RGBA is dropped.
Picture toRgb(const Picture& source);

// One byte a pixel, by the kernels' weights, which round down: an RGB grey can come out 1 lower. What is
// grey already stays as it is.
Picture toGray(const Picture& source);

// Three planes, also from grey.
Picture toPlanar(const Picture& source);

// Quarter turns; any size comes out whole.
enum class Turn { kClockwise, kAnticlockwise };
Picture turn(const Picture& source, Turn direction);

// kHorizontal swaps left and right, kVertical top and bottom.
enum class Mirror { kHorizontal, kVertical };
Picture mirror(const Picture& source, Mirror direction);

struct Rectangle {
  int x = 0, y = 0, width = 0, height = 0;
};
// Whether the rectangle has pixels, all of them inside the picture.
bool isInside(const Rectangle& rectangle, const Picture& picture);
// The rectangle must be inside.
Picture cut(const Picture& source, const Rectangle& rectangle);

}  // namespace tarnkit

#endif  // TN_KITS_APPS_PICTURES_OPERATIONS_H_
