// What the commands draw: films whose boxes are known, tracks, contact sheets. And the pedestrian
// detector's own rules.
#include <gtest/gtest.h>

#include <limits>

#include "apps/detectors/hog_detector.h"
#include "apps/drawing/contact_sheet.h"
#include "apps/drawing/draw_tracks.h"
#include "apps/scene/coloured_figures.h"
#include "apps/scene/walkers.h"

namespace {

using namespace tarnkit;

TEST(Scenes, FiguresStayInsideAndLanesApart) {
  static constexpr int kSizes[][2] = {{64, 64}, {640, 480}, {200, 800}};
  for (const auto& [width, height] : kSizes) {
    const WalkerScene walkers(width, height);
    const ColouredFigureScene figures(width, height);
    const std::pair<const Scene*, std::size_t> lanes[] = {{&walkers, 1}, {&figures, 2}};
    for (const auto& [scene, in_a_lane] : lanes)
      for (std::int64_t frame = 1; frame <= 500; ++frame) {
        const std::vector<MotBox> boxes = scene->boxes(frame);
        for (std::size_t i = 0; i < boxes.size(); ++i) {
          const MotBox& box = boxes[i];
          ASSERT_TRUE(box.left >= 0 && box.left + box.width <= width && box.top >= 0 &&
                      box.top + box.height <= height);
          for (std::size_t above = 0; above < i / in_a_lane * in_a_lane; ++above)
            ASSERT_GE(box.top, boxes[above].top + boxes[above].height);
        }
      }
  }
}

TEST(ContactSheet, SpreadsItsPicturesOverAVideoOfAnyLength) {
  for (const int length : {0, 1, 5, 6, 7, 47, 48, 49, 1000, 5000}) {
    SCOPED_TRACE(length);
    ContactSheet sheet;
    const cv::Mat picture(6, 8, CV_8UC3, cv::Scalar(1, 2, 3));
    for (int frame = 1; frame <= length; ++frame) sheet.add(frame, picture);
    const std::vector<std::int64_t> frames = sheet.frames();
    ASSERT_EQ(frames.size(), static_cast<std::size_t>(std::min(length, 6)));
    EXPECT_EQ(sheet.compose().empty(), length == 0);
    for (std::size_t i = 0; i < frames.size(); ++i) {
      const double ideal = (static_cast<double>(i) + 0.5) * length / static_cast<double>(frames.size());
      EXPECT_NEAR(static_cast<double>(frames[i]), ideal, 1.0 + 0.05 * length) << i;
      EXPECT_TRUE(i == 0 || frames[i] > frames[i - 1]) << i;
    }
  }
}

TEST(Drawing, BearsBoxesAndPathsFarOutsideThePicture) {
  const float nan = std::numeric_limits<float>::quiet_NaN(), huge = 1e30f;
  const std::vector<Tarn::TarnIdentifiedBox> boxes = {
      {{-huge, -huge, 2.0f * huge, 2.0f * huge, 1.0f, 0}, 1},
      {{nan, nan, nan, nan, nan, 0}, 2},
      {{2.0f, 2.0f, 1.0f, 1.0f, 0.5f, 0}, 3}};
  Trails trails;
  Trajectories trajectories;
  cv::Mat picture(48, 64, CV_8UC3, cv::Scalar(9, 9, 9));
  const auto name = [](int) { return "thing"; };
  for (std::int64_t frame = 1; frame <= 12; ++frame) {
    trails.add(frame, boxes, picture.cols, picture.rows);
    trajectories.add(boxes, picture.cols, picture.rows);
    drawTracks(picture, boxes, name, trails);
  }
  EXPECT_EQ(drawTrajectories(picture, trajectories, 10).size(), picture.size());
}

// An hour of video: what is remembered of each identity is bounded, and still its whole path.
TEST(Drawing, PathsOfLongTracksKeepFewPoints) {
  constexpr std::int64_t kFrames = 90000;
  Trails trails;
  Trajectories trajectories;
  for (std::int64_t frame = 1; frame <= kFrames; ++frame) {
    const Tarn::TarnBoundingBox2D box = {static_cast<float>(frame), 0.0f, 0.0f, 0.0f, 1.0f, 0};
    std::vector<Tarn::TarnIdentifiedBox> boxes = {{box, 7}};
    if (frame <= 3) boxes.push_back({box, 8});
    trails.add(frame, boxes, 1, 1);
    trajectories.add(boxes, 1, 1);

    const Trajectories::Path& path = trajectories.all().at(7);
    ASSERT_EQ(path.frames, frame);
    ASSERT_LT(path.points.size(), Trajectories::kMostPoints);
    ASSERT_EQ(path.points.back().x, static_cast<float>(frame));
  }
  const Trajectories::Path& path = trajectories.all().at(7);
  EXPECT_GT(path.points.size(), Trajectories::kMostPoints / 2);
  for (std::size_t i = 0; i + 1 < path.points.size(); ++i)
    EXPECT_EQ(path.points[i].x, static_cast<float>(1 + static_cast<std::int64_t>(i) * path.interval));
  EXPECT_EQ(trajectories.all().at(8).points.size(), 3u);

  const std::vector<cv::Point2f> trail = trails.of(7);
  ASSERT_EQ(trail.size(), static_cast<std::size_t>(Trails::kFrames));
  EXPECT_EQ(trail.front().x, static_cast<float>(kFrames - Trails::kFrames + 1));
  EXPECT_TRUE(trails.of(8).empty());
}

TEST(HogDetector, KeepsTheBestOfBoxesThatShareAPerson) {
  // A is best; B covers most of A; C lies wholly in A; D stands beside A; E touches D only.
  const std::vector<Tarn::TarnBoundingBox2D> boxes = {{0.12f, 0.1f, 0.1f, 0.3f, 0.5f, 0},
                                                      {0.10f, 0.1f, 0.1f, 0.3f, 0.9f, 0},
                                                      {0.12f, 0.2f, 0.05f, 0.1f, 0.8f, 0},
                                                      {0.16f, 0.1f, 0.1f, 0.3f, 0.7f, 0},
                                                      {0.26f, 0.1f, 0.1f, 0.3f, 0.6f, 0}};
  std::vector<float> kept;
  for (const Tarn::TarnBoundingBox2D& box : keepBest(boxes, 0.55f)) kept.push_back(box.score);
  EXPECT_EQ(kept, (std::vector<float>{0.9f, 0.7f, 0.6f}));

  // Nobody fits into a picture this small.
  std::vector<std::uint8_t> pixels(32 * 16 * 3 / 2, 128);
  const _TN_Image frame = {0, TN_PIX_FMT_NV12, 32, 16, 0, pixels.data()};
  EXPECT_TRUE(HogDetector{HogOptions()}.detect({1, frame, frame, {0, 0, 32, 16}}).empty());
}

}  // namespace
