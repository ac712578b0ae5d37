// A picture in memory, in the layouts that the library's kernels take and give.
#ifndef TN_KITS_APPS_PICTURES_PICTURE_H_
#define TN_KITS_APPS_PICTURES_PICTURE_H_

#include <cstddef>
#include <cstdint>
#include <vector>

#include "tn_extents.h"

namespace tarnkit {

// A pixel is 1, 3 or 4 packed bytes; kPlanar has an R, a G and a B plane one after the other.
enum class PixelLayout { kGray, kRgb, kRgba, kPlanar };

// No side of a picture is longer: with 4 bytes a pixel, all offsets then fit the kernels' 32 bits.
constexpr int kLargestPictureSide = 16384;

struct Picture {
  int width = 0, height = 0;
  PixelLayout layout = PixelLayout::kRgb;
  std::vector<std::uint8_t> bytes;

  int pixels() const { return width * height; }
};

// Bytes of width * height pixels that are `bytes_a_pixel` long.
inline std::size_t byteCount(int width, int height, int bytes_a_pixel) {
  return Tarn::pictureExtent(width, height, bytes_a_pixel).end();
}

}  // namespace tarnkit

#endif  // TN_KITS_APPS_PICTURES_PICTURE_H_
