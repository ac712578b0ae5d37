// How well tracks agree with the truth.
#ifndef TN_KITS_APPS_SCORING_TRACK_SCORE_H_
#define TN_KITS_APPS_SCORING_TRACK_SCORE_H_

#include <cstdint>
#include <string>

#include "apps/detections/mot_text.h"

namespace tarnkit {

struct TrackScore {
  std::int64_t frames = 0;                   // with a box in either
  std::int64_t true_boxes = 0, objects = 0;  // the truth's boxes and identities
  std::int64_t track_boxes = 0, tracks = 0;  // the same of the tracks
  std::int64_t matches = 0;                  // boxes of the truth that a track's box covers
  std::int64_t identity_switches = 0;        // matches by another track than the object's last one

  // Shares of the truth's and of the tracks' boxes that are matched; 1 where there are none.
  double recall() const;
  double precision() const;
  std::string table() const;
};

// In each frame boxes are paired one to one, those that overlap by at least `least_overlap` of their
// union: first each object with the track that it had last, so that two boxes on one object do not take
// turns, then whatever is left, the greatest overlap first. Both must not have an identity twice in a
// frame (requireDistinctIds).
TrackScore scoreTracks(const MotFrames& tracks, const MotFrames& truth, double least_overlap);

// Throws Failure naming file and frame if an identity comes twice in a frame.
void requireDistinctIds(const std::string& file, const MotFrames& frames);

}  // namespace tarnkit

#endif  // TN_KITS_APPS_SCORING_TRACK_SCORE_H_
