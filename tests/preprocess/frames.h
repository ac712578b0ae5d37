// Frames for the tests of preprocessing: samples packed into each format, in memory of the exact size.
#ifndef TN_KITS_TESTS_PREPROCESS_FRAMES_H_
#define TN_KITS_TESTS_PREPROCESS_FRAMES_H_

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "tests/preprocess/packings.h"
#include "tests/support/test_support.h"

namespace tn_test {

// Numbers that are the same everywhere.
class Random {
 public:
  explicit Random(std::uint32_t seed) : engine_(seed) {}
  std::uint32_t bits() { return static_cast<std::uint32_t>(engine_()); }
  // Both ends included.
  int between(int low, int high) {
    return low + static_cast<int>(bits() % (static_cast<std::uint32_t>(high - low) + 1));
  }
  template <class Enum>
  Enum oneOf(Enum last) {
    return static_cast<Enum>(between(0, static_cast<int>(last)));
  }

 private:
  std::mt19937 engine_;
};

// A frame, its memory, and its samples as planes of their own: Y, U, V or R, G, B, or Y alone.
struct TestFrame {
  Tarn::FrameView view;
  std::vector<Guarded> memory;
  std::vector<int> samples[3];
  int columns[3] = {0, 0, 0};

  int sample(int k, int x, int y) const {
    return samples[k][static_cast<std::size_t>(y) * static_cast<std::size_t>(columns[k]) +
                      static_cast<std::size_t>(x)];
  }
};

// A sample by its component and place.
using Content = std::function<int(int k, int x, int y)>;

// padding: bytes after each row but the last one of the memory.
inline TestFrame makeFrame(Tarn::FrameFormat format, int width, int height, const Content& content,
                           int padding = 0, bool bottom_up = false) {
  const Packing& packing = packingOf(format);
  TestFrame frame;
  frame.view.format = format;
  frame.view.width = width;
  frame.view.height = height;
  for (int k = 0; k < (format == Tarn::FrameFormat::kGray ? 1 : 3); ++k) {
    const bool chroma = isYuv(format) && k > 0;
    frame.columns[k] = chroma && packing.halved_across ? (width + 1) / 2 : width;
    const int rows = chroma && packing.halved_down ? (height + 1) / 2 : height;
    for (int y = 0; y < rows; ++y)
      for (int x = 0; x < frame.columns[k]; ++x) frame.samples[k].push_back(content(k, x, y));
  }
  for (std::size_t plane = 0; plane < packing.planes.size(); ++plane) {
    const std::string& group = packing.planes[plane];
    const int size = static_cast<int>(group.size()), word = packing.bits > 8 ? 2 : 1;
    const PlaneShape shape = planeShape(packing, plane, width, height);
    const std::ptrdiff_t stride = static_cast<std::ptrdiff_t>(shape.row_bytes) + padding;
    frame.memory.emplace_back(
        static_cast<std::size_t>(stride) * static_cast<std::size_t>(shape.rows - 1) + shape.row_bytes,
        std::uint8_t{0x5B});
    std::uint8_t* const first = frame.memory.back().data() + (bottom_up ? stride * (shape.rows - 1) : 0);
    frame.view.planes[plane] = first;
    frame.view.strides[plane] = bottom_up ? -stride : stride;
    frame.view.bytes[plane] = frame.memory.back().size();
    for (int row = 0; row < shape.rows; ++row)
      for (int i = 0; i < shape.groups * size; ++i) {
        const char letter = group[static_cast<std::size_t>(i % size)];
        const int k = letter == 'u' || letter == 'g' ? 1 : letter == 'v' || letter == 'b' ? 2 : 0;
        // YUYV and UYVY have two of luma.
        const int x = size == 4 && letter == 'y' ? i / 2 : i / size;
        if (letter == 'x' || x >= frame.columns[k]) continue;
        const int bits = frame.sample(k, x, row) << packing.shift;
        std::uint8_t* const at = first + row * frame.view.strides[plane] + std::ptrdiff_t{i} * word;
        at[0] = static_cast<std::uint8_t>(bits);
        if (word == 2) at[1] = static_cast<std::uint8_t>(bits >> 8);
      }
  }
  return frame;
}

inline TestFrame randomFrame(Tarn::FrameFormat format, int width, int height, std::uint32_t seed,
                             int padding = 0, bool bottom_up = false) {
  Random random(seed);
  const int shift = 32 - packingOf(format).bits;
  return makeFrame(
      format, width, height, [&](int, int, int) { return static_cast<int>(random.bits() >> shift); },
      padding, bottom_up);
}

// Where a pixel of the upright picture is in a stored one of that size.
inline std::pair<int, int> storedPixel(int exif, int w, int h, int x, int y) {
  const std::pair<int, int> at[] = {{x, y}, {w - 1 - x, y}, {w - 1 - x, h - 1 - y}, {x, h - 1 - y},
                                    {y, x}, {y, h - 1 - x}, {w - 1 - y, h - 1 - x}, {w - 1 - y, x}};
  return at[exif - 1];
}

// The element types' bytes for one tensor of a spec, 8 bits and pixel by pixel: what other libraries
// give.
inline Tarn::TensorSpec byteSpec(int width, int height, Tarn::Resampling resampling) {
  Tarn::TensorSpec spec;
  spec.width = width;
  spec.height = height;
  spec.type = Tarn::ElementType::kUint8;
  spec.layout = Tarn::TensorLayout::kNhwc;
  spec.fit = Tarn::Fit::kStretch;
  spec.resampling = resampling;
  return spec;
}

}  // namespace tn_test

#endif  // TN_KITS_TESTS_PREPROCESS_FRAMES_H_
