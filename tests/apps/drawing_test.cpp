// What the commands draw: films whose boxes are known, tracks, contact sheets.
#include <gtest/gtest.h>

#include <limits>
#include <opencv2/imgcodecs.hpp>

#include "apps/drawing/contact_sheet.h"
#include "apps/drawing/draw_tracks.h"
#include "apps/drawing/picture_outputs.h"
#include "apps/scene/coloured_figures.h"
#include "apps/scene/walkers.h"
#include "apps/video/video_reader.h"
#include "tests/apps/tool_test_support.h"

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
          ASSERT_TRUE(box.id == static_cast<std::int64_t>(i) + 1 && box.score == 1.0);
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
    cv::Mat picture(9, 16, CV_8UC3);
    for (int frame = 1; frame <= length; ++frame) sheet.add(frame, picture.setTo(frame % 251));
    const std::vector<std::int64_t> frames = sheet.frames();
    ASSERT_EQ(frames.size(), static_cast<std::size_t>(std::min(length, 6)));
    const cv::Mat whole = sheet.compose();
    EXPECT_EQ(whole.rows, length == 0 ? 0 : static_cast<int>(frames.size() + 2) / 3 * 276 + 6);
    for (std::size_t i = 0; i < frames.size(); ++i) {
      const double ideal = (static_cast<double>(i) + 0.5) * length / static_cast<double>(frames.size());
      EXPECT_NEAR(static_cast<double>(frames[i]), ideal, 1.0 + 0.05 * length) << i;
      EXPECT_TRUE(i == 0 || frames[i] > frames[i - 1]) << i;
      // Three thumbnails of 480 x 270 in a row, 6 pixels apart.
      const int x = 246 + static_cast<int>(i % 3) * 486, y = 141 + static_cast<int>(i / 3) * 276;
      EXPECT_EQ(whole.at<cv::Vec3b>(y, x)[0], frames[i] % 251) << i;
    }
  }
}

int changedPixels(const cv::Mat& picture, const cv::Scalar& before) {
  cv::Mat change;
  cv::inRange(picture, before, before, change);
  return static_cast<int>(change.total()) - cv::countNonZero(change);
}

// Labels are moved into the picture, whole, wherever their box may be.
TEST(Drawing, BearsBoxesAndPathsFarOutsideThePicture) {
  const float nan = std::numeric_limits<float>::quiet_NaN(), huge = 1e30f;
  const cv::Scalar ground(9, 9, 9);
  const auto name = [](int label) { return label == 6 ? "thing" : "the identity"; };
  int pixels = 0;
  const float places[][2] = {{-1, -1},   {1.5f, -1},    {-1, 1.5f},   {1.5f, 1.5f},
                             {nan, nan}, {huge, -huge}, {-huge, huge}};
  for (const auto& [x, y] : places) {
    SCOPED_TRACE(testing::Message() << x << ", " << y);
    const std::vector<Tarn::TarnIdentifiedBox> boxes = {{{x, y, 0.2f, 0.2f, 0.5f, 6}, 3}};
    Trails trails;
    Trajectories trajectories;
    cv::Mat picture(48, 160, CV_8UC3, ground);
    for (std::int64_t frame = 1; frame <= 10; ++frame) {
      trails.add(frame, boxes, picture.cols, picture.rows);
      trajectories.add(boxes, picture.cols, picture.rows);
    }
    drawTracks(picture, boxes, name, trails);
    if (pixels == 0) pixels = changedPixels(picture, ground);
    EXPECT_TRUE(pixels > 1000 && pixels < 2000) << pixels;
    EXPECT_EQ(changedPixels(picture, ground), pixels);
    EXPECT_EQ(drawTrajectories(picture, trajectories, 10).size(), picture.size());
  }
}

class PictureFiles : public tn_test::ToolTest {};

