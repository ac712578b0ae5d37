// Mutual best overlap of tracks and detections, without a table of all pairs.
#include "tarnkit/src/tracking/tn_matching.h"

#include <algorithm>

#include "tarnkit/src/cpu_x86/tn_overlap_cpu_x86.h"

namespace Tarn {
namespace {

constexpr std::size_t kTrackArrays = 6;
constexpr std::size_t kDetectionArrays = 7;

std::size_t roundUpToBlock(std::size_t count) {
  return (count + kOverlapBlock - 1) / kOverlapBlock * kOverlapBlock;
}

}  // namespace

Matching::Matching(std::size_t track_count, std::size_t detection_count)
    : track_count_(track_count),
      detection_count_(detection_count),
      track_stride_(roundUpToBlock(track_count)),
      floats_(new float[kTrackArrays * track_stride_ + kDetectionArrays * detection_count]),
      indices_(new std::int32_t[track_stride_ + detection_count]) {
  float* array = floats_.get();
  for (float** part : {&left_, &top_, &right_, &bottom_, &area_, &best_}) {
    *part = array;
    std::fill(array + track_count_, array + track_stride_, 0.0f);
    array += track_stride_;
  }
  choice_ = indices_.get();
  suitors_ = choice_ + track_stride_;
  std::fill_n(suitors_, detection_count_, kNone);
}

void Matching::setTrack(std::size_t track, const TarnBoundingBox2D& box) {
  left_[track] = box.x;
  top_[track] = box.y;
  right_[track] = box.x + box.w;
  bottom_[track] = box.y + box.h;
  area_[track] = box.w * box.h;
}

void Matching::match(const std::vector<TarnBoundingBox2D>& detections, float threshold) {
  float* const left = best_ + track_stride_;
  float* const top = left + detection_count_;
  float* const width = top + detection_count_;
  float* const height = width + detection_count_;
  float* const right = height + detection_count_;
  float* const bottom = right + detection_count_;
  float* const area = bottom + detection_count_;
  for (std::size_t j = 0; j < detection_count_; ++j) {
    const TarnBoundingBox2D& box = detections[j];
    left[j] = box.x;
    top[j] = box.y;
    width[j] = box.w;
    height[j] = box.h;
    right[j] = box.x + box.w;
    bottom[j] = box.y + box.h;
    area[j] = box.w * box.h;
  }
  bestOverlaps({track_count_, left_, top_, right_, bottom_, area_},
               {detection_count_, left, top, width, height, right, bottom, area}, threshold, best_,
               choice_);
  for (std::size_t i = 0; i < track_count_; ++i) {
    if (choice_[i] == kNone) continue;
    std::int32_t& suitor = suitors_[choice_[i]];
    if (suitor == kNone || best_[i] > best_[suitor]) suitor = static_cast<std::int32_t>(i);
  }
}

std::int32_t Matching::detectionOf(std::size_t track) const {
  const std::int32_t choice = choice_[track];
  return choice != kNone && suitors_[choice] == static_cast<std::int32_t>(track) ? choice : kNone;
}

}  // namespace Tarn
