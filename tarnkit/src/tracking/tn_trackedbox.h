// What a frame does to a track apart from filtering its box.
#ifndef TN_KITS_TRACKING_TN_TRACKEDBOX_H_
#define TN_KITS_TRACKING_TN_TRACKEDBOX_H_

#include <algorithm>
#include <cstdint>

#include "tarnkit/src/tracking/tn_trackerparams.h"
#include "tn_boxtracker.h"

namespace Tarn {

template <class T>
void loseConfidence(TarnTrackedBoundingBox2D<T>& track) {
  track.confidence = std::max(track.confidence - 1, -trackerParams->maxConfidence);
}

template <class T>
void takeDetection(TarnTrackedBoundingBox2D<T>& track, const TarnBoundingBox2D& det) {
  if (det.label == track.label) {
    // Compared before the increment, which must not overflow at the largest maxConfidence.
    const std::int32_t most = trackerParams->maxConfidence;
    track.confidence = track.confidence < most ? track.confidence + 1 : most;
    track.score = det.score;
  } else {
    loseConfidence(track);
  }
  track.x = det.x;
  track.y = det.y;
  track.w = det.w;
  track.h = det.h;
}

}  // namespace Tarn

#endif  // TN_KITS_TRACKING_TN_TRACKEDBOX_H_
