// Walking figures, one to a lane.
#include "apps/scene/walkers.h"

#include <cmath>
#include <opencv2/imgproc.hpp>

#include "apps/drawing/paths.h"

namespace tarnkit {
namespace {

constexpr int kLanes = 4;
// A box is as wide as the legs at full stride.
constexpr double kWidthOfHeight = 0.42;

cv::Mat street(int width, int height) {
  cv::Mat picture(height, width, CV_8UC3);
  for (int y = 0; y < height; ++y) {
    const double shade = 120.0 + 70.0 * y / height;
    picture.row(y).setTo(cv::Scalar(shade * 0.92, shade * 0.97, shade));
  }
  return picture;
}

}  // namespace

WalkerScene::WalkerScene(int width, int height) : Scene(street(width, height)), width_(width) {
  // Lanes grow towards the viewer and leave a gap between the boxes. Each has a line at its walker's
  // feet.
  constexpr double kShares[kLanes] = {0.17, 0.20, 0.23, 0.26};
  double top = 0.04 * height;
  for (int lane = 0; lane < kLanes; ++lane) {
    const double tall = kShares[lane] * height, feet = top + tall;
    const double stride = width * (0.006 + 0.0013 * ((lane * 2) % 5));
    walkers_.push_back({tall, feet, width * (0.15 + 0.47 * lane), stride});
    cv::line(background_, onSceneGrid(0.0, feet), onSceneGrid(width, feet), cv::Scalar(110, 115, 120), 1,
             cv::LINE_AA, kSceneFractionBits);
    top += tall + 0.02 * height;
  }
}

MotBox WalkerScene::box(std::size_t index, std::int64_t number) const {
  const Walker& walker = walkers_[index];
  const double width = kWidthOfHeight * walker.height;
  const double way = walker.start + walker.stride * static_cast<double>(number);
  return {static_cast<std::int64_t>(index) + 1,
          toAndFro(way, width_ - width),
          walker.feet - walker.height,
          width,
          walker.height,
          1.0};
}

void WalkerScene::drawFigure(cv::Mat& picture, std::size_t index, std::int64_t number) const {
  const MotBox bounds = box(index, number);
  const double h = bounds.height, middle = bounds.left + bounds.width / 2.0, top = bounds.top;
  const double swing = std::sin(0.35 * static_cast<double>(number) + static_cast<double>(index));
  const int limb = std::max(1, cvRound(0.07 * h));
  const cv::Scalar coat = identityColour(static_cast<std::int64_t>(index) + 3);
  const cv::Scalar dark(45, 40, 40), skin(150, 175, 220);
  const double hip = top + 0.55 * h, shoulder = top + 0.24 * h, foot = top + 0.97 * h;
  const auto line = [&](double x0, double y0, double x1, double y1, const cv::Scalar& colour) {
    cv::line(picture, onSceneGrid(x0, y0), onSceneGrid(x1, y1), colour, limb, cv::LINE_AA,
             kSceneFractionBits);
  };
  line(middle, hip, middle + 0.17 * h * swing, foot, dark);
  line(middle, hip, middle - 0.17 * h * swing, foot, dark);
  cv::ellipse(picture, onSceneGrid(middle, (shoulder + hip) / 2.0 - 0.01 * h),
              onSceneGrid(0.11 * h, 0.19 * h), 0.0, 0.0, 360.0, coat, cv::FILLED, cv::LINE_AA,
              kSceneFractionBits);
  line(middle, shoulder, middle + 0.15 * h * swing, top + 0.5 * h, coat * 0.7);
  cv::circle(picture, onSceneGrid(middle, top + 0.09 * h),
             cvRound(0.085 * h * (1 << kSceneFractionBits)), skin, cv::FILLED, cv::LINE_AA,
             kSceneFractionBits);
}

}  // namespace tarnkit
