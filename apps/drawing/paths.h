// Where each identity has been.
#ifndef TN_KITS_APPS_DRAWING_PATHS_H_
#define TN_KITS_APPS_DRAWING_PATHS_H_

#include <cstdint>
#include <map>
#include <opencv2/core.hpp>
#include <vector>

#include "tn_boxtracker.h"

namespace tarnkit {

// Foot points (the middle of a box's lower edge) in pixels, by identity.
class Paths {
 public:
  struct Point {
    std::int64_t frame;
    cv::Point2f place;
  };

  void add(std::int64_t frame, const std::vector<Tarn::TarnIdentifiedBox>& boxes, int frame_width,
           int frame_height);
  const std::map<std::int64_t, std::vector<Point>>& all() const { return paths_; }

 private:
  std::map<std::int64_t, std::vector<Point>> paths_;
};

// A colour of its own for each identity, bright enough to stand on a picture, as blue, green, red.
cv::Scalar identityColour(std::int64_t id);

}  // namespace tarnkit

#endif  // TN_KITS_APPS_DRAWING_PATHS_H_
