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
  const std::vector<TarnBoundingBox2D> boxes = tracker_.track(detections);
  identify();

  std::vector<TarnIdentifiedBox> identified;
  identified.reserve(boxes.size());
  auto box = boxes.begin();
  for (const Identity& identity : identities_)
    if (identity.record->isValid()) identified.push_back({*box++, identity.id});
  return identified;
}

template <class T>
void TarnIdentifiedBoxesTracker<T>::identify() {
  // Both lists are in order of birth and the tracker only removes and appends, so one walk pairs them.
  // The records of the last frame were held until now: a new record cannot have the address of one
  // that died since.
  std::size_t kept = 0;
  std::size_t known = 0;
  for (const auto& record : tracker_.tracks) {
    while (known < identities_.size() && identities_[known].record != record) ++known;
    if (known == identities_.size()) {
      identities_.resize(kept);
      identities_.push_back({record, next_id_++});
      known = identities_.size();
    } else {
      if (kept != known) identities_[kept] = std::move(identities_[known]);
      ++known;
    }
    ++kept;
  }
  identities_.resize(kept);
}

template class TarnIdentifiedBoxesTracker<TarnKalmanFilterBoxTracker2D>;
template class TarnIdentifiedBoxesTracker<TarnOneEuroFilterBoxTracker2D>;

}  // namespace Tarn
