// The Kalman filter of one tracked box: corners in pixels under constant acceleration.
#ifndef TN_KITS_TRACKING_TN_BOXKALMANFILTER_H_
#define TN_KITS_TRACKING_TN_BOXKALMANFILTER_H_

#include "tn_kalmanfilter.h"

namespace Tarn {

// KalmanFilter::correct for filters of 12 states and 4 measured values whose members all have their
// original sizes. Takes no copy of the measurement and so allocates nothing.
void correctBySize(KalmanFilter& filter, const float* measured);

// State: the corners x1, y1, x2, y2, then their velocities, then their accelerations. Measured are the
// corners.
//
// The four coordinates do not influence each other and have the same noise. So every 12 x 12 matrix
// consists of nine diagonal 4 x 4 blocks, each a number times the identity. A frame is therefore
// computed with 3 x 3 numbers, which are then written to the matrices.
//
// The results have the bits of the full-size products: those sum the same terms in the same order, and
// the other terms are products with zero, which change no sum as long as all values are finite. A frame
// with a value that is not finite takes the full-size steps, since infinity times zero is NaN and
// spreads. It stays in the state or in the covariance, so all later frames take them too.
//
// After every frame the base's matrices hold what its predict and correct would have left. Callers must
// not write to them.
class BoxKalmanFilter : public KalmanFilter {
 public:
  static constexpr int kCorners = 4;
  static constexpr int kOrders = 3;  // position, velocity, acceleration
  static constexpr int kStates = kOrders * kCorners;

  // Starts at rest at `corners`, with zero error covariance.
  BoxKalmanFilter(const float* corners, float fps, float process_noise, float measurement_noise);

  // One frame: predict, then correct with the measured corners or, for null, with the predicted ones.
  // Returns the corrected state. Allocates nothing.
  const float* step(const float* measured);

 private:
  bool stepByCoordinate(const float* measured);
};

}  // namespace Tarn

#endif  // TN_KITS_TRACKING_TN_BOXKALMANFILTER_H_
