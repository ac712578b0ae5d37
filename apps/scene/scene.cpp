#include "apps/scene/scene.h"

#include <cmath>

namespace tarnkit {

double toAndFro(double way, double length) {
  const double phase = std::fmod(way, 2.0 * length);
  return phase < length ? phase : 2.0 * length - phase;
}

cv::Point onSceneGrid(double x, double y) {
  constexpr int kGrid = 1 << kSceneFractionBits;
  return cv::Point(cvRound(x * kGrid), cvRound(y * kGrid));
}

}  // namespace tarnkit
