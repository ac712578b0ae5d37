// A made-up street of walking figures whose boxes are known.
#ifndef TN_KITS_APPS_SCENE_WALKERS_H_
#define TN_KITS_APPS_SCENE_WALKERS_H_

#include <cstdint>
#include <opencv2/core.hpp>
#include <vector>

#include "apps/detections/mot_text.h"

namespace tarnkit {

// Figures walk to and fro, each on a lane of its own and wholly inside the picture, so that their boxes
// never overlap. The same size and frame number always give the same picture.
class WalkerScene {
 public:
  // At least kSmallestSide each.
  WalkerScene(int width, int height);
  static constexpr int kSmallestSide = 64;

  // The boxes in frame `number`, counted from 1; ids 1, 2, 3 ... stay with the figures, the score is 1.
  std::vector<MotBox> boxes(std::int64_t number) const;

  // The picture, 8 bits, blue, green, red.
  cv::Mat draw(std::int64_t number) const;

 private:
  struct Walker {
    double height, feet;   // pixels
    double start, stride;  // way walked at frame 0 and in each frame, pixels
  };
  MotBox box(std::size_t index, std::int64_t number) const;
  void drawWalker(cv::Mat& picture, std::size_t index, std::int64_t number) const;

  int width_, height_;
  std::vector<Walker> walkers_;
};

}  // namespace tarnkit

#endif  // TN_KITS_APPS_SCENE_WALKERS_H_
