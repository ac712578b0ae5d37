// What TarnYUVToolKit knows beforehand about a pair of frame sizes, an axis at a time. The toolkit's own
// tables hold 24 bytes for each output pixel, twice as much as the tensor; these few kilobytes stay in
// the first cache.
#ifndef TN_KITS_SRC_CPU_X86_TN_YUVPLAN_CPU_X86_H_
#define TN_KITS_SRC_CPU_X86_TN_YUVPLAN_CPU_X86_H_

#include <cstddef>
#include <cstdint>
#include <new>
#include <vector>

namespace Tarn {

// Floats in the widest vector: what runs along x is padded to a multiple of it.
constexpr std::size_t kYuvMaxLanes = 16;
// Outputs that share their loads: a byte shuffle reaches over 16 bytes, which is four 32-bit words.
constexpr std::size_t kYuvGroup = 4;

// Starts vectors at cache lines: the widest loads fill a line, and every one across two lines costs
// double.
template <class T>
struct YuvLineAllocator {
  using value_type = T;
  static constexpr std::align_val_t kLine{64};
  YuvLineAllocator() = default;
  template <class U>
  explicit YuvLineAllocator(const YuvLineAllocator<U>&) {}
  T* allocate(std::size_t count) { return static_cast<T*>(::operator new(count * sizeof(T), kLine)); }
  void deallocate(T* data, std::size_t) { ::operator delete(data, kLine); }
  friend bool operator==(const YuvLineAllocator&, const YuvLineAllocator&) { return true; }
  friend bool operator!=(const YuvLineAllocator&, const YuvLineAllocator&) { return false; }
};

template <class T>
using YuvTable = std::vector<T, YuvLineAllocator<T>>;

constexpr std::size_t yuvPadded(std::size_t count) {
  return (count + kYuvMaxLanes - 1) / kYuvMaxLanes * kYuvMaxLanes;
}

// Sample positions along one axis: output i takes samples index[i] and index[i] + 1 with weights f0[i]
// and f1[i]. The padding repeats the last output.
struct YuvAxis {
  std::size_t count = 0;
  YuvTable<std::int64_t> index;
  YuvTable<float> f0, f1;
  bool on_samples = true;  // every output falls on a sample: f0 is 1 and f1 is 0 throughout
  bool identity = true;    // and it is the sample of the output's own number
  bool uniform = true;     // every output has the same f0 and the same f1
};

// How the outputs of a row fetch their bytes: each a 32-bit word whose lowest byte is the one at the
// output's position, followed by as many as the job needs.
struct YuvFetch {
  // 1 or 2: 16-byte loads for each group of outputs. 0: some group is spread too wide, and each output
  // loads its own word.
  int loads = 0;
  YuvTable<std::int32_t> offset[2];   // for each group, the first byte of each load
  YuvTable<std::uint32_t> lookup[2];  // for each output, the bytes of each load that make its word
  YuvTable<std::int32_t> word;        // for each output, the first byte of its word
  // Where every kYuvMaxLanes outputs lie within two vectors of 64 bytes from the first one's word on,
  // and none of their words lies across 32 bits as counted from there, as with even whole scales.
  bool spans = false;
  YuvTable<std::int32_t> lane, shift;  // for each output, the 32 bits with its word, and its lowest bit
  std::size_t reach = 0;               // bytes from the row's start that any of these loads may touch
};

struct YuvPlan {
  YuvPlan(int src_width, int src_height, int dst_width, int dst_height);

  YuvAxis x, y;           // of luma; chroma takes the first halves
  YuvFetch luma, chroma;  // of luma bytes and of chroma pairs
  bool same_size;

  // Scratch for the frame in work.
  YuvTable<std::uint8_t> luma_rows[2],
      chroma_rows[2];             // source rows whose loads pass the frame's end
  YuvTable<float> luma_out[2];    // a pair of output rows
  YuvTable<float> chroma_out[2];  // a row of C1 and of C2, every value twice
};

}  // namespace Tarn

#endif  // TN_KITS_SRC_CPU_X86_TN_YUVPLAN_CPU_X86_H_
