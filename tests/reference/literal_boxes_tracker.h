// The multi-box tracker with its full table of overlaps, which the library's tracker does without, and
// with a number in every track.
#ifndef TN_KITS_TESTS_REFERENCE_LITERAL_BOXES_TRACKER_H_
#define TN_KITS_TESTS_REFERENCE_LITERAL_BOXES_TRACKER_H_

#include <vector>

#include "tarnkit/src/tracking/tn_overlap.h"
#include "tn_boxtracker.h"

namespace tn_test {

template <class T>
class LiteralBoxesTracker {
 public:
  LiteralBoxesTracker(int width, int height) : width_(width), height_(height) {}

  std::vector<Tarn::TarnIdentifiedBox> track(const std::vector<Tarn::TarnBoundingBox2D>& detections) {
    const float threshold = Tarn::getTrackerParams().iouThreshold;
    const std::size_t rows = tracks_.size(), columns = detections.size();
    std::vector<std::vector<float>> table(rows, std::vector<float>(columns));
    for (std::size_t i = 0; i < rows; ++i)
      for (std::size_t j = 0; j < columns; ++j)
        table[i][j] = Tarn::computeIoU(&tracks_[i].record.x, &detections[j].x, "ltwh");

    // A row or column of the table keeps its first maximum above the threshold; the rest becomes -0.
    const auto keep_first_maximum = [&](std::size_t count, auto&& entry) {
      float best = threshold;
      std::size_t best_at = count;
      for (std::size_t k = 0; k < count; ++k)
        if (entry(k) > best) {
          best = entry(k);
          best_at = k;
        }
      for (std::size_t k = 0; k < count; ++k)
        if (k != best_at) entry(k) = -0.0f;
    };
    for (std::size_t i = 0; i < rows; ++i)
      keep_first_maximum(columns, [&](std::size_t j) -> float& { return table[i][j]; });
    for (std::size_t j = 0; j < columns; ++j)
      keep_first_maximum(rows, [&](std::size_t i) -> float& { return table[i][j]; });

    std::vector<bool> matched(columns);
    for (std::size_t i = 0; i < rows; ++i) {
      bool found = false;
      for (std::size_t j = 0; j < columns; ++j)
        if (table[i][j] > threshold) {
          found = matched[j] = true;
          tracks_[i].record.update(detections[j]);
        }
      if (!found) tracks_[i].record.miss();
    }
    for (std::size_t j = 0; j < columns; ++j)
      if (!matched[j]) tracks_.push_back({{detections[j], width_, height_}, ++births_});
    for (std::size_t i = tracks_.size(); i-- > 0;)
      if (!tracks_[i].record.isAlive()) tracks_.erase(tracks_.begin() + static_cast<std::ptrdiff_t>(i));

    std::vector<Tarn::TarnIdentifiedBox> result;
    for (Track& track : tracks_) {
      const Tarn::TarnBoundingBox2D& box = track.record;
      if (track.record.isValid()) result.push_back({box, track.id});
    }
    return result;
  }

 private:
  struct Track {
    Tarn::TarnTrackedBoundingBox2D<T> record;
    std::int64_t id;
  };
  int width_, height_;
  std::int64_t births_ = 0;
  std::vector<Track> tracks_;
};

}  // namespace tn_test

#endif  // TN_KITS_TESTS_REFERENCE_LITERAL_BOXES_TRACKER_H_
