// tarnkit track: identities, gaps, the clock, and where text comes from and goes to.
#include <gtest/gtest.h>

#include <set>

#include "tests/apps/tool_test_support.h"
#include "tn_boxtracker.h"

namespace {

using tarnkit::MotBox;
using tarnkit::MotFrames;
using tarnkit::readMotFrames;
using tn_test::ToolResult;
using tn_test::ToolTest;

class TrackCommand : public ToolTest {};

// Two boxes that drift apart, frames out of order.
constexpr char kTwoBoxes[] =
    "3,-1,104,50,40,80,0.75,-1,-1,-1\n"
    "1,-1,100,50,40,80,0.5,-1,-1,-1\n"
    "1,-1,300,60,50,90,0.25,-1,-1,-1\n"
    "2,-1,102,50,40,80,0.625,-1,-1,-1\n"
    "2,-1,297,60,50,90,0.5,-1,-1,-1\n"
    "3,-1,294,60,50,90,0.5,-1,-1,-1\n";

TEST_F(TrackCommand, GivesEachObjectOneIdentityWhateverTheOrderOfTheLines) {
  write("det.txt", kTwoBoxes);
  const ToolResult result = tool("track det.txt --frame 640x480 -o out.txt");
  ASSERT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.out + result.err, "");
  // A track's first box is the detection itself.
  EXPECT_EQ(read("out.txt").substr(0, read("out.txt").find("2,1,")),
            "1,1,100.000,50.000,40.000,80.000,0.5,-1,-1,-1\n"
            "1,2,300.000,60.000,50.000,90.000,0.25,-1,-1,-1\n");
  const MotFrames frames = readMotFrames(path("out.txt"));
  ASSERT_EQ(frames.size(), 3u);
  for (const auto& [number, boxes] : frames) {
    ASSERT_EQ(boxes.size(), 2u) << "frame " << number;
    EXPECT_EQ(boxes[0].id, 1);
    EXPECT_EQ(boxes[1].id, 2);
    // Filtered boxes lag by less than the movement of two frames.
    EXPECT_NEAR(boxes[0].left, 98.0 + 2.0 * static_cast<double>(number), 4.0);
    EXPECT_NEAR(boxes[1].left, 303.0 - 3.0 * static_cast<double>(number), 6.0);
  }
  EXPECT_EQ(frames.at(3)[0].score, 0.75);
}

TEST_F(TrackCommand, FramesWithoutLinesAreFramesWithoutDetections) {
  write("det.txt",
        "1,-1,100,50,40,80,1\n2,-1,100,50,40,80,1\n3,-1,100,50,40,80,1\n6,-1,100,50,40,80,1\n");
  struct Case {
    const char* options;
    std::vector<std::int64_t> frames;  // that the track is reported in
    std::int64_t last_id;
  };
  const Case cases[] = {
      {"", {1, 2, 3, 6}, 2},                       // no coasting: a new track after the gap
      {"--max-confidence 2", {1, 2, 3, 4, 6}, 2},  // lives on for one frame, not for two
      {"--max-confidence 3", {1, 2, 3, 4, 5, 6}, 1},
      {"--max-confidence 2 --lost-threshold -1", {1, 2, 3, 4, 6}, 1},  // the second one unreported
      {"--filter one-euro --max-confidence 3", {1, 2, 3, 4, 5, 6}, 1},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.options);
    ASSERT_EQ(tool(std::string("track det.txt --frame 640x480 -o out.txt ") + c.options).status, 0);
    std::vector<std::int64_t> frames;
    std::int64_t last_id = 0;
    for (const auto& [number, boxes] : readMotFrames(path("out.txt"))) {
      frames.push_back(number);
      last_id = boxes.back().id;
    }
    EXPECT_EQ(frames, c.frames);
    EXPECT_EQ(last_id, c.last_id);
  }
}

TEST_F(TrackCommand, PassesOverGapsThatNoTrackCanOutlive) {
  write("det.txt", "1,-1,100,50,40,80,1\n2000000000,-1,100,50,40,80,1\n");
  ASSERT_EQ(
      tool("track det.txt --frame 640x480 --max-confidence 3 --lost-threshold -3 -o out.txt").status, 0);
  EXPECT_EQ(read("out.txt"),
            "1,1,100.000,50.000,40.000,80.000,1,-1,-1,-1\n"
            "2000000000,2,100.000,50.000,40.000,80.000,1,-1,-1,-1\n");
}

