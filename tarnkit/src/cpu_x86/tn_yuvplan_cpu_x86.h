// What TarnYUVToolKit plans for a pair of frame sizes, one axis at a time. The toolkit's tables by pixel
// hold 24 bytes for each output pixel, twice as much as the tensor; these few kilobytes stay in the
// first cache.
#ifndef TN_KITS_CPU_X86_TN_YUVPLAN_CPU_X86_H_
#define TN_KITS_CPU_X86_TN_YUVPLAN_CPU_X86_H_

#include <cstddef>
#include <cstdint>

#include "common/tn_windows.h"

namespace Tarn {

// Floats in the widest vector: arrays along x are padded to a multiple of it.
constexpr std::size_t kYuvMaxLanes = 16;
// A plan and each of its arrays start at a cache line: the widest loads fill a line, and every one
// across two lines costs double.
constexpr std::size_t kYuvLine = 64;

constexpr std::size_t yuvPadded(std::size_t count) {
  return (count + kYuvMaxLanes - 1) / kYuvMaxLanes * kYuvMaxLanes;
}

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

enum class YuvFetchMode {
  kOneWindow,   // four outputs from one window of 16 bytes (common/tn_windows.h)
  kTwoWindows,  // two outputs from a window
  kSpans,       // as below, or kTwoWindows where vectors are shorter than 64 bytes
  kWords,       // each output by a load of its own: they are too far apart
};

// How the outputs of a row fetch their bytes: each a 32-bit word whose lowest byte is the one at the
// output's position, followed by as many as the job needs.
struct YuvFetch {
  YuvFetchMode mode;
  std::size_t count;
  std::int32_t* word;             // for each output, the first byte of its word
  TarnCPU::WindowTables windows;  // in BlockLayout
  std::size_t blocks;             // of four outputs, for that layout
  // Spans serve kYuvMaxLanes outputs whose words lie within two vectors of 64 bytes from the first one's
  // on, none of them across 32 bits as counted from there, as with even whole scales.
  std::int32_t *lane, *shift;  // for each output, the 32 bits with its word, and its lowest bit
  std::size_t reach;           // bytes from the row's start that any of these loads may touch
  std::uint8_t* copies[2];     // scratch for source rows of which these loads pass the frame's end
};

// Lives in memory of its owner, which just frees it: nothing in it has a destructor.
struct YuvPlan {
  // Bytes that a plan and its arrays take.
  static std::size_t bytesFor(const YuvPlanSizes& sizes);
  // A plan at `memory`, which is a multiple of kYuvLine and holds bytesFor(sizes) zeroed bytes.
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
