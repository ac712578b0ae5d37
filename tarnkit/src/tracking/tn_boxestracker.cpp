#include <algorithm>

#include "tarnkit/src/tracking/tn_matching.h"
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
    const TarnBoundingBoxesTracker& other) {
  // First what can fail.
  tracks = other.tracks;
  width = other.width;
  height = other.height;
  return *this;
}

template <class T>
TarnBoundingBoxesTracker<T>::~TarnBoundingBoxesTracker() = default;

template <class T>
std::vector<TarnBoundingBox2D> TarnBoundingBoxesTracker<T>::track(
    const std::vector<TarnBoundingBox2D>& detections) {
  const std::size_t track_count = tracks.size();
  Matching matching(track_count, detections.size());
  for (std::size_t i = 0; i < track_count; ++i) matching.setTrack(i, *tracks[i]);
  matching.match(detections, trackerParams->iouThreshold);

  // What takes memory comes before what changes a track: a frame happens wholly or not at all.
  std::vector<TarnBoundingBox2D> confirmed;
  try {
    for (std::size_t j = 0; j < detections.size(); ++j)
      if (!matching.isTaken(j))
        tracks.push_back(std::make_shared<TarnTrackedBoundingBox2D<T>>(detections[j], width, height));
    confirmed.reserve(tracks.size());
  } catch (...) {
    tracks.resize(track_count);
    throw;
  }

  // A clock waits for all work before it. Read in front of the filters that it times, not between them,
  // it lets the processor run several filters, each a chain of divisions, side by side.
  constexpr std::size_t kBlock = 16;
  for (std::size_t first = 0; first < track_count; first += kBlock) {
    const std::size_t count = std::min(kBlock, track_count - first);
    double seconds[kBlock];
    for (std::size_t i = 0; i < count; ++i) seconds[i] = tracks[first + i]->readClock();
    for (std::size_t i = 0; i < count; ++i) {
      const std::int32_t detection = matching.detectionOf(first + i);
      if (detection != Matching::kNone)
        tracks[first + i]->updateAt(seconds[i], detections[static_cast<std::size_t>(detection)]);
      else
        tracks[first + i]->missAt(seconds[i]);
    }
  }

  const auto lost = [](const auto& record) { return !record->isAlive(); };
  tracks.erase(std::remove_if(tracks.begin(), tracks.end(), lost), tracks.end());

  for (const auto& record : tracks)
    if (record->isValid()) confirmed.push_back(*record);
  return confirmed;
}

template class TarnBoundingBoxesTracker<TarnKalmanFilterBoxTracker2D>;
template class TarnBoundingBoxesTracker<TarnOneEuroFilterBoxTracker2D>;

}  // namespace Tarn
