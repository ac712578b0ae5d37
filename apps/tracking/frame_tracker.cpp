// The trackers of one process: their parameters and clock are the library's, which all share.
#include "apps/tracking/frame_tracker.h"

#include <cmath>
#include <stdexcept>
#include <string>

#include "apps/support/failure.h"

namespace tarnkit {
namespace {

double frame_seconds = 0.0;

double frameClock() { return frame_seconds; }

// Parameters that the library accepts one by one can still undo the filter together: two noises of 0
// leave the Kalman filter nothing to divide by.
void requireFinite(std::int64_t frame, const std::vector<Tarn::TarnIdentifiedBox>& boxes) {
  for (const Tarn::TarnIdentifiedBox& box : boxes)
    for (const float value : {box.x, box.y, box.w, box.h})
      if (!std::isfinite(value))
        throw Failure("tracker parameters", "they make the filter singular: in frame " +
                                                std::to_string(frame) + " the box of track " +
                                                std::to_string(box.id) + " is not finite");
}

template <class BoxFilter>
class TrackerOf final : public FrameTracker {
 public:
  TrackerOf(int frame_width, int frame_height)
      : tracker_(frame_width, frame_height), fps_(static_cast<double>(Tarn::getTrackerParams().fps)) {
    Tarn::setTrackerClock(frameClock);
  }
  ~TrackerOf() override { Tarn::setTrackerClock(nullptr); }

  std::vector<Tarn::TarnIdentifiedBox> track(
      std::int64_t frame, const std::vector<Tarn::TarnBoundingBox2D>& detections) override {
    frame_seconds = static_cast<double>(frame) / fps_;
    std::vector<Tarn::TarnIdentifiedBox> boxes = tracker_.track(detections);
    requireFinite(frame, boxes);
    return boxes;
  }

 private:
  Tarn::TarnIdentifiedBoxesTracker<BoxFilter> tracker_;
  double fps_;
};

}  // namespace

void applyTrackerParams(const TrackerOptions& options, std::optional<float> video_fps) {
  Tarn::TarnBoundingBoxesTrackerParams params = options.params;
  params.fps = options.fps.value_or(video_fps.value_or(params.fps));
  try {
    Tarn::setTrackerParams(params);
  } catch (const std::invalid_argument& refusal) {
    throw Failure("tracker parameters", refusal.what());
  }
}

std::unique_ptr<FrameTracker> makeFrameTracker(Filter filter, int frame_width, int frame_height) {
  if (filter == Filter::kOneEuro)
    return std::make_unique<TrackerOf<Tarn::TarnOneEuroFilterBoxTracker2D>>(frame_width, frame_height);
  return std::make_unique<TrackerOf<Tarn::TarnKalmanFilterBoxTracker2D>>(frame_width, frame_height);
}

}  // namespace tarnkit
