#include "apps/tracking/frame_tracker.h"

namespace tarnkit {
namespace {

double frame_seconds = 0.0;

double frameClock() { return frame_seconds; }

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
    return tracker_.track(detections);
  }

 private:
  Tarn::TarnIdentifiedBoxesTracker<BoxFilter> tracker_;
  double fps_;
};

}  // namespace

std::unique_ptr<FrameTracker> makeFrameTracker(Filter filter, int frame_width, int frame_height) {
  if (filter == Filter::kOneEuro)
    return std::make_unique<TrackerOf<Tarn::TarnOneEuroFilterBoxTracker2D>>(frame_width, frame_height);
  return std::make_unique<TrackerOf<Tarn::TarnKalmanFilterBoxTracker2D>>(frame_width, frame_height);
}

}  // namespace tarnkit
