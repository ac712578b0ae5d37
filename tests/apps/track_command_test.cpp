// tarnkit track: identities, gaps, the clock, and where text comes from and goes to.
#include <gtest/gtest.h>

#include "apps/tracking/frame_tracker.h"
#include "tests/apps/tool_test_support.h"
#include "tn_boxtracker.h"

namespace {

using tarnkit::MotFrames;
using tarnkit::readMotFrames;
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
  EXPECT_EQ(run("track det.txt --frame 640x480 -o out.txt"), "");
  const std::string tracks = read("out.txt");
  // A track's first box is the detection itself.
  EXPECT_EQ(tracks.substr(0, tracks.find("2,1,")),
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

  // Standard streams, and text as other systems write it.
  std::string foreign = "\xEF\xBB\xBF";
  for (const char* c = kTwoBoxes; *c != '\0'; ++c)
    foreign += *c == '\n'  ? std::string(" \r\n\r\n")
               : *c == ',' ? std::string(" ,\t")
                           : std::string(1, *c);
  write("foreign.txt", foreign);
  EXPECT_EQ(run("track - --frame 640x480 -o - <foreign.txt"), tracks);
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
    run(std::string("track det.txt --frame 640x480 -o out.txt ") + c.options);
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
  run("track det.txt --frame 640x480 --max-confidence 3 --lost-threshold -3 -o out.txt");
  EXPECT_EQ(read("out.txt"),
            "1,1,100.000,50.000,40.000,80.000,1,-1,-1,-1\n"
            "2000000000,2,100.000,50.000,40.000,80.000,1,-1,-1,-1\n");
}

double seconds = 0.0;

// The clock must follow the frame numbers, gaps included, at the rate given: as driving the library by
// hand does. A second tracker starts anew.
TEST(FrameTracker, OneEuroClockFollowsTheFrameNumbers) {
  using namespace tarnkit;
  using Boxes = std::vector<Tarn::TarnBoundingBox2D>;
  const Tarn::TarnBoundingBoxesTrackerParams before = Tarn::getTrackerParams();
  TrackerOptions options;
  options.filter = Filter::kOneEuro;
  options.fps = 8.0f;
  options.params.maxConfidence = 20;
  applyTrackerParams(options, 25.0f);
  std::vector<float> got[2], expected;
  const auto follow = [](auto&& track, std::vector<float>& values) {
    for (const std::int64_t frame : {1, 2, 3, 4, 5, 8, 9, 20, 21}) {
      const float x = 0.1f + 0.01f * static_cast<float>(frame * frame % 23);
      for (const Tarn::TarnIdentifiedBox& box : track(frame, {{x, 0.1f, 0.1f, 0.2f, 0.5f, 0}}))
        values.insert(values.end(), {static_cast<float>(box.id), box.x, box.y, box.w, box.h});
    }
  };
  for (std::vector<float>& values : got) {
    const auto tracker = makeFrameTracker(options.filter, 640, 480);
    follow([&](std::int64_t frame, const Boxes& boxes) { return tracker->track(frame, boxes); }, values);
  }
  Tarn::setTrackerClock([] { return seconds; });
  Tarn::TarnIdentifiedBoxesTracker<Tarn::TarnOneEuroFilterBoxTracker2D> by_hand(640, 480);
  const auto track = [&](std::int64_t frame, const Boxes& boxes) {
    seconds = static_cast<double>(frame) / 8.0;
    return by_hand.track(boxes);
  };
  follow(track, expected);
  Tarn::setTrackerClock(nullptr);
  Tarn::setTrackerParams(before);
  EXPECT_FALSE(expected.empty());
  EXPECT_EQ(got[0], expected);
  EXPECT_EQ(got[1], expected);
}

}  // namespace