double seconds = 0.0;

// The clock must follow the frame numbers, gaps included, at the rate given: as driving the library by
// hand does.
TEST_F(TrackCommand, OneEuroClockFollowsTheFrameNumbers) {
  constexpr double kFps = 8.0;
  MotFrames detections;
  std::string text;
  for (const std::int64_t frame : {1, 2, 3, 4, 7, 8, 9, 20, 21}) {
    const MotBox box = {-1, 100.0 + 1.5 * static_cast<double>(frame * frame % 23), 50.0, 60.0, 120.0,
                        0.5};
    detections[frame] = {box};
    text += tarnkit::motLine(frame, box);
  }
  write("det.txt", text);
  const std::string command =
      "track det.txt --frame 640x480 --filter one-euro --fps 8 --max-confidence 20 ";
  ASSERT_EQ(tool(command + "-o first.txt").status, 0);
  ASSERT_EQ(tool(command + "-o second.txt").status, 0);
  EXPECT_EQ(read("first.txt"), read("second.txt"));

  const Tarn::TarnBoundingBoxesTrackerParams before = Tarn::getTrackerParams();
  Tarn::TarnBoundingBoxesTrackerParams params = before;
  params.fps = static_cast<float>(kFps);
  params.maxConfidence = 20;
  Tarn::setTrackerParams(params);
  Tarn::setTrackerClock([] { return seconds; });
  Tarn::TarnIdentifiedBoxesTracker<Tarn::TarnOneEuroFilterBoxTracker2D> tracker(640, 480);
  std::string expected;
  for (std::int64_t frame = 1; frame <= 21; ++frame) {
    seconds = static_cast<double>(frame) / kFps;
    const auto boxes = tracker.track(tarnkit::toFractions(detections[frame], 640, 480));
    expected += tarnkit::motLines(frame, tarnkit::toPixels(boxes, 640, 480));
  }
  Tarn::setTrackerClock(nullptr);
  Tarn::setTrackerParams(before);
  EXPECT_EQ(read("first.txt"), expected);
}

TEST_F(TrackCommand, ReadsAndWritesStandardStreamsAndToleratesOtherSystemsText) {
  write("det.txt", kTwoBoxes);
  ASSERT_EQ(tool("track det.txt --frame 640x480 -o out.txt").status, 0);
  const std::string expected = read("out.txt");

  std::string foreign = "\xEF\xBB\xBF";
  for (const char* c = kTwoBoxes; *c != '\0'; ++c)
    foreign += *c == '\n'  ? std::string(" \r\n\r\n")
               : *c == ',' ? std::string(" ,\t")
                           : std::string(1, *c);
  write("foreign.txt", foreign);
  const ToolResult piped = tool("track - --frame 640x480 -o - <foreign.txt");
  EXPECT_EQ(piped.status, 0);
  EXPECT_EQ(piped.out, expected);
  EXPECT_EQ(piped.err, "");
}

TEST_F(TrackCommand, EveryParameterHasAnOptionThatReachesItsField) {
  write("det.txt", kTwoBoxes);
  expectRefused("track det.txt --frame 640x480 -o out.txt ",
                {{"--iou-threshold 1.5", "tracker parameters: iouThreshold "},
                 {"--fps 0", "tracker parameters: fps "},
                 {"--max-confidence 0", "tracker parameters: maxConfidence "},
                 {"--valid-threshold 7", "tracker parameters: validThreshold "},
                 {"--lost-threshold 1", "tracker parameters: lostThreshold "},
                 {"--process-noise -1", "tracker parameters: processNoise "},
                 {"--min-cutoff -1", "tracker parameters: minCutoff "},
                 {"--beta nan", "tracker parameters: beta "},
                 {"--d-cutoff -1", "tracker parameters: dCutoff "},
                 {"--measurement-noise -1", "tracker parameters: measurementNoise "}});
}

}  // namespace
