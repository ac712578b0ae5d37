// The library's trackers behind one interface, with a clock that follows the frame numbers.
#ifndef TN_KITS_APPS_TRACKING_FRAME_TRACKER_H_
#define TN_KITS_APPS_TRACKING_FRAME_TRACKER_H_

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "tn_boxtracker.h"

namespace tarnkit {

enum class Filter { kKalman, kOneEuro };

struct TrackerOptions {
  Filter filter = Filter::kKalman;
  Tarn::TarnBoundingBoxesTrackerParams params;
  std::optional<float> fps;  // none: the video's, or that of `params`
};
// Hands the parameters to the library; throws Failure with the reason if it refuses them. video_fps: of
// the video, where there is one.
void applyTrackerParams(const TrackerOptions& options, std::optional<float> video_fps = {});

class FrameTracker {
 public:
  virtual ~FrameTracker() = default;
  FrameTracker() = default;
  FrameTracker(const FrameTracker&) = delete;
  FrameTracker& operator=(const FrameTracker&) = delete;

  // One frame: detections in, reported boxes with their identities out. `frame` sets the trackers'
  // clock to frame / fps, so the same detections give the same boxes however fast they come in.
  // Throws Failure naming the frame if the parameters make a box come out infinite or no number.
  virtual std::vector<Tarn::TarnIdentifiedBox> track(
      std::int64_t frame, const std::vector<Tarn::TarnBoundingBox2D>& detections) = 0;
};

// The parameters and the clock are the process's: set the former first (setTrackerParams), and keep
// one tracker at a time. When it goes the clock is the library's own again.
std::unique_ptr<FrameTracker> makeFrameTracker(Filter filter, int frame_width, int frame_height);

}  // namespace tarnkit

#endif  // TN_KITS_APPS_TRACKING_FRAME_TRACKER_H_