// Paths lie over the last frame as it came, dimmed: a ring round the first foot point, a line to the
// last one, for identities of 10 frames and more. Video and sheet show the boxes where they are.
TEST_F(PictureFiles, ShowWhatTheyAreToShow) {
  av_log_set_level(AV_LOG_QUIET);
  constexpr int kWidth = 320, kHeight = 240;
  std::vector<std::uint8_t> bytes(kWidth * kHeight * 3 / 2, 128);
  const _TN_Image frame = {0, TN_PIX_FMT_NV12, kWidth, kHeight, 0, bytes.data()};
  PictureOutputs outputs({path("out.mp4"), path("sheet.png"), path("paths.png")},
                         {kWidth, kHeight, 25, 1, 0, {}}, [](int) { return "x"; });
  for (int i = 0; i < 10; ++i) {
    std::fill_n(bytes.begin(), kWidth * kHeight, static_cast<std::uint8_t>(16 + 10 * i));
    const float x = 0.25f + 0.05f * static_cast<float>(i);
    std::vector<Tarn::TarnIdentifiedBox> boxes = {{{x, 0.2f, 0.1f, 0.3f, 0.5f, 0}, 1}};
    if (i > 0) boxes.push_back({{x, 0.4f, 0.1f, 0.5f, 0.5f, 0}, 2});
    outputs.add(i + 1, frame, boxes);
  }
  outputs.close();
  const auto difference = [](const cv::Mat& picture, int x, int y, const cv::Scalar& wanted) {
    cv::Scalar off;
    cv::absdiff(cv::Scalar(picture.at<cv::Vec3b>(y, x)), wanted, off);
    return std::max({off[0], off[1], off[2]});
  };
  // Feet go from (96, 120) to (240, 120), the other identity's at 216. The last box begins at 224.
  const cv::Mat paths = cv::imread(path("paths.png"));
  const cv::Scalar dimmed = cv::Scalar::all(0.55 * (90 * 255.0 / 219.0) + 25.0);
  EXPECT_LE(difference(paths, 160, 120, identityColour(1)), 8);
  EXPECT_GT(difference(paths, 90, 120, dimmed), 40) << "the ring";
  for (const auto& [x, y] : {std::pair(224, 84), {160, 216}, {86, 120}})
    EXPECT_LE(difference(paths, x, y, dimmed), 2) << x << ", " << y;

  // The first frame's box, from (80, 48) to (112, 120), in black; the sheet is half as large again.
  VideoReader video(path("out.mp4"));
  _TN_Image first;
  ASSERT_TRUE(video.next(first));
  Nv12ToBgr to_bgr(kWidth, kHeight, video.info().colour);
  const cv::Mat sheet = cv::imread(path("sheet.png")), picture = to_bgr.convert(first);
  for (const auto& [x, y] : {std::pair(80, 100), {112, 100}, {100, 48}, {90, 120}}) {
    EXPECT_GT(difference(picture, x, y, cv::Scalar()), 100) << x << ", " << y;
    EXPECT_LT(difference(sheet, 6 + x * 3 / 2, 6 + y * 3 / 2, identityColour(1)), 100) << x << ", " << y;
  }
  // Blue on grey: the trail of the last frame, the sheet's last one.
  EXPECT_GT(sheet.at<cv::Vec3b>(372 + 120 * 3 / 2, 978 + 150 * 3 / 2)[0], 200);
  for (const auto& [x, y] : {std::pair(70, 100), {122, 100}, {100, 58}, {110, 130}})
    EXPECT_LT(difference(picture, x, y, cv::Scalar()), 30) << x << ", " << y;
}

TEST(Drawing, IdentitiesHaveColoursOfTheirOwn) {
  EXPECT_EQ(identityColour(0), cv::Scalar(60, 60, 255)) << "red";
  for (std::int64_t id = 0; id < 60; ++id)
    for (std::int64_t next = id + 1; next < id + 20; ++next)
      EXPECT_GT(cv::norm(identityColour(id), identityColour(next), cv::NORM_INF), 20)
          << id << ", " << next;
}

// An hour of video: what is remembered of each identity is bounded, and still its whole path.
TEST(Drawing, PathsOfLongTracksKeepFewPoints) {
  constexpr std::int64_t kFrames = 90000;
  Trails trails;
  Trajectories trajectories;
  for (std::int64_t frame = 1; frame <= kFrames; ++frame) {
    const Tarn::TarnBoundingBox2D box = {static_cast<float>(frame) - 2.0f, 3.0f, 4.0f, 5.0f, 1.0f, 0};
    std::vector<Tarn::TarnIdentifiedBox> boxes = {{box, 7}};
    if (frame <= 3) boxes.push_back({box, 8});
    trails.add(frame, boxes, 1, 10);
    trajectories.add(boxes, 1, 10);

    const Trajectories::Path& path = trajectories.all().at(7);
    ASSERT_EQ(path.frames, frame);
    ASSERT_LT(path.points.size(), Trajectories::kMostPoints);
    ASSERT_EQ(path.points.back(), cv::Point2f(static_cast<float>(frame), 80.0f));
  }
  const Trajectories::Path& path = trajectories.all().at(7);
  EXPECT_GT(path.points.size(), Trajectories::kMostPoints / 2);
  for (std::size_t i = 0; i + 1 < path.points.size(); ++i)
    EXPECT_EQ(path.points[i].x, static_cast<float>(1 + static_cast<std::int64_t>(i) * path.interval));
  EXPECT_EQ(trajectories.all().at(8).points.size(), 3u);

  const std::vector<cv::Point2f> trail = trails.of(7);
  ASSERT_EQ(trail.size(), static_cast<std::size_t>(Trails::kFrames));
  EXPECT_EQ(trail.front(), cv::Point2f(static_cast<float>(kFrames - Trails::kFrames + 1), 80.0f));
  EXPECT_TRUE(trails.of(8).empty());
}

}  // namespace
