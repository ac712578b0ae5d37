// tarnkit sample, run and tensor: what comes out of a video whose boxes are known.
#include <gtest/gtest.h>

#include <opencv2/imgcodecs.hpp>

#include "apps/video/video_reader.h"
#include "tests/apps/tool_test_support.h"
#include "tn_preprocess.h"

namespace {

using namespace tarnkit;
using tn_test::countFrames;

class RunCommand : public tn_test::ToolTest {};

TEST_F(RunCommand, FollowsEachFigureOfTheSample) {
  constexpr int kFrames = 60;
  makeSample(kFrames);
  std::string video = "walk.mp4";
#if !defined(_WIN32)
  video = "a:b.mp4";  // what stands before a colon is no protocol
  std::filesystem::rename(path("walk.mp4"), path(video));
#endif
  // The One-Euro filter lags far behind at its default cut-off.
  for (const char* filter : {"kalman", "one-euro --min-cutoff 10"}) {
    SCOPED_TRACE(filter);
    const std::string out =
        run(std::string("run " + video +
                        " --detector mot:walk.txt -o out.mp4 --tracks tracks.txt --contact-sheet "
                        "sheet.png --trajectories paths.png --filter ") +
            filter);
    EXPECT_EQ(out.rfind("frames 60, detections 240, tracks 4\n", 0), 0u) << out;
    EXPECT_EQ(countFrames(path("out.mp4")), kFrames);
    const TrackScore score = scoreOf("tracks.txt", 0.7);
    EXPECT_EQ(score.matches, 4 * kFrames) << score.table();
    EXPECT_EQ(score.precision(), 1.0) << score.table();
    EXPECT_EQ(score.identity_switches, 0) << score.table();
    EXPECT_GT(cv::imread(path("sheet.png")).cols, 3 * 480);
    EXPECT_EQ(cv::imread(path("paths.png")).size(), cv::Size(320, 240));
  }
}

// A green block fills the second coloured figure's box; a walker's head has its place in the box.
TEST_F(RunCommand, SamplesShowTheirBoxes) {
  for (const bool is_walkers : {true, false}) {
    makeSample(3, "1280x960", is_walkers ? "walkers" : "figures");
    const cv::Scalar colour = is_walkers ? cv::Scalar(150, 175, 220) : cv::Scalar(40, 190, 45);
    VideoReader video(path("walk.mp4"));
    Nv12ToBgr to_bgr(1280, 960, video.info().colour);
    _TN_Image frame;
    for (const auto& [number, boxes] : readMotFrames(path("walk.txt"))) {
      ASSERT_TRUE(video.next(frame));
      cv::Mat is_figure;
      cv::inRange(to_bgr.convert(frame), colour - cv::Scalar::all(60), colour + cv::Scalar::all(60),
                  is_figure);
      for (const MotBox& box : boxes) {
        SCOPED_TRACE(testing::Message() << is_walkers << ", frame " << number << ", box " << box.id);
        const double w = box.width / 2, h = box.height / 2, x = box.left + w, y = box.top + h;
        const auto shows = [&](double right, double down) {
          return is_figure.at<std::uint8_t>(cvFloor(y + down), cvFloor(x + right)) != 0;
        };
        if (is_walkers) {
          EXPECT_TRUE(shows(-0.12 * h, -0.82 * h) && shows(0.12 * h, -0.82 * h));
        } else if (box.id == 2) {
          EXPECT_TRUE(shows(3 - w, 0) && shows(w - 3, 0) && shows(0, 3 - h) && shows(0, h - 3));
          EXPECT_FALSE(shows(-3 - w, 0) || shows(w + 3, 0) || shows(0, -3 - h) || shows(0, h + 3));
        }
      }
    }
  }
}

// A read that fails midway takes nothing of what was read before, and all outputs are finished.
TEST_F(RunCommand, FramesBeforeAReadErrorAreAllUsed) {
  makeSample(40);
  const std::string video = read("walk.mp4");
  std::size_t cut = 0;  // within the header of a fragment, which a pipe's reader cannot pass over
  for (int fragment = 0; fragment <= 30; ++fragment) cut = video.find("tfhd", cut + 1);
  write("cut.mp4", video.substr(0, cut + 8));
  const tn_test::ToolResult result =
      tool("run - --detector mot:walk.txt --tracks out.txt --contact-sheet out.png <cut.mp4");
  EXPECT_EQ(result.status, 1);
  EXPECT_TRUE(tn_test::isOneLineWith(result.err, "standard input: cannot be read on: "));
  EXPECT_EQ(result.out.rfind("frames 30, detections 120, tracks 4\n", 0), 0u) << result.out;
  EXPECT_EQ(readMotFrames(path("out.txt")).size(), 30u);
  EXPECT_TRUE(exists("out.png"));
}

// The decoder's three planes and the packed two hold the same samples, so they give the same tensor.
TEST_F(RunCommand, TensorsAreTheLibrarysToTheBit) {
  constexpr int kWanted = 4;
  makeSample(6);
  VideoReader video(path("walk.mp4"));
  _TN_Image frame;
  for (int i = 0; i < kWanted; ++i) ASSERT_TRUE(video.next(frame));
  Tarn::FrameView view = Tarn::frameView(frame);
  view.matrix = Tarn::YuvMatrix::kBt601;  // by its size
  Tarn::TensorSpec spec;
  spec.width = 97;
  spec.height = 63;
  spec.fit = Tarn::Fit::kStretch;
  const auto expect_tensor = [&](const std::string& given, const Tarn::Region& region) {
    SCOPED_TRACE(given);
    std::vector<float> expected(spec.bytes() / sizeof(float));
    Tarn::Preprocessor(spec).run(view, expected.data(), spec.bytes(), region);
    const std::string options = " --size 97x63 --fit stretch " + given;
    run("tensor walk.mp4 --frame 4 -o one.npy" + options);
    run("run walk.mp4 --detector mot:walk.txt --tensors deep/dir" + options);
    const tn_test::Npy npy = tn_test::parseNpy(read("one.npy"));
    EXPECT_EQ(npy.header.rfind("{'descr': '<f4', 'fortran_order': False, 'shape': (1, 3, 63, 97), }", 0),
              0u);
    EXPECT_EQ(npy.values, expected);
    EXPECT_EQ(read("deep/dir/000004.npy"), read("one.npy"));
  };
  expect_tensor("", {});
  view.matrix = Tarn::YuvMatrix::kBt2020;  // whatever the video says
  view.range = Tarn::YuvRange::kFull;
  spec.resampling = Tarn::Resampling::kAntialiased;
  spec.colour = Tarn::TensorColour::kBgr;
  for (int i = 0; i < 3; ++i) {
    spec.mean[i] = static_cast<float>(10 * i);
    spec.scale[i] = 0.25f;
  }
  expect_tensor(
      "--matrix bt2020 --range full --resampling antialiased --order bgr --mean 0,10,20 "
      "--scale 0.25,0.25,0.25 --region=-20,10,120,400",
      {-20, 10, 120, 400});
}

// A phone held upright writes its frames lying down, with a matrix that turns them clockwise.
TEST_F(RunCommand, TensorsOfTurnedVideosAreUpright) {
  makeSample(2);
  run("tensor walk.mp4 --size 60x80 --orientation 6 -o turned.npy --placement by-option.json");
  write("turned.mp4", tn_test::videoWithMatrix(read("walk.mp4"), 0, 65536, -65536, 0));
  write("tilted.mp4", tn_test::videoWithMatrix(read("walk.mp4"), 46341, 46341, -46341, 46341));
  run("tensor turned.mp4 --size 60x80 -o by-file.npy --placement by-file.json");
  EXPECT_EQ(read("by-file.npy"), read("turned.npy"));
  EXPECT_EQ(read("by-file.json"), read("by-option.json"));
  run("tensor turned.mp4 --size 60x80 --orientation 1 -o lying.npy");
  EXPECT_NE(read("lying.npy"), read("turned.npy"));
  expectRefused("tensor tilted.mp4 -o out ", {{"", "tilted.mp4: is turned by no right angle"}});
  run("tensor tilted.mp4 --size 60x80 --orientation 6 -o tilted.npy");
  EXPECT_EQ(read("tilted.npy"), read("turned.npy"));
}

TEST_F(RunCommand, ThePlacementSaysWhereTheFrameWent) {
  makeSample(2);
  run("tensor walk.mp4 --size 64x64 --placement where.json -o out.npy");
  EXPECT_EQ(read("where.json"),
            "{\n  \"frame\": [0, 0, 320, 240],\n  \"content\": [0, 8, 64, 48],\n"
            "  \"to_tensor\": [0.2, 0, 0, 0, 0.2, 8],\n  \"to_frame\": [5, 0, 0, 0, 5, -40]\n}\n");
  EXPECT_EQ(
      tool("tensor walk.mp4 --placement - -o out.npy --region 300,200,40,40")
          .out.rfind("{\n  \"frame\": [300, 200, 20, 40],\n  \"content\": [160, 0, 320, 640],\n", 0),
      0u);
}

TEST_F(RunCommand, TheDetectorFindsFiguresOnFoot) {
  makeSample(4, "640x480");
  const tn_test::ToolResult result = tool("run walk.mp4 --tracks - --iou-threshold 1");
  ASSERT_EQ(result.status, 0);
  EXPECT_EQ(result.err.rfind("frames 4,", 0), 0u) << "the summary makes way for the tracks";
  write("found.txt", result.out);
  EXPECT_EQ(scoreOf("found.txt", 0.5).matches, 4 * 4);
  // The tallest figure has 125 pixels; no score is above 20.
  for (const char* options : {"--hog-smallest 180", "--hog-threshold 20"})
    EXPECT_EQ(run(std::string("run walk.mp4 ") + options).rfind("frames 4, detections 0,", 0), 0u)
        << options;
}

}  // namespace
