#include "apps/drawing/paths.h"

#include <cmath>

namespace tarnkit {

void Paths::add(std::int64_t frame, const std::vector<Tarn::TarnIdentifiedBox>& boxes, int frame_width,
                int frame_height) {
  for (const Tarn::TarnIdentifiedBox& box : boxes)
    paths_[box.id].push_back(
        {frame, cv::Point2f((box.x + box.w / 2.0f) * static_cast<float>(frame_width),
                            (box.y + box.h) * static_cast<float>(frame_height))});
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
