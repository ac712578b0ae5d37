// Which detection belongs to which track.
#ifndef TN_KITS_TRACKING_TN_MATCHING_H_
#define TN_KITS_TRACKING_TN_MATCHING_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "tn_boxtracker.h"

namespace Tarn {

// The mutual choice of tracks and detections in one frame. Each track chooses the detection that it
// overlaps most, the first of equals, by strictly more than the threshold; of the tracks that chose a
// detection, it goes to the one that overlaps it most, the first of equals.
//
// This equals a table of all overlaps in which first every row and then every column keeps only its
// first maximum above the threshold and has its other entries cleared to zero. With a threshold that is
// not negative, cleared entries cannot be maxima of columns. So one running maximum for each track and
// one for each detection are enough, and the table, as large as the product of the counts, is not
// needed.
class Matching {
 public:
  static constexpr std::int32_t kNone = -1;

  // Both counts: at most the largest int32.
  Matching(std::size_t track_count, std::size_t detection_count);

  // The current box of every track must be set before match.
  void setTrack(std::size_t track, const TarnBoundingBox2D& box);
  void match(const std::vector<TarnBoundingBox2D>& detections, float threshold);

  // The detection that a track got, or kNone.
  std::int32_t detectionOf(std::size_t track) const;
  bool isTaken(std::size_t detection) const { return suitors_[detection] != kNone; }

 private:
  std::size_t track_count_, detection_count_;
  std::size_t track_stride_;
  std::unique_ptr<float[]> floats_;
  std::unique_ptr<std::int32_t[]> indices_;
  // Parts of the two blocks above.
  float *left_, *top_, *right_, *bottom_, *area_, *best_;
  std::int32_t *choice_, *suitors_;
};

}  // namespace Tarn

#endif  // TN_KITS_TRACKING_TN_MATCHING_H_
