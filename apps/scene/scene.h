// A made-up film whose boxes are known.
#ifndef TN_KITS_APPS_SCENE_SCENE_H_
#define TN_KITS_APPS_SCENE_SCENE_H_

#include <cstdint>
#include <opencv2/core.hpp>
#include <utility>
#include <vector>

#include "apps/detections/mot_text.h"

namespace tarnkit {

// The same size and frame number always give the same picture.
class Scene {
 public:
  virtual ~Scene() = default;
  Scene(const Scene&) = delete;
  Scene& operator=(const Scene&) = delete;

  // Least width and height of a picture.
  static constexpr int kSmallestSide = 64;

  // The boxes in frame `number`, counted from 1; ids 1, 2, 3 ... stay with the figures, the score is 1.
  std::vector<MotBox> boxes(std::int64_t number) const;

  // The picture, 8 bits, blue, green, red.
  cv::Mat draw(std::int64_t number) const;

 protected:
  // background: all that does not move.
  explicit Scene(cv::Mat background) : background_(std::move(background)) {}

  cv::Mat background_;

 private:
  // Figures count from 0 and are drawn in this order.
  virtual std::size_t count() const = 0;
  virtual MotBox box(std::size_t index, std::int64_t number) const = 0;
  virtual void drawFigure(cv::Mat& picture, std::size_t index, std::int64_t number) const = 0;
};

// To and fro between 0 and `length`: the place after so much way from 0.
double toAndFro(double way, double length);

// Drawing functions take points in sixteenths of a pixel.
constexpr int kSceneFractionBits = 4;
cv::Point onSceneGrid(double x, double y);

}  // namespace tarnkit

#endif  // TN_KITS_APPS_SCENE_SCENE_H_
