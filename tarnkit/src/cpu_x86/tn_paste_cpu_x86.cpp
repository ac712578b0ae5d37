// A small planar tensor in the middle of a larger one.
#include <cstddef>
#include <cstring>

#include "tn_cnn.h"
#include "tn_cv.h"

namespace TarnCPU {

void TN_CV::cover_mid_img_with_littleImg_inMat_outFloatPointer(float* dst, int dst_width, int dst_height,
                                                               Mat little) {
  // Sizes may be negative, even in views with data: empty() covers that.
  if (little.empty()) return;
  const std::ptrdiff_t x0 = (dst_width - little.w) / 2, y0 = (dst_height - little.h) / 2;
  const std::ptrdiff_t dst_plane = static_cast<std::ptrdiff_t>(dst_width) * dst_height;
  const std::size_t row = static_cast<std::size_t>(little.w) * sizeof(float);
  for (int c = 0; c < little.c; ++c) {
    const Mat plane = little.channel(c);
    for (int y = 0; y < little.h; ++y)
      std::memcpy(dst + c * dst_plane + (y0 + y) * dst_width + x0, plane.row(y), row);
  }
}

}  // namespace TarnCPU
