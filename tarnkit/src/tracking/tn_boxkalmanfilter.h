// The Kalman filter of one tracked box: corners in pixels under constant acceleration.
#ifndef TN_KITS_SRC_TRACKING_TN_BOXKALMANFILTER_H_
#define TN_KITS_SRC_TRACKING_TN_BOXKALMANFILTER_H_

#include "tn_kalmanfilter.h"

namespace Tarn {

// KalmanFilter::correct for filters of 12 states and 4 measured values, and of these sizes in every
// member that it uses; without a copy of the measurement, and so without the heap.
void correctBySize(KalmanFilter& filter, const float* measured);

// State: the corners x1, y1, x2, y2, then their velocities, then their accelerations. Measured are the
// corners.
//
// In this model nothing links one coordinate with another: every 12 x 12 matrix has nine 4 x 4 blocks
// that are diagonal, and as all coordinates start alike, the diagonals are constant. A frame is
// therefore computed once for 3 states, on numbers, and written out to the matrices, with the roundings
// of the full-size products. Each of those sums the same terms in the same order among products with
// zero, which are zeros and change no sum, as long as all values are finite. A frame with a value that
// is not goes through the full-size steps, which spread it as they must; it stays in the state or in the
// covariance for good, and sends all later frames the same way.
//
// The matrices are the base's and hold after every frame what its predict and correct would have left.
// They are to be read only.
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

#endif  // TN_KITS_SRC_TRACKING_TN_BOXKALMANFILTER_H_
