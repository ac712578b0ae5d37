// The One-Euro tracker of one box.
#include "tarnkit/src/tracking/tn_oneeuroboxtracker.h"

#include "tarnkit/src/tracking/tn_boxcorners.h"
#include "tarnkit/src/tracking/tn_oneeurofilter.h"
#include "tarnkit/src/tracking/tn_trackerclock.h"
#include "tarnkit/src/tracking/tn_trackerparams.h"
#include "tn_boxtracker.h"

namespace Tarn {

using Eigen::Map;
using Eigen::Vector4d;
using Eigen::Vector4f;

TarnOneEuroFilterBoxTracker2D::TarnOneEuroFilterBoxTracker2D(const int& frame_width,
                                                             const int& frame_height)
    : TarnBoxTracker2D(frame_width, frame_height), filter(nullptr) {}

TarnOneEuroFilterBoxTracker2D::TarnOneEuroFilterBoxTracker2D(
    const TarnOneEuroFilterBoxTracker2D& other) = default;

TarnOneEuroFilterBoxTracker2D& TarnOneEuroFilterBoxTracker2D::operator=(
    const TarnOneEuroFilterBoxTracker2D& other) = default;

TarnOneEuroFilterBoxTracker2D::~TarnOneEuroFilterBoxTracker2D() {
  delete filter;
  filter = nullptr;
}

void TarnOneEuroFilterBoxTracker2D::init(const float& x, const float& y, const float& w,
                                         const float& h) {
  // The filter of an earlier init is not released: a copy of this tracker may share it.
  filter = new OneEuroFilter(trackerParams->fps, trackerParams->minCutoff, trackerParams->beta,
                             trackerParams->dCutoff);
  // For predictions before the first measurement. hasInput stays false: the measurement ignores this.
  const BoxCorners corners(x, y, w, h, width, height);
  filter->valueFilter.lastOutput = Map<const Vector4f>(corners.at).cast<double>();
}

void TarnOneEuroFilterBoxTracker2D::track(float* x, float* y, float* w, float* h) {
  OneEuroBoxSteps::track(*this, nowSeconds(), x, y, w, h);
}

void TarnOneEuroFilterBoxTracker2D::predict(float* x, float* y, float* w, float* h) {
  OneEuroBoxSteps::predict(*this, nowSeconds(), x, y, w, h);
}

void OneEuroBoxSteps::track(Tracker& tracker, double seconds, float* x, float* y, float* w, float* h) {
  const BoxCorners corners(*x, *y, *w, *h, tracker.width, tracker.height);
  const Vector4d measured = Map<const Vector4f>(corners.at).cast<double>();
  storeBox<double>(tracker.filter->step(measured, seconds), tracker.width, tracker.height, x, y, w, h);
}

void OneEuroBoxSteps::predict(Tracker& tracker, double seconds, float* x, float* y, float* w, float* h) {
  storeBox<double>(tracker.filter->extrapolate(seconds), tracker.width, tracker.height, x, y, w, h);
}

}  // namespace Tarn
