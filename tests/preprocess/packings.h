// How each format lies in memory, said by letters.
#ifndef TN_KITS_TESTS_PREPROCESS_PACKINGS_H_
#define TN_KITS_TESTS_PREPROCESS_PACKINGS_H_

#include <cstddef>
#include <string>
#include <vector>

#include "tn_preprocess.h"

namespace tn_test {

// The samples of a group of pixels in memory order, for each plane. x: not used.
struct Packing {
  Tarn::FrameFormat format;
  std::vector<std::string> planes;
  int halved_across, halved_down;  // of chroma
  int bits;
  int shift;
};

inline const std::vector<Packing>& allPackings() {
  using F = Tarn::FrameFormat;
  static const std::vector<Packing> packings = {
      {F::kNv12, {"y", "uv"}, 1, 1, 8, 0},
      {F::kNv21, {"y", "vu"}, 1, 1, 8, 0},
      {F::kI420, {"y", "u", "v"}, 1, 1, 8, 0},
      {F::kYv12, {"y", "v", "u"}, 1, 1, 8, 0},
      {F::kI422, {"y", "u", "v"}, 1, 0, 8, 0},
      {F::kI444, {"y", "u", "v"}, 0, 0, 8, 0},
      {F::kI010, {"y", "u", "v"}, 1, 1, 10, 0},
      {F::kP010, {"y", "uv"}, 1, 1, 10, 6},
      {F::kYuyv, {"yuyv"}, 1, 0, 8, 0},
      {F::kUyvy, {"uyvy"}, 1, 0, 8, 0},
      {F::kRgb, {"rgb"}, 0, 0, 8, 0},
      {F::kBgr, {"bgr"}, 0, 0, 8, 0},
      {F::kRgba, {"rgbx"}, 0, 0, 8, 0},
      {F::kBgra, {"bgrx"}, 0, 0, 8, 0},
      {F::kGray, {"y"}, 0, 0, 8, 0},
  };
  return packings;
}
inline const Packing& packingOf(Tarn::FrameFormat format) {
  return allPackings()[static_cast<std::size_t>(format)];
}
inline bool isYuv(Tarn::FrameFormat format) { return format < Tarn::FrameFormat::kRgb; }

struct PlaneShape {
  int groups, rows;
  std::size_t row_bytes;
};
inline PlaneShape planeShape(const Packing& packing, std::size_t plane, int width, int height) {
  const std::string& group = packing.planes[plane];
  const bool chroma = plane > 0, pair = group.size() == 4 && group.find('y') != std::string::npos;
  const int groups = pair || (chroma && packing.halved_across) ? (width + 1) / 2 : width;
  const int rows = chroma && packing.halved_down ? (height + 1) / 2 : height;
  return {groups, rows, static_cast<std::size_t>(groups) * group.size() * (packing.bits > 8 ? 2u : 1u)};
}

}  // namespace tn_test

#endif  // TN_KITS_TESTS_PREPROCESS_PACKINGS_H_
