// Films whose boxes are known: that they are the boxes of what is drawn.
#include <gtest/gtest.h>

#include <algorithm>
#include <opencv2/imgproc.hpp>
#include <utility>

#include "apps/scene/coloured_figures.h"
#include "apps/scene/walkers.h"

namespace {

using namespace tarnkit;

void expectInside(const Scene& scene, int width, int height) {
  for (std::int64_t frame = 1; frame <= 500; ++frame)
    for (const MotBox& box : scene.boxes(frame)) {
      ASSERT_GE(box.left, 0.0);
      ASSERT_GE(box.top, 0.0);
      ASSERT_LE(box.left + box.width, width);
      ASSERT_LE(box.top + box.height, height);
    }
}

// Whether two boxes share no row.
bool areApart(const MotBox& upper, const MotBox& lower) { return lower.top >= upper.top + upper.height; }

TEST(Scenes, FiguresStayInsideAndLanesApart) {
  for (const auto& [width, height] : {std::pair<int, int>{64, 64}, {640, 480}, {200, 800}}) {
    const WalkerScene walkers(width, height);
    const ColouredFigureScene figures(width, height);
    expectInside(walkers, width, height);
    expectInside(figures, width, height);
    for (std::int64_t frame = 1; frame <= 500; ++frame) {
      const std::vector<MotBox> alone = walkers.boxes(frame), pairs = figures.boxes(frame);
      for (std::size_t i = 1; i < alone.size(); ++i) ASSERT_TRUE(areApart(alone[i - 1], alone[i]));
      for (std::size_t i = 2; i < pairs.size(); ++i)  // lanes of two
        for (const std::size_t above : {i / 2 * 2 - 2, i / 2 * 2 - 1})
          ASSERT_TRUE(areApart(pairs[above], pairs[i]));
    }
  }
}

// The one in front of each lane is wholly seen, and the only one of its colour there.
TEST(Scenes, ColouredFiguresFillTheirBoxes) {
  constexpr int kWidth = 640, kHeight = 480, kLane = kHeight / 3;
  const ColouredFigureScene scene(kWidth, kHeight);
  static const int channels[] = {1, 0, 2};  // green, blue and red of B G R
  for (const std::int64_t frame : {1, 33, 90, 177}) {
    const cv::Mat picture = scene.draw(frame);
    for (int lane = 0; lane < 3; ++lane) {
      SCOPED_TRACE(testing::Message() << "frame " << frame << ", lane " << lane);
      cv::Mat planes[3], others;
      cv::split(picture.rowRange(lane * kLane, (lane + 1) * kLane), planes);
      const int own = channels[lane];
      cv::add(planes[(own + 1) % 3], planes[(own + 2) % 3], others);
      const cv::Rect seen = cv::boundingRect(planes[own] - others > 15);
      const MotBox box = scene.boxes(frame)[static_cast<std::size_t>(2 * lane + 1)];
      EXPECT_NEAR(seen.x, box.left, 2.0);
      EXPECT_NEAR(seen.y + lane * kLane, box.top, 2.0);
      EXPECT_NEAR(seen.width, box.width, 3.0);
      EXPECT_NEAR(seen.height, box.height, 3.0);
    }
  }
}

}  // namespace
