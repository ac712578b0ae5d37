// A checked frame: what its format says of its planes, and how its axes lie to the upright picture's.
#ifndef TN_KITS_PREPROCESS_TN_FRAME_H_
#define TN_KITS_PREPROCESS_TN_FRAME_H_

#include <cstddef>
#include <cstdint>

#include "tn_preprocess.h"

namespace Tarn::preprocess {

constexpr int kMaxSide = 65536;

enum class Samples { kYuv, kRgb, kGray };

// What all frames of a format share.
struct FormatShape {
  Samples samples;
  int planes;
  int sample_bytes;        // 1, or 2 for ten bits
  int halved_x, halved_y;  // 1 where chroma has half the resolution
  int pixel_bytes[3];      // of a plane: bytes from a sample (or pair of chroma, or pixel) to the next
  int ten_bit_shift;       // P010 keeps its bits at the upper end
  bool second_first;       // V before U, or blue before red
  bool luma_second;        // UYVY
};

const FormatShape& shapeOf(FrameFormat format);

inline int halfUp(int n, int halved) { return (n + halved) >> halved; }

// Columns (of pixel_bytes each) and rows that a plane has.
struct PlaneSize {
  int columns, rows;
};
PlaneSize planeSize(const FrameView& frame, int plane);

// Errors: std::invalid_argument beginning with a field's name.
void checkFrame(const FrameView& frame);

// How the stored picture becomes upright: each of its axes is flipped or not, then the two may be
// swapped. The picture with its flips undone, but not yet swapped, is called straight.
struct Turn {
  bool swapped, flip_x, flip_y;
};
Turn turnOf(int orientation);

inline int uprightWidth(const FrameView& frame) {
  return turnOf(frame.orientation).swapped ? frame.height : frame.width;
}
inline int uprightHeight(const FrameView& frame) {
  return turnOf(frame.orientation).swapped ? frame.width : frame.height;
}

}  // namespace Tarn::preprocess

#endif  // TN_KITS_PREPROCESS_TN_FRAME_H_
