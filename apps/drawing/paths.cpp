// Paths of identities with bounded memory, and a colour for each.
#include "apps/drawing/paths.h"

#include <algorithm>
#include <cmath>

namespace tarnkit {
namespace {

cv::Point2f footOf(const Tarn::TarnIdentifiedBox& box, int frame_width, int frame_height) {
  return cv::Point2f((box.x + box.w / 2.0f) * static_cast<float>(frame_width),
                     (box.y + box.h) * static_cast<float>(frame_height));
}

}  // namespace

void Trails::add(std::int64_t frame, const std::vector<Tarn::TarnIdentifiedBox>& boxes, int frame_width,
                 int frame_height) {
  for (const Tarn::TarnIdentifiedBox& box : boxes)
    trails_[box.id].push_back({frame, footOf(box, frame_width, frame_height)});
  const auto is_past = [frame](const Point& point) { return point.frame <= frame - kFrames; };
  for (auto trail = trails_.begin(); trail != trails_.end();) {
    std::vector<Point>& points = trail->second;
    points.erase(points.begin(), std::find_if_not(points.begin(), points.end(), is_past));
    trail = points.empty() ? trails_.erase(trail) : std::next(trail);
  }
}

std::vector<cv::Point2f> Trails::of(std::int64_t id) const {
  std::vector<cv::Point2f> places;
  const auto trail = trails_.find(id);
  if (trail == trails_.end()) return places;
  for (const Point& point : trail->second) places.push_back(point.place);
  return places;
}

void Trajectories::add(const std::vector<Tarn::TarnIdentifiedBox>& boxes, int frame_width,
                       int frame_height) {
  for (const Tarn::TarnIdentifiedBox& box : boxes) {
    Path& path = paths_[box.id];
    std::vector<cv::Point2f>& points = path.points;
    // The last point stays only where it is also one of the even intervals.
    if (path.frames > 1 && (path.frames - 1) % path.interval != 0) points.pop_back();
    points.push_back(footOf(box, frame_width, frame_height));
    ++path.frames;
    if (points.size() < kMostPoints) continue;
    static_assert(kMostPoints % 2 == 1, "the last point is among those that stay");
    for (std::size_t i = 0; 2 * i < kMostPoints; ++i) points[i] = points[2 * i];
    points.resize(kMostPoints / 2 + 1);
    path.interval *= 2;
  }
}

cv::Scalar identityColour(std::int64_t id) {
  // Steps of the golden ratio round the colour circle keep any run of identities far apart on it.
  constexpr double kGoldenRatio = 0.6180339887498949;
  const double turn = std::fmod(static_cast<double>(id) * kGoldenRatio, 1.0) * 6.0;
  const auto channel = [turn](double peak) {
    const double distance = std::abs(turn - peak);
    const double on_circle = std::min(distance, 6.0 - distance);
    return 60.0 + 195.0 * std::min(1.0, std::max(0.0, 2.0 - on_circle));
  };
  return cv::Scalar(channel(4.0), channel(2.0), channel(0.0));
}

}  // namespace tarnkit
