// tarnkit track: detections in a text file to tracks in a text file.
#include <cstdint>
#include <limits>
#include <memory>
#include <string>

#include "apps/commands/command.h"
#include "apps/commands/options.h"
#include "apps/detections/mot_text.h"
#include "apps/output/output_file.h"
#include "apps/support/failure.h"
#include "apps/support/input_file.h"
#include "apps/support/interrupt.h"
#include "apps/tracking/frame_tracker.h"

namespace tarnkit {
namespace {

constexpr int kLargestFrame = 65535;
// Eleven hours at 25 frames a second. A longer gap is rather a wrong frame number.
constexpr std::int64_t kLongestGap = 1000000;

struct TrackOptions {
  std::string detections, tracks;
  Size frame;
  TrackerOptions tracker;
};

// After this many frames without a detection no track is left, so that the rest of a gap may be
// passed over; a threshold below every confidence keeps tracks for ever.
std::int64_t longestLifeUnseen(const Tarn::TarnBoundingBoxesTrackerParams& params) {
  const std::int64_t most = params.maxConfidence, lost = params.lostThreshold;
  return lost < -most ? std::numeric_limits<std::int64_t>::max() : most - lost;
}

// Throws Failure for a gap that tracks outlive and that would take hours to follow them through.
void requireShortGaps(const std::string& file, const MotFrames& frames, std::int64_t longest_life) {
  if (frames.empty() || longest_life <= kLongestGap) return;
  std::int64_t previous = frames.begin()->first;
  for (const auto& [number, boxes] : frames) {
    if (number - previous > kLongestGap)
      throw Failure(inputName(file), "no boxes between frames " + std::to_string(previous) + " and " +
                                         std::to_string(number) +
                                         ": tracks that live that long unseen " +
                                         "(--lost-threshold) are followed through " +
                                         std::to_string(kLongestGap) + " frames at most");
    previous = number;
  }
}

int track(const TrackOptions& options) {
  requireSize("--frame", options.frame, kLargestFrame, Sides::kAny);
  applyTrackerParams(options.tracker);
  requireDistinctFiles({options.detections}, {options.tracks});
  const MotFrames frames = readMotFrames(options.detections);
  const std::int64_t longest_gap = longestLifeUnseen(options.tracker.params);
  requireShortGaps(options.detections, frames, longest_gap);

  catchInterrupts();
  OutputFile out(options.tracks);
  const std::unique_ptr<FrameTracker> tracker =
      makeFrameTracker(options.tracker.filter, options.frame.width, options.frame.height);

  const auto track_frame = [&](std::int64_t number, const std::vector<MotBox>& boxes) {
    const auto [width, height] = options.frame;
    out.writeComplete(motLines(
        number, toPixels(tracker->track(number, toFractions(boxes, width, height)), width, height)));
  };
  std::int64_t previous = frames.empty() ? 0 : frames.begin()->first - 1;
  for (const auto& [number, boxes] : frames) {
    for (std::int64_t empty = previous + 1; empty < number && interruptSignal() == 0; ++empty) {
      if (empty - previous > longest_gap) break;
      track_frame(empty, {});
    }
    if (interruptSignal() != 0) break;
    track_frame(number, boxes);
    previous = number;
  }
  out.close();
  return exitStatus();
}

}  // namespace

void addTrackCommand(CommandLine& tool) {
  auto [options, values] = tool.add(
      "track", "Follow detected boxes from frame to frame and give each object an identity",
      "Both files are MOTChallenge text, one box a line: frame,id,left,top,width,height,score,...\n"
      "Frames count from 1 and may come in any order; a frame that is missing has no boxes. The ids of\n"
      "the detections are not used.\n\n"
      "Example: tarnkit track det.txt --frame 640x480 --max-confidence 5 -o tracks.txt",
      track);
  options
      .add("DETECTIONS", values.detections, "File of detected boxes in pixels; - reads standard input")
      .required();
  addSize(options, "--frame", values.frame, "Size of the video's frames in pixels").required();
  options.add("-o,--output", values.tracks, "File of tracks to write; - writes standard output")
      .required()
      .typeName("TRACKS");
  addTrackerOptions(options, values.tracker, "Frames a second of the video (default: 25)");
}

}  // namespace tarnkit
