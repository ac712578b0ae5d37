#include <algorithm>
#include <type_traits>

#include "tarnkit/src/tracking/tn_trackerclock.h"
#include "tarnkit/src/tracking/tn_trackerparams.h"
#include "tn_boxtracker.h"

namespace Tarn {

namespace {

// Whether the filter takes the time of each call.
template <class T>
constexpr bool kTakesTime = std::is_same_v<T, TarnOneEuroFilterBoxTracker2D>;

}  // namespace

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
  accept(det);
  if (tracker) tracker->track(&x, &y, &w, &h);
}

template <class T>
void TarnTrackedBoundingBox2D<T>::miss() {
  decline();
  if (tracker) tracker->predict(&x, &y, &w, &h);
}

template <class T>
void TarnTrackedBoundingBox2D<T>::accept(const TarnBoundingBox2D& det) {
  if (det.label == label) {
    // Compared before the step up, which must not overflow at the largest maxConfidence.
    const std::int32_t most = trackerParams->maxConfidence;
    confidence = confidence < most ? confidence + 1 : most;
    score = det.score;
  } else {
    confidence = std::max(confidence - 1, -trackerParams->maxConfidence);
  }
  x = det.x;
  y = det.y;
  w = det.w;
  h = det.h;
}

template <class T>
void TarnTrackedBoundingBox2D<T>::decline() {
  confidence = std::max(confidence - 1, -trackerParams->maxConfidence);
}

template <class T>
double TarnTrackedBoundingBox2D<T>::readClock() const {
  if constexpr (kTakesTime<T>)
    return nowSeconds();
  else
    return 0.0;
}

template <class T>
void TarnTrackedBoundingBox2D<T>::updateAt([[maybe_unused]] double seconds,
                                           const TarnBoundingBox2D& det) {
  if constexpr (kTakesTime<T>) {
    accept(det);
    tracker->trackAt(seconds, &x, &y, &w, &h);
  } else {
    update(det);
  }
}

template <class T>
void TarnTrackedBoundingBox2D<T>::missAt([[maybe_unused]] double seconds) {
  if constexpr (kTakesTime<T>) {
    decline();
    tracker->predictAt(seconds, &x, &y, &w, &h);
  } else {
    miss();
  }
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
