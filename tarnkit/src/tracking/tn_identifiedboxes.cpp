#include <utility>

#include "tn_boxtracker.h"

namespace Tarn {

template <class T>
TarnIdentifiedBoxesTracker<T>::TarnIdentifiedBoxesTracker(const int& width, const int& height)
    : tracker_(width, height) {}

template <class T>
TarnIdentifiedBoxesTracker<T>::TarnIdentifiedBoxesTracker(const TarnBoundingBoxesTracker<T>& tracker)
    : tracker_(tracker) {
  identify();
}

template <class T>
std::vector<TarnIdentifiedBox> TarnIdentifiedBoxesTracker<T>::track(
    const std::vector<TarnBoundingBox2D>& detections) {
  // Room for every track that there may be, before the frame: after it nothing may fail.
  const std::size_t most = tracker_.tracks.size() + detections.size();
  std::vector<TarnIdentifiedBox> identified;
  identified.reserve(most);
  identities_.reserve(most);
  const std::vector<TarnBoundingBox2D> boxes = tracker_.track(detections);
  identify();

  auto box = boxes.begin();
  for (const Identity& identity : identities_)
    if (identity.record->isValid()) identified.push_back({*box++, identity.id});
  return identified;
}

template <class T>
void TarnIdentifiedBoxesTracker<T>::identify() {
  // Both lists are in order of birth, and the tracker only removes and appends: what is left of the
  // known records comes first. These were held until now, so that no new record can have the address of
  // one that died.
  const auto& tracks = tracker_.tracks;
  std::size_t kept = 0;
  for (std::size_t known = 0; known < identities_.size(); ++known)
    if (kept < tracks.size() && identities_[known].record == tracks[kept]) {
      if (kept != known) identities_[kept] = std::move(identities_[known]);
      ++kept;
    }
  identities_.resize(kept);
  for (std::size_t i = kept; i < tracks.size(); ++i) identities_.push_back({tracks[i], next_id_++});
}

template class TarnIdentifiedBoxesTracker<TarnKalmanFilterBoxTracker2D>;
template class TarnIdentifiedBoxesTracker<TarnOneEuroFilterBoxTracker2D>;

}  // namespace Tarn
