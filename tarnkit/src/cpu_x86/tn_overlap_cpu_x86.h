// Overlaps of many boxes with many others.
#ifndef TN_KITS_CPU_X86_TN_OVERLAP_CPU_X86_H_
#define TN_KITS_CPU_X86_TN_OVERLAP_CPU_X86_H_

#include <cstddef>
#include <cstdint>

namespace Tarn {

// Arrays of tracks are readable, and those of results writable, up to a multiple of this many elements.
// The values behind the last track do not matter.
constexpr std::size_t kOverlapBlock = 16;

// Boxes as one array a coordinate, which vectors can load.
struct OverlapTracks {
  std::size_t count;
  const float *left, *top;      // x, y
  const float *right, *bottom;  // x + w, y + h
  const float* area;            // w * h
};
struct OverlapDetections {
  std::size_t count;
  const float *left, *top, *width, *height;
  const float *right, *bottom, *area;
};

// For each track the first of the detections that overlap it most, if by strictly more than `threshold`:
// best[i] is the overlap and choice[i] the detection, or else `threshold` and -1. The overlap is that of
// computeIoU(track, detection, "ltwh"), with the same roundings and the same handling of NaNs.
// threshold: not negative. Exact on every CPU. Alignment: any. The results must not overlap the boxes.
void bestOverlaps(const OverlapTracks& tracks, const OverlapDetections& detections, float threshold,
                  float* best, std::int32_t* choice);

}  // namespace Tarn

#endif  // TN_KITS_CPU_X86_TN_OVERLAP_CPU_X86_H_
