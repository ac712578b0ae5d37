// Where each identity has been: foot points, the middles of the boxes' lower edges, in pixels.
#ifndef TN_KITS_APPS_DRAWING_PATHS_H_
#define TN_KITS_APPS_DRAWING_PATHS_H_

#include <cstddef>
#include <cstdint>
#include <map>
#include <opencv2/core.hpp>
#include <vector>

#include "tn_boxtracker.h"

namespace tarnkit {

// The last frames of each identity's path. Identities that were not seen in them are forgotten, so that
// the memory does not grow with the video.
class Trails {
 public:
  static constexpr std::int64_t kFrames = 40;

  void add(std::int64_t frame, const std::vector<Tarn::TarnIdentifiedBox>& boxes, int frame_width,
           int frame_height);
  // Oldest first; empty for an identity that has no trail.
  std::vector<cv::Point2f> of(std::int64_t id) const;

 private:
  struct Point {
    std::int64_t frame;
    cv::Point2f place;
  };
  std::map<std::int64_t, std::vector<Point>> trails_;
};

// Each identity's path over the whole video. A path of many frames keeps points at even intervals, and
// always its first and its last one, so that only the number of identities makes the memory grow.
class Trajectories {
 public:
  static constexpr std::size_t kMostPoints = 1025;
  struct Path {
    std::vector<cv::Point2f> points;
    std::int64_t frames = 0, interval = 1;
  };

  void add(const std::vector<Tarn::TarnIdentifiedBox>& boxes, int frame_width, int frame_height);
  const std::map<std::int64_t, Path>& all() const { return paths_; }

 private:
  std::map<std::int64_t, Path> paths_;
};

// A colour of its own for each identity, bright enough to stand on a picture, as blue, green, red.
cv::Scalar identityColour(std::int64_t id);

}  // namespace tarnkit

#endif  // TN_KITS_APPS_DRAWING_PATHS_H_
