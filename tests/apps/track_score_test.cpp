// Tracks against the truth: pairs, switches, shares, and what the command prints.
#include "apps/scoring/track_score.h"

#include <gtest/gtest.h>

#include "tests/apps/tool_test_support.h"

namespace {

using namespace tarnkit;

// A box of 100 x 100 pixels; moved by 50 across, two share a third of their union.
MotBox at(std::int64_t id, double left) { return {id, left, 0.0, 100.0, 100.0, 1.0}; }

struct ScoreCase {
  const char* name;
  MotFrames tracks, truth;
  std::int64_t matches, switches;
  double recall, precision;
};

TEST(TrackScore, CountsMatchesAndSwitches) {
  const ScoreCase cases[] = {
      {"nothing", {}, {}, 0, 0, 1.0, 1.0},
      {"missed and invented", {{1, {at(1, 500)}}}, {{1, {at(1, 0)}}, {2, {at(1, 0)}}}, 0, 0, 0.0, 0.0},
      {"half is found", {{1, {at(7, 5)}}}, {{1, {at(1, 0)}}, {2, {at(1, 0)}}}, 1, 0, 0.5, 1.0},
      {"too far off", {{1, {at(7, 40)}}}, {{1, {at(1, 0)}}}, 0, 0, 0.0, 0.0},
      {"one box serves one object", {{1, {at(7, 5)}}}, {{1, {at(1, 0), at(2, 10)}}}, 1, 0, 0.5, 1.0},
      {"the nearer box first", {{1, {at(7, 30), at(8, 1)}}}, {{1, {at(1, 0), at(2, 31)}}}, 2, 0, 1, 1},
      {"a new identity",
       {{1, {at(7, 0)}}, {2, {at(8, 0)}}, {3, {at(8, 0)}}},
       {{1, {at(1, 0)}}, {2, {at(1, 0)}}, {3, {at(1, 0)}}},
       3,
       1,
       1.0,
       1.0},
      {"a new identity after a gap",
       {{1, {at(7, 0)}}, {5, {at(8, 0)}}},
       {{1, {at(1, 0)}}, {2, {at(1, 0)}}, {5, {at(1, 0)}}},
       2,
       1,
       2.0 / 3.0,
       1.0},
      {"two objects swap tracks",
       {{1, {at(7, 0), at(8, 300)}}, {2, {at(8, 0), at(7, 300)}}},
       {{1, {at(1, 0), at(2, 300)}}, {2, {at(1, 0), at(2, 300)}}},
       4,
       2,
       1.0,
       1.0},
      // The second track lies nearer in frame 2, but the first still fits.
      {"a pair stays a pair",
       {{1, {at(7, 0)}}, {2, {at(7, 20), at(8, 0)}}},
       {{1, {at(1, 0)}}, {2, {at(1, 0)}}},
       2,
       0,
       1.0,
       2.0 / 3.0},
  };
  for (const ScoreCase& c : cases) {
    SCOPED_TRACE(c.name);
    const TrackScore score = scoreTracks(c.tracks, c.truth, 0.5);
    EXPECT_EQ(score.matches, c.matches);
    EXPECT_EQ(score.identity_switches, c.switches);
    EXPECT_DOUBLE_EQ(score.recall(), c.recall);
    EXPECT_DOUBLE_EQ(score.precision(), c.precision);
  }
}

class ScoreCommand : public tn_test::ToolTest {};

TEST_F(ScoreCommand, PrintsTheScore) {
  write("truth.txt", "1,1,0,0,10,10,1\n2,1,0,0,10,10,1\n2,2,50,0,10,10,1\n");
  write("tracks.txt", "1,4,0,0,10,10,1\n2,5,1,0,10,10,1\n4,5,1,0,10,10,1\n");
  EXPECT_EQ(run("score tracks.txt truth.txt"),
            "truth              3 boxes of 2 objects in 3 frames\n"
            "tracks             3 boxes of 2 tracks\n"
            "recall             0.6667\n"
            "precision          0.6667\n"
            "identity switches  1\n");
  const std::string strict = run("score tracks.txt - --overlap 0.9 <truth.txt");
  EXPECT_NE(strict.find("recall             0.3333\n"), std::string::npos) << strict;
}

}  // namespace
