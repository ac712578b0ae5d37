// Pictures that the commands draw: which ones, in what colours, and that nothing can break them.
#include <gtest/gtest.h>

#include <limits>

#include "apps/drawing/contact_sheet.h"
#include "apps/drawing/draw_tracks.h"

namespace {

using namespace tarnkit;

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
      if (i > 0) {
        EXPECT_GT(frames[i], frames[i - 1]);
      }
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
  for (std::int64_t frame = 1; frame <= 12; ++frame) {
    trails.add(frame, boxes, picture.cols, picture.rows);
    trajectories.add(boxes, picture.cols, picture.rows);
    drawTracks(
        picture, boxes, [](int) { return "thing"; }, trails);
  }
  EXPECT_EQ(drawTrajectories(picture, trajectories, 10).size(), picture.size());
}

// An hour of video: what is remembered of each identity is bounded, and still its whole way.
TEST(Drawing, PathsOfLongTracksKeepFewPoints) {
  constexpr std::int64_t kFrames = 90000;
  Trails trails;
  Trajectories trajectories;
  const auto box_at = [](std::int64_t frame) {
    return Tarn::TarnIdentifiedBox{{static_cast<float>(frame), 0.0f, 0.0f, 0.0f, 1.0f, 0}, 7};
  };
  for (std::int64_t frame = 1; frame <= kFrames; ++frame) {
    std::vector<Tarn::TarnIdentifiedBox> boxes = {box_at(frame)};
    if (frame <= 3) boxes.push_back({boxes[0], 8});
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

TEST(Drawing, ColoursOfIdentitiesAreStableAndApart) {
  for (std::int64_t id = 1; id <= 200; ++id) {
    EXPECT_EQ(identityColour(id), identityColour(id));
    for (std::int64_t other = id + 1; other <= id + 7; ++other)
      EXPECT_GT(cv::norm(identityColour(id) - identityColour(other)), 25.0) << id << " and " << other;
  }
}

}  // namespace
