// Tracks with numbers.
#include <utility>

#include "tn_boxtracker.h"

namespace Tarn {
namespace {

// Drops the identities of tracks that died, and gives new tracks the next ones.
//
// Both lists are in order of birth, and the tracker only removes and appends: the known records that
// are left come first. Each identity has held its record until now, so that no new record can have the
// address of a dead one.
template <class Record, class Identity>
void identify(const std::vector<std::shared_ptr<Record>>& tracks, std::vector<Identity>& identities,
              std::int64_t& next_id) {
  std::size_t kept = 0;
  for (std::size_t known = 0; known < identities.size(); ++known)
    if (kept < tracks.size() && identities[known].record == tracks[kept]) {
      if (kept != known) identities[kept] = std::move(identities[known]);
      ++kept;
    }
  identities.resize(kept);
  for (std::size_t i = kept; i < tracks.size(); ++i) identities.push_back({tracks[i], next_id++});
}

}  // namespace

template <class T>
TarnIdentifiedBoxesTracker<T>::TarnIdentifiedBoxesTracker(const int& width, const int& height)
    : tracker_(width, height) {}

template <class T>
TarnIdentifiedBoxesTracker<T>::TarnIdentifiedBoxesTracker(const TarnBoundingBoxesTracker<T>& tracker)
    : tracker_(tracker) {
  identify(tracker_.tracks, identities_, next_id_);
}

template <class T>
std::vector<TarnIdentifiedBox> TarnIdentifiedBoxesTracker<T>::track(
    const std::vector<TarnBoundingBox2D>& detections) {
  // All memory is reserved before the frame: nothing may fail after it.
  const std::size_t most = tracker_.tracks.size() + detections.size();
  std::vector<TarnIdentifiedBox> identified;
  identified.reserve(most);
  identities_.reserve(most);
  const std::vector<TarnBoundingBox2D> boxes = tracker_.track(detections);
  identify(tracker_.tracks, identities_, next_id_);

  auto box = boxes.begin();
  for (const Identity& identity : identities_)
    if (identity.record->isValid()) identified.push_back({*box++, identity.id});
  return identified;
}

template class TarnIdentifiedBoxesTracker<TarnKalmanFilterBoxTracker2D>;
template class TarnIdentifiedBoxesTracker<TarnOneEuroFilterBoxTracker2D>;

}  // namespace Tarn
