// The Kalman tracker of one box.
#include "tarnkit/src/tracking/tn_boxcorners.h"
#include "tarnkit/src/tracking/tn_boxkalmanfilter.h"
#include "tarnkit/src/tracking/tn_trackerparams.h"
#include "tn_boxtracker.h"

namespace Tarn {
namespace {

// Only init creates a tracker's filter, so it always is of this class.
BoxKalmanFilter* own(KalmanFilter* filter) { return static_cast<BoxKalmanFilter*>(filter); }

}  // namespace

TarnKalmanFilterBoxTracker2D::TarnKalmanFilterBoxTracker2D(const int& frame_width,
                                                           const int& frame_height)
    : TarnBoxTracker2D(frame_width, frame_height), filter(nullptr) {}

TarnKalmanFilterBoxTracker2D::TarnKalmanFilterBoxTracker2D(const TarnKalmanFilterBoxTracker2D& other) =
    default;

TarnKalmanFilterBoxTracker2D& TarnKalmanFilterBoxTracker2D::operator=(
    const TarnKalmanFilterBoxTracker2D& other) = default;

TarnKalmanFilterBoxTracker2D::~TarnKalmanFilterBoxTracker2D() {
  delete own(filter);
  filter = nullptr;
}

void TarnKalmanFilterBoxTracker2D::init(const float& x, const float& y, const float& w, const float& h) {
  // The filter of an earlier init is not released: a copy of this tracker may share it.
  filter = new BoxKalmanFilter(BoxCorners(x, y, w, h, width, height).at, trackerParams->fps,
                               trackerParams->processNoise, trackerParams->measurementNoise);
}

void TarnKalmanFilterBoxTracker2D::track(float* x, float* y, float* w, float* h) {
  const BoxCorners measured(*x, *y, *w, *h, width, height);
  storeBox<float>(own(filter)->step(measured.at), width, height, x, y, w, h);
}

void TarnKalmanFilterBoxTracker2D::predict(float* x, float* y, float* w, float* h) {
  // Null feeds the prediction back as a measurement. The innovation is zero, so the motion goes on
  // unchanged, but the error covariance shrinks as if the box had been seen there.
  storeBox<float>(own(filter)->step(nullptr), width, height, x, y, w, h);
}

}  // namespace Tarn
