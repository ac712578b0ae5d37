// Matching of tracks with the truth, frame by frame.
#include "apps/scoring/track_score.h"

#include <algorithm>
#include <cstdio>
#include <set>
#include <tuple>
#include <vector>

#include "apps/support/failure.h"

namespace tarnkit {
namespace {

using Boxes = std::vector<MotBox>;

// Common area as a share of the union.
double overlap(const MotBox& a, const MotBox& b) {
  const double width = std::min(a.left + a.width, b.left + b.width) - std::max(a.left, b.left);
  const double height = std::min(a.top + a.height, b.top + b.height) - std::max(a.top, b.top);
  if (width <= 0.0 || height <= 0.0) return 0.0;
  const double common = width * height;
  return common / (a.width * a.height + b.width * b.height - common);
}

double share(std::int64_t part, std::int64_t whole) {
  return whole == 0 ? 1.0 : static_cast<double>(part) / static_cast<double>(whole);
}

const Boxes& boxesOf(const MotFrames& frames, std::int64_t number) {
  static const Boxes none;
  const auto found = frames.find(number);
  return found == frames.end() ? none : found->second;
}

// Which track each object had last.
using LastTracks = std::map<std::int64_t, std::int64_t>;

// Pairs the boxes of one frame.
void scoreFrame(const Boxes& tracks, const Boxes& truth, double least_overlap, LastTracks& last,
                TrackScore& score) {
  struct Pair {
    bool continues;
    double overlap;
    std::size_t object, track;
  };
  std::vector<Pair> pairs;
  for (std::size_t object = 0; object < truth.size(); ++object)
    for (std::size_t track = 0; track < tracks.size(); ++track) {
      const double common = overlap(truth[object], tracks[track]);
      if (common < least_overlap || common <= 0.0) continue;
      const auto had = last.find(truth[object].id);
      pairs.push_back({had != last.end() && had->second == tracks[track].id, common, object, track});
    }
  // Stable: of equal pairs the one that comes first in the files.
  std::stable_sort(pairs.begin(), pairs.end(), [](const Pair& a, const Pair& b) {
    return std::tie(b.continues, b.overlap) < std::tie(a.continues, a.overlap);
  });
  std::vector<bool> object_taken(truth.size()), track_taken(tracks.size());
  for (const Pair& pair : pairs) {
    if (object_taken[pair.object] || track_taken[pair.track]) continue;
    object_taken[pair.object] = track_taken[pair.track] = true;
    ++score.matches;
    const auto [had, is_first] = last.emplace(truth[pair.object].id, tracks[pair.track].id);
    if (is_first || had->second == tracks[pair.track].id) continue;
    had->second = tracks[pair.track].id;
    ++score.identity_switches;
  }
}

std::int64_t countBoxes(const MotFrames& frames, std::int64_t& identities) {
  std::int64_t count = 0;
  std::set<std::int64_t> ids;
  for (const auto& frame : frames) {
    count += static_cast<std::int64_t>(frame.second.size());
    for (const MotBox& box : frame.second) ids.insert(box.id);
  }
  identities = static_cast<std::int64_t>(ids.size());
  return count;
}

}  // namespace

double TrackScore::recall() const { return share(matches, true_boxes); }
double TrackScore::precision() const { return share(matches, track_boxes); }

std::string TrackScore::table() const {
  char text[400];
  std::snprintf(text, sizeof(text),
                "truth              %lld boxes of %lld objects in %lld frames\n"
                "tracks             %lld boxes of %lld tracks\n"
                "recall             %.4f\n"
                "precision          %.4f\n"
                "identity switches  %lld\n",
                static_cast<long long>(true_boxes), static_cast<long long>(objects),
                static_cast<long long>(frames), static_cast<long long>(track_boxes),
                static_cast<long long>(tracks), recall(), precision(),
                static_cast<long long>(identity_switches));
  return text;
}

TrackScore scoreTracks(const MotFrames& tracks, const MotFrames& truth, double least_overlap) {
  TrackScore score;
  score.true_boxes = countBoxes(truth, score.objects);
  score.track_boxes = countBoxes(tracks, score.tracks);
  std::set<std::int64_t> numbers;
  for (const auto& frame : truth) numbers.insert(frame.first);
  for (const auto& frame : tracks) numbers.insert(frame.first);
  score.frames = static_cast<std::int64_t>(numbers.size());
  LastTracks last;
  for (const std::int64_t number : numbers)
    scoreFrame(boxesOf(tracks, number), boxesOf(truth, number), least_overlap, last, score);
  return score;
}

void requireDistinctIds(const std::string& file, const MotFrames& frames) {
  for (const auto& [number, boxes] : frames) {
    std::set<std::int64_t> ids;
    for (const MotBox& box : boxes)
      if (!ids.insert(box.id).second)
        throw Failure(file, "frame " + std::to_string(number) + " has identity " +
                                std::to_string(box.id) + " twice");
  }
}

}  // namespace tarnkit
