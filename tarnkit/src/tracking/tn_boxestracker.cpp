// One frame of the multi-box tracker: matching, births, filters, deaths, in this order.
#include <algorithm>
#include <type_traits>

#include "tarnkit/src/tracking/tn_matching.h"
#include "tarnkit/src/tracking/tn_oneeuroboxtracker.h"
#include "tarnkit/src/tracking/tn_trackedbox.h"
#include "tarnkit/src/tracking/tn_trackerclock.h"
#include "tarnkit/src/tracking/tn_trackerparams.h"
#include "tn_boxtracker.h"

namespace Tarn {
namespace {

// Whether filters of class T read the clock.
template <class T>
constexpr bool kReadsClock = std::is_same_v<T, TarnOneEuroFilterBoxTracker2D>;

// The track's update with a detection, or its miss for null, at a time that was read beforehand. The
// track's filter must be a T and nothing derived from it.
template <class T>
void advance(TarnTrackedBoundingBox2D<T>& track, const TarnBoundingBox2D* detection,
             [[maybe_unused]] double seconds) {
  if constexpr (kReadsClock<T>) {
    if (detection != nullptr) {
      takeDetection(track, *detection);
      OneEuroBoxSteps::track(*track.tracker, seconds, &track.x, &track.y, &track.w, &track.h);
    } else {
      loseConfidence(track);
      OneEuroBoxSteps::predict(*track.tracker, seconds, &track.x, &track.y, &track.w, &track.h);
    }
  } else if (detection != nullptr) {
    track.update(*detection);
  } else {
    track.miss();
  }
}

}  // namespace

template <class T>
TarnBoundingBoxesTracker<T>::TarnBoundingBoxesTracker(const int& frame_width, const int& frame_height)
    : width(frame_width), height(frame_height) {}

template <class T>
TarnBoundingBoxesTracker<T>::TarnBoundingBoxesTracker(const TarnBoundingBoxesTracker& other) = default;

template <class T>
TarnBoundingBoxesTracker<T>& TarnBoundingBoxesTracker<T>::operator=(
    const TarnBoundingBoxesTracker& other) {
  // The copy that can fail comes first.
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

  // All memory is taken before the first track changes: a frame happens wholly or not at all.
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

  // Reading the clock waits for all instructions before it. Readings are therefore made in blocks, ahead
  // of the filters that they time: between the filters they would keep the processor from running
  // several of them, each a chain of divisions, at once.
  constexpr std::size_t kBlock = 16;
  for (std::size_t first = 0; first < track_count; first += kBlock) {
    const std::size_t count = std::min(kBlock, track_count - first);
    double seconds[kBlock] = {};
    if constexpr (kReadsClock<T>)
      for (std::size_t i = 0; i < count; ++i) seconds[i] = nowSeconds();
    for (std::size_t i = 0; i < count; ++i) {
      const std::int32_t j = matching.detectionOf(first + i);
      advance(*tracks[first + i],
              j != Matching::kNone ? &detections[static_cast<std::size_t>(j)] : nullptr, seconds[i]);
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
