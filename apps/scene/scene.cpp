// What made-up films have in common.
#include "apps/scene/scene.h"

#include <cmath>

namespace tarnkit {

std::vector<MotBox> Scene::boxes(std::int64_t number) const {
  std::vector<MotBox> all;
  for (std::size_t index = 0; index < count(); ++index) all.push_back(box(index, number));
  return all;
}

cv::Mat Scene::draw(std::int64_t number) const {
  cv::Mat picture = background_.clone();
  for (std::size_t index = 0; index < count(); ++index) drawFigure(picture, index, number);
  return picture;
}

double toAndFro(double way, double length) {
  const double phase = std::fmod(way, 2.0 * length);
  return phase < length ? phase : 2.0 * length - phase;
}

cv::Point onSceneGrid(double x, double y) {
  constexpr int kGrid = 1 << kSceneFractionBits;
  return cv::Point(cvRound(x * kGrid), cvRound(y * kGrid));
}

}  // namespace tarnkit
