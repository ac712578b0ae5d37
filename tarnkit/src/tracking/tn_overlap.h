// How much two boxes overlap: the measure by which detections are matched to tracks.
#ifndef TN_KITS_TRACKING_TN_OVERLAP_H_
#define TN_KITS_TRACKING_TN_OVERLAP_H_

namespace Tarn {

// Overlap of boxes a and b, each four consecutive floats x, y, w, h. `format` says what they mean:
//   "ltwh"    x, y are the left and top edges
//   "cxcywh"  x, y are the centre
// Any other string gives 0, and the boxes are not read.
//
// Intersection over union, except that 1 is returned when along both axes one box's extent lies within
// the other's (edges may coincide): a detection that shrinks or grows around a track still matches it,
// whatever the ratio of the sizes. That includes a box that is wider than the other and lower.
//
// The arithmetic is single precision in a fixed order, and nothing is checked: empty boxes that are
// apart give 0 / 0, and boxes that cannot be compared along either axis because of NaNs give 1.
//
// This is the definition. The multi-box tracker computes the same values for many pairs at once with
// tn_overlap_cpu_x86.h.
float computeIoU(const float* a, const float* b, const char* format);

}  // namespace Tarn

#endif  // TN_KITS_TRACKING_TN_OVERLAP_H_
