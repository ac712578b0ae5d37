// Figures in saturated colours whose boxes are known: what the built-in network finds.
#ifndef TN_KITS_APPS_SCENE_COLOURED_FIGURES_H_
#define TN_KITS_APPS_SCENE_COLOURED_FIGURES_H_

#include <cstdint>
#include <opencv2/core.hpp>
#include <vector>

#include "apps/scene/scene.h"

namespace tarnkit {

// Two red, two green and two blue figures go to and fro, swelling and shrinking, in front of a street in
// colours that are no figure's. Two of different colours share a lane, so that the one in front hides
// the other when they meet; two of one colour never touch. A box is its whole figure's, hidden or not.
class ColouredFigureScene final : public Scene {
 public:
  // At least kSmallestSide each.
  ColouredFigureScene(int width, int height);

 private:
  enum class Shape { kEgg, kBlock, kDiamond };
  struct Figure {
    Shape shape;
    cv::Scalar colour;
    double width, height, middle;  // pixels at rest; the middle line of its lane
    double start, stride;          // way gone at frame 0 and in each frame, pixels
  };
  std::size_t count() const override { return figures_.size(); }
  MotBox box(std::size_t index, std::int64_t number) const override;
  void drawFigure(cv::Mat& picture, std::size_t index, std::int64_t number) const override;

  int width_;
  std::vector<Figure> figures_;  // from the back to the front
};

}  // namespace tarnkit

#endif  // TN_KITS_APPS_SCENE_COLOURED_FIGURES_H_
