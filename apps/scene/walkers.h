// A made-up street of walking figures whose boxes are known.
#ifndef TN_KITS_APPS_SCENE_WALKERS_H_
#define TN_KITS_APPS_SCENE_WALKERS_H_

#include <cstdint>
#include <opencv2/core.hpp>
#include <vector>

#include "apps/scene/scene.h"

namespace tarnkit {

// Figures walk to and fro, each on a lane of its own and wholly inside the picture, so that their boxes
// never overlap.
class WalkerScene final : public Scene {
 public:
  // At least kSmallestSide each.
  WalkerScene(int width, int height);

 private:
  struct Walker {
    double height, feet;   // pixels
    double start, stride;  // way walked at frame 0 and in each frame, pixels
  };
  std::size_t count() const override { return walkers_.size(); }
  MotBox box(std::size_t index, std::int64_t number) const override;
  void drawFigure(cv::Mat& picture, std::size_t index, std::int64_t number) const override;

  int width_;
  std::vector<Walker> walkers_;
};

}  // namespace tarnkit

#endif  // TN_KITS_APPS_SCENE_WALKERS_H_
