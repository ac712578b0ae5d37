// One track of the multi-box tracker.
#include "tarnkit/src/tracking/tn_trackedbox.h"

#include "tarnkit/src/tracking/tn_trackerparams.h"
#include "tn_boxtracker.h"

namespace Tarn {

template <class T>
TarnTrackedBoundingBox2D<T>::TarnTrackedBoundingBox2D(const TarnBoundingBox2D& box, const int& width,
                                                      const int& height)
    : TarnBoundingBox2D(box),
      confidence(trackerParams->validThreshold),
      tracker(std::make_shared<T>(width, height)) {
  tracker->init(x, y, w, h);
}

template <class T>
void TarnTrackedBoundingBox2D<T>::update(const TarnBoundingBox2D& det) {
  takeDetection(*this, det);
  if (tracker) tracker->track(&x, &y, &w, &h);
}

template <class T>
void TarnTrackedBoundingBox2D<T>::miss() {
  loseConfidence(*this);
  if (tracker) tracker->predict(&x, &y, &w, &h);
}

template <class T>
bool TarnTrackedBoundingBox2D<T>::isAlive() {
  return confidence > trackerParams->lostThreshold;
}

template <class T>
bool TarnTrackedBoundingBox2D<T>::isValid() {
  return confidence >= trackerParams->validThreshold;
}

template class TarnTrackedBoundingBox2D<TarnKalmanFilterBoxTracker2D>;
template class TarnTrackedBoundingBox2D<TarnOneEuroFilterBoxTracker2D>;

}  // namespace Tarn
