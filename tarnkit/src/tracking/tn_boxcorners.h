// Boxes as fractions of the frame, and their corners in pixels, which is what the filters work on.
#ifndef TN_KITS_TRACKING_TN_BOXCORNERS_H_
#define TN_KITS_TRACKING_TN_BOXCORNERS_H_

#include <Eigen/Core>
#include <cstdint>

namespace Tarn {

// Left, top, right and bottom in pixels, in single precision. The right and bottom edges are summed as
// fractions and then scaled: another order rounds differently.
struct BoxCorners {
  BoxCorners(float x, float y, float w, float h, std::int32_t width, std::int32_t height)
      : at{x * static_cast<float>(width), y * static_cast<float>(height),
           (x + w) * static_cast<float>(width), (y + h) * static_cast<float>(height)} {}

  float at[4];
};

// The box whose corners in pixels are corners[0] to corners[3], computed in Real and rounded to float at
// the end. The edges are divided first and subtracted then: another order rounds differently.
template <class Real, class Corners>
void storeBox(const Corners& corners, std::int32_t width, std::int32_t height, float* x, float* y,
              float* w, float* h) {
  using Four = Eigen::Array<Real, 4, 1>;
  const Real columns = static_cast<Real>(width);
  const Real rows = static_cast<Real>(height);
  const Four edges = Eigen::Map<const Four>(&corners[0]) / Four(columns, rows, columns, rows);
  *x = static_cast<float>(edges[0]);
  *y = static_cast<float>(edges[1]);
  *w = static_cast<float>(edges[2] - edges[0]);
  *h = static_cast<float>(edges[3] - edges[1]);
}

}  // namespace Tarn

#endif  // TN_KITS_TRACKING_TN_BOXCORNERS_H_
