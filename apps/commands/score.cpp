// tarnkit score: tracks against the truth.
#include <string>

#include "apps/commands/command.h"
#include "apps/commands/options.h"
#include "apps/detections/mot_text.h"
#include "apps/output/output_file.h"
#include "apps/scoring/track_score.h"
#include "apps/support/failure.h"
#include "apps/support/input_file.h"

namespace tarnkit {
namespace {

struct ScoreOptions {
  std::string tracks, truth;
  double overlap = 0.5;
};

int score(const ScoreOptions& options) {
  requireShare("--overlap", options.overlap);
  if (options.tracks == "-" && options.truth == "-")
    throw Failure("TRUTH", "standard input is given for both files");
  const MotFrames tracks = readMotFrames(options.tracks), truth = readMotFrames(options.truth);
  requireDistinctIds(inputName(options.tracks), tracks);
  requireDistinctIds(inputName(options.truth), truth);
  OutputFile out("-");
  out.write(scoreTracks(tracks, truth, options.overlap).table());
  out.close();
  return 0;
}

}  // namespace

void addScoreCommand(CommandLine& tool) {
  auto [options, values] = tool.add(
      "score", "Compare tracks with the truth",
      "Both files are MOTChallenge text. Recall is the share of the truth's boxes that a track's box\n"
      "matches, precision the share of the tracks' boxes that match one; an identity switch is an\n"
      "object's match by another track than the last one that matched it. Labels are not compared.\n\n"
      "Example: tarnkit score tracks.txt truth.txt",
      score);
  options.add("TRACKS", values.tracks, "File of tracks; - reads standard input").required();
  options.add("TRUTH", values.truth, "File of the true boxes; - reads standard input").required();
  options
      .add("--overlap", values.overlap,
           "Boxes match from this share of their union on that they have in common, 0 to 1")
      .showDefault();
}

}  // namespace tarnkit
