// The Kalman filter of one box, computed for one coordinate instead of four.
#include "tarnkit/src/tracking/tn_boxkalmanfilter.h"

namespace Tarn {
namespace {

using Eigen::Array4f;
using Eigen::MatrixXf;

constexpr int kCorners = BoxKalmanFilter::kCorners;
constexpr int kOrders = BoxKalmanFilter::kOrders;
constexpr int kStates = BoxKalmanFilter::kStates;

// One number for each diagonal 4 x 4 block of a 12 x 12 matrix.
using Orders = float[kOrders][kOrders];

// Writes the diagonals of the blocks. The rest of the matrix is zero and stays so.
void writeBlocks(MatrixXf& matrix, const Orders& value) {
  float* column = matrix.data();
  for (int b = 0; b < kOrders; ++b)
    for (int i = 0; i < kCorners; ++i, column += kStates)
      for (int a = 0; a < kOrders; ++a) column[a * kCorners + i] = value[a][b];
}

// The same for a matrix that is one row of blocks, and for one that is one column of blocks.
void writeBlockRow(MatrixXf& matrix, const float* value) {
  float* column = matrix.data();
  for (int b = 0; b < kOrders; ++b)
    for (int i = 0; i < kCorners; ++i, column += kCorners) column[i] = value[b];
}

void writeBlockColumn(MatrixXf& matrix, const float* value) {
  float* column = matrix.data();
  for (int i = 0; i < kCorners; ++i, column += kStates)
    for (int a = 0; a < kOrders; ++a) column[a * kCorners + i] = value[a];
}

// transition times one column of a matrix, or times the state of one coordinate.
//
// The full-size product starts its sums at +0, which turns a first term of -0 into +0; these sums start
// at the first term. That is the same: only a corner at the start can be -0, and the terms added to it
// are +0, which gives +0 too.
template <class Value>
void applyTransition(float dt, float half_dt_squared, const Value* in, Value* out) {
  out[0] = in[0] + dt * in[1] + half_dt_squared * in[2];
  out[1] = in[1] + dt * in[2];
  out[2] = in[2];
}

}  // namespace

BoxKalmanFilter::BoxKalmanFilter(const float* corners, float fps, float process_noise,
                                 float measurement_noise)
    : KalmanFilter(kStates, kCorners, 0) {
  const float dt = static_cast<float>(1.0 / static_cast<double>(fps));
  const float half_dt_squared = (dt * 0.5f) * dt;
  for (int i = 0; i + kCorners < kStates; ++i) transition(i, i + kCorners) = dt;
  for (int i = 0; i < kCorners; ++i) {
    transition(i, i + 2 * kCorners) = half_dt_squared;
    measurement(i, i) = 1.0f;
    predictedState(i) = correctedState(i) = corners[i];
  }
  processNoiseCov *= process_noise;
  measurementNoiseCov *= measurement_noise;
}

const float* BoxKalmanFilter::step(const float* measured) {
  if (stepByCoordinate(measured)) return correctedState.data();
  predict();
  correctBySize(*this, measured != nullptr ? measured : predictedState.data());
  return correctedState.data();
}

// Returns false and changes nothing when a value is not finite.
bool BoxKalmanFilter::stepByCoordinate(const float* measured) {
  const float dt = transition.data()[kCorners * kStates];
  const float half_dt_squared = transition.data()[2 * kCorners * kStates];
  const float process_noise = processNoiseCov.data()[0];
  const float measurement_noise = measurementNoiseCov.data()[0];

  float fp_columns[kOrders][kOrders];
  for (int b = 0; b < kOrders; ++b) {
    const float* column = correctedErrorCov.data() + b * kCorners * kStates;
    const float p[kOrders] = {column[0], column[kCorners], column[2 * kCorners]};
    applyTransition(dt, half_dt_squared, p, fp_columns[b]);
  }
  Orders fp, predicted;
  for (int a = 0; a < kOrders; ++a) {
    for (int b = 0; b < kOrders; ++b) fp[a][b] = fp_columns[b][a];
    applyTransition(dt, half_dt_squared, fp[a], predicted[a]);
    predicted[a][a] += process_noise;
  }
  Array4f x[kOrders], x_predicted[kOrders];
  for (int a = 0; a < kOrders; ++a)
    x[a] = Eigen::Map<const Array4f>(correctedState.data() + a * kCorners);
  applyTransition(dt, half_dt_squared, x, x_predicted);

  // Correction. The innovation covariance is s times the identity.
  const float* const hp = predicted[0];
  const float s = hp[0] + measurement_noise;
  const float s_inverse = 1.0f / s;
  float gains[kOrders];
  // The full-size sum starts at +0, which matters here: the product may underflow to -0.
  for (int a = 0; a < kOrders; ++a) gains[a] = 0.0f + s_inverse * hp[a];
  const Array4f z = measured != nullptr ? Array4f(Eigen::Map<const Array4f>(measured)) : x_predicted[0];
  const Array4f difference = z - x_predicted[0];
  Orders corrected;
  // Finite values times 0 add up to 0, others to NaN. An s that overflows is not noticed and need not
  // be: the gain is then zero, here and in the full-size steps.
  float zero_if_finite = 0.0f;
  Array4f zeros_if_finite = Array4f::Zero();
  for (int a = 0; a < kOrders; ++a) {
    x[a] = x_predicted[a] + gains[a] * difference;
    zeros_if_finite += x[a] * 0.0f;
    for (int b = 0; b < kOrders; ++b) {
      corrected[a][b] = predicted[a][b] - gains[a] * hp[b];
      zero_if_finite += corrected[a][b] * 0.0f;
    }
  }
  if (!(zero_if_finite == 0.0f) || !(zeros_if_finite == 0.0f).all()) return false;

  for (int a = 0; a < kOrders; ++a) {
    Eigen::Map<Array4f>(predictedState.data() + a * kCorners) = x_predicted[a];
    Eigen::Map<Array4f>(correctedState.data() + a * kCorners) = x[a];
  }
  Eigen::Map<Array4f>(innovation.data()) = difference;
  writeBlocks(scratchFP, fp);
  writeBlocks(predictedErrorCov, predicted);
  writeBlocks(correctedErrorCov, corrected);
  writeBlockRow(scratchHP, hp);
  writeBlockRow(gainTransposed, gains);
  writeBlockColumn(gain, gains);
  for (int i = 0; i < kCorners; ++i) innovationCov.data()[i * (kCorners + 1)] = s;
  return true;
}

}  // namespace Tarn
