// tarnkit track and score: identities, gaps, the clock, text as others write it; tracks and truth.
#include <gtest/gtest.h>

#include <regex>
#include <sstream>

#include "apps/scoring/track_score.h"
#include "apps/tracking/frame_tracker.h"
#include "tests/apps/tool_test_support.h"
#include "tn_boxtracker.h"

namespace {

using namespace tarnkit;

class Tracks : public tn_test::ToolTest {};

// Two boxes that drift apart, frames out of order.
constexpr char kTwoBoxes[] =
    "3,-1,104,50,40,80,0.75,-1,-1,-1\n"
    "1,-1,100,50,40,80,0.5,-1,-1,-1\n"
    "1,-1,300,60,50,90,0.1,-1,-1,-1\n"
    "2,-1,102,50,40,80,0.625,-1,-1,-1\n"
    "2,-1,297,60,50,90,0.5,-1,-1,-1\n"
    "3,-1,294,60,50,90,0.5,-1,-1,-1\n";

TEST_F(Tracks, GivesEachObjectOneIdentityWhateverTheOrderOfTheLines) {
  write("det.txt", kTwoBoxes);
  EXPECT_EQ(run("track det.txt --frame 640x480 -o out.txt"), "");
  const std::string tracks = read("out.txt");
  // A track's first box is the detection itself.
  EXPECT_EQ(tracks.substr(0, tracks.find("2,1,")),
            "1,1,100.000,50.000,40.000,80.000,0.5,-1,-1,-1\n"
            "1,2,300.000,60.000,50.000,90.000,0.1,-1,-1,-1\n");
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
  const std::string spaced = std::regex_replace(kTwoBoxes, std::regex(","), " ,\t");
  write("foreign.txt", "\xEF\xBB\xBF" + std::regex_replace(spaced, std::regex("\n"), " \r\n\r\n"));
  EXPECT_EQ(run("track - --frame 640x480 -o - <foreign.txt"), tracks);
  EXPECT_EQ(run("track det.txt --frame 640x480 --filter kalman -o -"), tracks);
  EXPECT_NE(run("track det.txt --frame 640x480 --filter one-euro -o -"), tracks);
}

TEST_F(Tracks, FramesWithoutLinesAreFramesWithoutDetections) {
  write("det.txt",
        "1,-1,100,50,40,80,1\n2,-1,100,50,40,80,1\n3,-1,100,50,40,80,1\n6,-1,100,50,40,80,1\n");
  const struct {
    const char* options;
    std::vector<std::int64_t> frames;  // that the track is reported in
    std::int64_t last_id;
  } cases[] = {
      {"", {1, 2, 3, 6}, 2},                       // no coasting: a new track after the gap
      {"--max-confidence 2", {1, 2, 3, 4, 6}, 2},  // lives on for one frame, not for two
      {"--max-confidence 3", {1, 2, 3, 4, 5, 6}, 1},
      {"--max-confidence 2 --lost-threshold -1", {1, 2, 3, 4, 6}, 1},  // the second one unreported
      {"--filter one-euro --max-confidence 3", {1, 2, 3, 4, 5, 6}, 1},
  };
  for (const auto& c : cases) {
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

  // Gaps that no track can outlive are passed over.
  write("det.txt", "1,-1,100,50,40,80,1\n2000000000,-1,100,50,40,80,1\n");
  run("track det.txt --frame 640x480 --max-confidence 3 --lost-threshold -3 -o out.txt");
  EXPECT_EQ(read("out.txt"),
            "1,1,100.000,50.000,40.000,80.000,1,-1,-1,-1\n"
            "2000000000,2,100.000,50.000,40.000,80.000,1,-1,-1,-1\n");

  // No boxes give no tracks; and what was tracked before a fault stays.
  write("none.txt", "\r\n");
  run("track none.txt --frame 640x480 -o out.txt");
  EXPECT_EQ(read("out.txt"), "");
  write("det.txt", "1,-1,100,50,40,80,1\n2,-1,100,50,40,80,1\n");
  const std::string fault =
      tool("track det.txt --frame 640x480 --process-noise 0 --measurement-noise 0 -o out.txt").err;
  EXPECT_TRUE(
      tn_test::isOneLineWith(fault, "they make the filter singular: in frame 2 the box of track 1"));
  EXPECT_EQ(read("out.txt"), "1,1,100.000,50.000,40.000,80.000,1,-1,-1,-1\n");
}

double seconds = 0.0;

// At the rate given, gaps included: the same as driving the library by hand.
TEST(FrameTracker, OneEuroClockFollowsTheFrameNumbers) {
  const Tarn::TarnBoundingBoxesTrackerParams before = Tarn::getTrackerParams();
  TrackerOptions options;
  options.filter = Filter::kOneEuro;
  options.fps = 8.0f;
  options.params.maxConfidence = 20;
  applyTrackerParams(options, 25.0f);
  const auto tracker = makeFrameTracker(options.filter, 640, 480);
  Tarn::TarnIdentifiedBoxesTracker<Tarn::TarnOneEuroFilterBoxTracker2D> by_hand(640, 480);
  std::vector<float> got, expected;
  for (std::vector<float>* values : {&got, &expected}) {
    for (const std::int64_t frame : {1, 2, 3, 4, 5, 8, 9, 20, 21}) {
      seconds = static_cast<double>(frame) / 8.0;
      const float x = 0.1f + 0.01f * static_cast<float>(frame * frame % 23);
      const std::vector<Tarn::TarnBoundingBox2D> found = {{x, 0.1f, 0.1f, 0.2f, 0.5f, 0}};
      for (const auto& box : values == &got ? tracker->track(frame, found) : by_hand.track(found))
        values->insert(values->end(), {static_cast<float>(box.id), box.x, box.y, box.w, box.h});
    }
    Tarn::setTrackerClock([] { return seconds; });
  }
  Tarn::setTrackerClock(nullptr);
  Tarn::setTrackerParams(before);
  EXPECT_FALSE(expected.empty());
  EXPECT_EQ(got, expected);
}

// "7@0,8@300;7@5": identity 7 at column 0 and 8 at 300 in frame 1, 7 at 5 in frame 2. Boxes have 100 x
// 100 pixels; moved by 50 across, two share a third of their union.
MotFrames framesOf(const std::string& text) {
  MotFrames frames;
  std::istringstream in(text);
  std::int64_t number = 1, id = 0;
  double left = 0.0;
  for (char mark = ','; in >> id >> mark >> left; number += mark == ';' ? 1 : 0) {
    frames[number].push_back({id, left, 0.0, 100.0, 100.0, 1.0});
    in >> mark;
  }
  return frames;
}

TEST(TrackScore, CountsMatchesAndSwitches) {
  static const struct {
    const char *name, *tracks, *truth;
    std::int64_t matches, switches;
    double recall, precision;
  } cases[] = {
      {"nothing", "", "", 0, 0, 1.0, 1.0},
      {"nothing found", "", "1@0", 0, 0, 0.0, 1.0},
      {"nothing there", "1@0", "", 0, 0, 1.0, 0.0},
      {"missed and invented", "1@500", "1@0;1@0", 0, 0, 0.0, 0.0},
      {"too far off", "7@40", "1@0", 0, 0, 0.0, 0.0},
      {"one box serves one object", "7@5", "1@0,2@10", 1, 0, 0.5, 1.0},
      {"the nearer box first", "7@30,8@1", "1@0,2@31", 2, 0, 1.0, 1.0},
      {"a new identity", "7@0;8@0;8@0", "1@0;1@0;1@0", 3, 1, 1.0, 1.0},
      {"a new identity after a gap", "7@0;9@900;8@0", "1@0;1@0;1@0", 2, 1, 2.0 / 3.0, 2.0 / 3.0},
      {"two objects swap tracks", "7@0,8@300;8@0,7@300", "1@0,2@300;1@0,2@300", 4, 2, 1.0, 1.0},
      // The second track lies nearer in frame 2, but the first still fits.
      {"a pair stays a pair", "7@0;7@20,8@0", "1@0;1@0", 2, 0, 1.0, 2.0 / 3.0},
      {"and after a gap", "7@0;9@900;8@0,7@20", "1@0;2@0;1@0", 2, 0, 2.0 / 3.0, 0.5},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const TrackScore score = scoreTracks(framesOf(c.tracks), framesOf(c.truth), 0.5);
    EXPECT_EQ(score.matches, c.matches);
    EXPECT_EQ(score.identity_switches, c.switches);
    EXPECT_DOUBLE_EQ(score.recall(), c.recall);
    EXPECT_DOUBLE_EQ(score.precision(), c.precision);
  }
}

TEST_F(Tracks, TheirScoreIsPrinted) {
  // Half of the union, 95 % of it, a common edge; a frame of each file's own.
  write("truth.txt",
        "1,1,0,0,10,20,1\n2,1,0,0,10,39,1\n2,2,50,0,10,10,1\n3,2,50,0,10,10,1\n4,2,60,0,10,10,1\n");
  write("tracks.txt", "1,4,0,0,10,10,1\n2,5,0,1,10,39,1\n4,5,50,0,10,10,1\n5,5,1,0,10,10,1\n");
  EXPECT_EQ(run("score tracks.txt truth.txt"),
            "truth              5 boxes of 2 objects in 5 frames\n"
            "tracks             4 boxes of 2 tracks\n"
            "recall             0.4000\n"
            "precision          0.5000\n"
            "identity switches  1\n");
  for (const char* recall : {"0 recall 0.4000", "0.9 recall 0.2000", "1 recall 0.0000"}) {
    const std::string wanted = recall, overlap = wanted.substr(0, wanted.find(' '));
    const std::string got = run("score tracks.txt - --overlap " + overlap + " <truth.txt");
    EXPECT_NE(got.find("recall             " + wanted.substr(wanted.size() - 6)), std::string::npos)
        << got;
  }
}

}  // namespace
