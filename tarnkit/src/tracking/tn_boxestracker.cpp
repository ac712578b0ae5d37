#include <algorithm>

#include "tarnkit/src/tracking/tn_overlap.h"
#include "tarnkit/src/tracking/tn_trackerparams.h"
#include "tn_boxtracker.h"

namespace Tarn {

template <class T>
TarnBoundingBoxesTracker<T>::TarnBoundingBoxesTracker(const int& frame_width, const int& frame_height)
    : width(frame_width), height(frame_height) {}

template <class T>
TarnBoundingBoxesTracker<T>::TarnBoundingBoxesTracker(const TarnBoundingBoxesTracker& other) = default;

template <class T>
TarnBoundingBoxesTracker<T>& TarnBoundingBoxesTracker<T>::operator=(
    const TarnBoundingBoxesTracker& other) = default;

template <class T>
TarnBoundingBoxesTracker<T>::~TarnBoundingBoxesTracker() = default;

template <class T>
std::vector<TarnBoundingBox2D> TarnBoundingBoxesTracker<T>::track(
    const std::vector<TarnBoundingBox2D>& detections) {
  const std::size_t track_count = tracks.size();
  const std::size_t detection_count = detections.size();
  const float threshold = trackerParams->iouThreshold;

  // Each track asks for its best detection; of the tracks that ask for a detection the best one gets
  // it, and the others go without, even where another detection would have done.
  constexpr std::size_t kNone = static_cast<std::size_t>(-1);
  struct Suitor {
    std::size_t track;
    float overlap;
  };
  std::vector<Suitor> suitors(detection_count, Suitor{kNone, threshold});
  std::vector<std::size_t> choice(track_count, kNone);
  for (std::size_t i = 0; i < track_count; ++i) {
    float best = threshold;
    for (std::size_t j = 0; j < detection_count; ++j) {
      const float overlap = computeIoU(&tracks[i]->x, &detections[j].x, "ltwh");
      if (overlap > best) {
        best = overlap;
        choice[i] = j;
      }
    }
    if (choice[i] != kNone && best > suitors[choice[i]].overlap) suitors[choice[i]] = {i, best};
  }

  for (std::size_t i = 0; i < track_count; ++i) {
    if (choice[i] != kNone && suitors[choice[i]].track == i)
      tracks[i]->update(detections[choice[i]]);
    else
      tracks[i]->miss();
  }
  for (std::size_t j = 0; j < detection_count; ++j)
    if (suitors[j].track == kNone)
      tracks.push_back(std::make_shared<TarnTrackedBoundingBox2D<T>>(detections[j], width, height));

  const auto lost = [](const auto& record) { return !record->isAlive(); };
  tracks.erase(std::remove_if(tracks.begin(), tracks.end(), lost), tracks.end());

  std::vector<TarnBoundingBox2D> confirmed;
  confirmed.reserve(tracks.size());
  for (const auto& record : tracks)
    if (record->isValid()) confirmed.push_back(*record);
  return confirmed;
}

template class TarnBoundingBoxesTracker<TarnKalmanFilterBoxTracker2D>;
template class TarnBoundingBoxesTracker<TarnOneEuroFilterBoxTracker2D>;

}  // namespace Tarn
