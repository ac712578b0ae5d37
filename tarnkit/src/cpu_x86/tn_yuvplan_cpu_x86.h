// What TarnYUVToolKit plans for a pair of frame sizes, one axis at a time. The toolkit's tables by pixel
// hold 24 bytes for each output pixel, twice as much as the tensor; these few kilobytes stay in the
// first cache.
#ifndef TN_KITS_CPU_X86_TN_YUVPLAN_CPU_X86_H_
#define TN_KITS_CPU_X86_TN_YUVPLAN_CPU_X86_H_

#include <cstddef>
#include <cstdint>

#include "tarnkit/src/cpu_x86/tn_wordfetch_cpu_x86.h"

namespace Tarn {

struct YuvPlanSizes {
  int src_width, src_height, dst_width, dst_height;
};

// Sample positions along one axis: output i takes samples index[i] and index[i] + 1 with weights f0[i]
// and f1[i]. The padding repeats the last output.
struct YuvAxis {
  std::size_t count;
  std::int64_t* index;
  float *f0, *f1;
  bool on_samples;  // every output falls on a sample: f0 is 1 and f1 is 0 throughout
  bool identity;    // and it is the sample of the output's own number
  bool uniform;     // every output has the same f0 and the same f1
};

struct YuvFetch : WordFetch {
  std::uint8_t* copies[2];  // scratch for source rows of which its loads pass the frame's end
};

// Lives in memory of its owner, which just frees it: nothing in it has a destructor.
struct YuvPlan {
  // Bytes that a plan and its arrays take.
  static std::size_t bytesFor(const YuvPlanSizes& sizes);
  // A plan at `memory`, which is a multiple of TarnCPU::kArrayAlignment and holds bytesFor(sizes) zeroed
  // bytes.
  static YuvPlan& makeAt(void* memory, const YuvPlanSizes& sizes);

  YuvAxis x, y;           // of luma; chroma takes the first halves
  YuvFetch luma, chroma;  // of luma bytes and of chroma pairs
  bool same_size;

  // Scratch for the frame that is being converted.
  float* luma_out[2];    // a pair of output rows
  float* chroma_out[2];  // a row of C1 and of C2, every value twice
};

// A plane of the frame that is being converted.
struct YuvPlane {
  const std::uint8_t* data;
  std::size_t step;          // bytes of a sample: 1, or 2 for a pair of chroma
  std::size_t pitch;         // bytes from row to row
  std::size_t bytes;         // that can be read from `data` on: luma goes on with chroma
  const std::uint8_t* last;  // sample that stands for those behind; null stands for zeros
};

// Three float planes.
struct YuvTensor {
  float* data;
  std::size_t pitch, plane;  // floats from row to row and from channel to channel
  bool beyond_caches;        // larger than what these hold
};

}  // namespace Tarn

#endif  // TN_KITS_CPU_X86_TN_YUVPLAN_CPU_X86_H_
