// Coloured figures in front of a street, two of them to a lane.
#include "apps/scene/coloured_figures.h"

#include <cmath>
#include <opencv2/imgproc.hpp>

namespace tarnkit {
namespace {

constexpr int kLanes = 3;
// Swelling changes each side by this share, so that much of a lane stays free.
constexpr double kSwell = 0.12;

// Blue, green, red.
const cv::Scalar kRed(40, 35, 215), kGreen(45, 190, 40), kBlue(220, 50, 35);

// Walls, paving and passers-by in greys, browns and pastels. None of them exceeds its two other primary
// colours together by as much as a figure does.
cv::Mat street(int width, int height) {
  cv::Mat picture(height, width, CV_8UC3);
  for (int y = 0; y < height; ++y) {
    const double shade = 110.0 + 80.0 * y / height;
    picture.row(y).setTo(cv::Scalar(shade * 0.9, shade * 0.96, shade));
  }
  static const cv::Scalar paints[] = {{150, 175, 220}, {240, 240, 240}, {60, 90, 130},
                                      {170, 150, 110}, {45, 45, 50},    {190, 215, 190}};
  constexpr int kPatches = 18;
  for (int i = 0; i < kPatches; ++i) {
    // Steps that share no factor with the count spread the patches over the picture.
    const double x = width * (((7 * i) % kPatches) + 0.5) / kPatches, y = height * (i + 0.5) / kPatches;
    const cv::Point corner = onSceneGrid(x, y), size = onSceneGrid(0.06 * width, 0.08 * height);
    cv::rectangle(picture, corner, corner + size, paints[static_cast<std::size_t>(i) % 6], cv::FILLED,
                  cv::LINE_AA, kSceneFractionBits);
  }
  return picture;
}

}  // namespace

ColouredFigureScene::ColouredFigureScene(int width, int height)
    : Scene(street(width, height)), width_(width) {
  struct Pair {
    Shape back_shape, front_shape;
    cv::Scalar back_colour, front_colour;
  };
  const Pair pairs[kLanes] = {{Shape::kEgg, Shape::kBlock, kRed, kGreen},
                              {Shape::kBlock, Shape::kDiamond, kGreen, kBlue},
                              {Shape::kDiamond, Shape::kEgg, kBlue, kRed}};
  const double lane_height = static_cast<double>(height) / kLanes;
  for (int lane = 0; lane < kLanes; ++lane) {
    const Pair& pair = pairs[lane];
    const double middle = (lane + 0.5) * lane_height, tall = 0.8 / (1.0 + kSwell) * lane_height;
    // Widths follow the smaller side, so that figures of narrow pictures have a distance to go, too.
    const double wide = 0.75 * std::min(tall, width / 4.0);
    figures_.push_back({pair.back_shape, pair.back_colour, wide, 0.8 * tall, middle,
                        width * (0.05 + 0.3 * lane), width * (0.004 + 0.0011 * lane)});
    figures_.push_back({pair.front_shape, pair.front_colour, 1.1 * wide, tall, middle,
                        width * (0.7 + 0.4 * lane), width * (0.0065 - 0.0009 * lane)});
  }
}

MotBox ColouredFigureScene::box(std::size_t index, std::int64_t number) const {
  const Figure& figure = figures_[index];
  const double time = static_cast<double>(number);
  const double swell = kSwell * std::sin(0.08 * time + static_cast<double>(index));
  const double width = figure.width * (1.0 - swell), height = figure.height * (1.0 + swell);
  const double way = figure.start + figure.stride * time;
  const double widest = figure.width * (1.0 + kSwell);
  return {static_cast<std::int64_t>(index) + 1,
          toAndFro(way, width_ - widest) + (widest - width) / 2.0,
          figure.middle - height / 2.0,
          width,
          height,
          1.0};
}

void ColouredFigureScene::drawFigure(cv::Mat& picture, std::size_t index, std::int64_t number) const {
  const Figure& figure = figures_[index];
  const MotBox bounds = box(index, number);
  const double right = bounds.left + bounds.width, bottom = bounds.top + bounds.height;
  const double x = bounds.left + bounds.width / 2.0, y = bounds.top + bounds.height / 2.0;
  const auto polygon = [&](const std::vector<cv::Point>& corners) {
    cv::fillConvexPoly(picture, corners, figure.colour, cv::LINE_AA, kSceneFractionBits);
  };
  switch (figure.shape) {
    case Shape::kEgg:
      cv::ellipse(picture, onSceneGrid(x, y), onSceneGrid(bounds.width / 2.0, bounds.height / 2.0), 0.0,
                  0.0, 360.0, figure.colour, cv::FILLED, cv::LINE_AA, kSceneFractionBits);
      break;
    case Shape::kBlock:
      polygon({onSceneGrid(bounds.left, bounds.top), onSceneGrid(right, bounds.top),
               onSceneGrid(right, bottom), onSceneGrid(bounds.left, bottom)});
      break;
    case Shape::kDiamond:
      polygon({onSceneGrid(x, bounds.top), onSceneGrid(right, y), onSceneGrid(x, bottom),
               onSceneGrid(bounds.left, y)});
      break;
  }
}

}  // namespace tarnkit
