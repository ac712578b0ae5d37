// The text format of the MOTChallenge benchmarks: one box a line,
//   frame, id, left, top, width, height, score, ...
// frames counted from 1, boxes in pixels of the frame. What follows the score is not interpreted.
#ifndef TN_KITS_APPS_DETECTIONS_MOT_TEXT_H_
#define TN_KITS_APPS_DETECTIONS_MOT_TEXT_H_

#include <cstdint>
#include <iosfwd>
#include <map>
#include <string>
#include <vector>

#include "tn_boxtracker.h"

namespace tarnkit {

// A box in pixels. id is -1 where none is known, as in a detector's file.
struct MotBox {
  std::int64_t id;
  double left, top, width, height, score;
};

// Frame number to its boxes, in the order of the lines. Frames without a line are absent.
using MotFrames = std::map<std::int64_t, std::vector<MotBox>>;

// Reads a file, "-" for standard input. Lines may come in any order; blank lines, carriage returns and
// a byte order mark are passed over. Throws Failure naming file, line and field for a line with fewer
// than seven fields, a field that is no number, a frame below 1, a width or height not above 0, a
// coordinate of more than a million pixels, or a line of more than 65,536 characters.
MotFrames readMotFrames(const std::string& path);
// The same from a stream, which faults call `name`.
MotFrames readMotFrames(std::istream& in, const std::string& name);

// One line of such a file, line break included, the same on every machine and in every locale:
// coordinates with three decimals, the score as short as it can be read back, -1 in the last three
// fields.
std::string motLine(std::int64_t frame, const MotBox& box);
// The lines of all boxes of a frame.
std::string motLines(std::int64_t frame, const std::vector<MotBox>& boxes);

// Between pixels and the fractions of the frame that the trackers work on.
std::vector<Tarn::TarnBoundingBox2D> toFractions(const std::vector<MotBox>& boxes, int frame_width,
                                                 int frame_height);
std::vector<MotBox> toPixels(const std::vector<Tarn::TarnIdentifiedBox>& boxes, int frame_width,
                             int frame_height);

}  // namespace tarnkit

#endif  // TN_KITS_APPS_DETECTIONS_MOT_TEXT_H_
