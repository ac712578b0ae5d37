#include "tarnkit/src/tracking/tn_boxcorners.h"
#include "tarnkit/src/tracking/tn_trackerparams.h"
#include "tn_boxtracker.h"
#include "tn_kalmanfilter.h"

namespace Tarn {
namespace {

// State: the corners x1, y1, x2, y2 in pixels, then their velocities, then their accelerations.
constexpr int kCorners = 4;
constexpr int kStates = 3 * kCorners;

}  // namespace

TarnKalmanFilterBoxTracker2D::TarnKalmanFilterBoxTracker2D(const int& frame_width,
                                                           const int& frame_height)
    : TarnBoxTracker2D(frame_width, frame_height), filter(nullptr) {}

TarnKalmanFilterBoxTracker2D::TarnKalmanFilterBoxTracker2D(const TarnKalmanFilterBoxTracker2D& other) =
    default;

TarnKalmanFilterBoxTracker2D& TarnKalmanFilterBoxTracker2D::operator=(
    const TarnKalmanFilterBoxTracker2D& other) = default;

TarnKalmanFilterBoxTracker2D::~TarnKalmanFilterBoxTracker2D() {
  delete filter;
  filter = nullptr;
}

void TarnKalmanFilterBoxTracker2D::init(const float& x, const float& y, const float& w, const float& h) {
  // A filter of an earlier init is left alone: a copy of this tracker may share it.
  filter = new KalmanFilter(kStates, kCorners, 0);
  const float dt = static_cast<float>(1.0 / static_cast<double>(trackerParams->fps));
  const float half_dt_squared = (dt * 0.5f) * dt;
  for (int i = 0; i < 2 * kCorners; ++i) filter->transition(i, i + kCorners) = dt;
  for (int i = 0; i < kCorners; ++i) filter->transition(i, i + 2 * kCorners) = half_dt_squared;
  for (int i = 0; i < kCorners; ++i) filter->measurement(i, i) = 1.0f;
  filter->processNoiseCov *= trackerParams->processNoise;
  filter->measurementNoiseCov *= trackerParams->measurementNoise;

  const BoxCorners corners(x, y, w, h, width, height);
  for (int i = 0; i < kCorners; ++i)
    filter->predictedState(i) = filter->correctedState(i) = corners.at[i];
}

void TarnKalmanFilterBoxTracker2D::track(float* x, float* y, float* w, float* h) {
  const BoxCorners corners(*x, *y, *w, *h, width, height);
  filter->predict();
  const Eigen::MatrixXf& state = filter->correct(Eigen::Map<const Eigen::Vector4f>(corners.at));
  storeBox<float>(state.data(), width, height, x, y, w, h);
}

void TarnKalmanFilterBoxTracker2D::predict(float* x, float* y, float* w, float* h) {
  const Eigen::MatrixXf& predicted = filter->predict();
  // Feeding the prediction back as a measurement leaves the motion as it is (the innovation is zero)
  // but shrinks the error covariance, as if the box had been seen there.
  const Eigen::MatrixXf& state = filter->correct(predicted.topRows(kCorners));
  storeBox<float>(state.data(), width, height, x, y, w, h);
}

}  // namespace Tarn
