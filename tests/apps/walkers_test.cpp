#include "apps/scene/walkers.h"

#include <gtest/gtest.h>

#include <utility>

namespace {

using namespace tarnkit;

TEST(Walkers, StayInsideAndApart) {
  for (const auto& [width, height] : {std::pair<int, int>{64, 64}, {640, 480}, {200, 800}}) {
    const WalkerScene scene(width, height);
    for (std::int64_t frame = 1; frame <= 500; ++frame) {
      const std::vector<MotBox> boxes = scene.boxes(frame);
      for (std::size_t i = 0; i < boxes.size(); ++i) {
        ASSERT_GE(boxes[i].left, 0.0);
        ASSERT_LE(boxes[i].left + boxes[i].width, width);
        ASSERT_LE(boxes[i].top + boxes[i].height, height);
        if (i > 0) {
          ASSERT_GE(boxes[i].top, boxes[i - 1].top + boxes[i - 1].height);
        }
      }
    }
  }
}

}  // namespace
