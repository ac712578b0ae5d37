// Rectangles cut out of planar and packed images: copies of rows.

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "tn_cv.h"

namespace TarnCPU {

void TN_CV::cut_sub_img_inchw_outchw(const float* src, int src_w, int src_h, float* dst, int w, int h,
                                     int x0, int y0, int c) {
  if (c < 1 || w < 1 || h < 1) return;
  const std::ptrdiff_t stride = src_w, plane = stride * src_h;
  const std::size_t row_bytes = static_cast<std::size_t>(w) * sizeof(float);
  for (int k = 0; k < c; ++k) {
    const float* from = src + k * plane + y0 * stride + x0;
    for (int row = 0; row < h; ++row, from += stride, dst += w) std::memcpy(dst, from, row_bytes);
  }
}

void TN_CV::cut_sub_img_inhwc_outhwc(const unsigned char* src, int src_w, int /*src_h*/,
                                     unsigned char* dst, int w, int h, int x0, int y0, int c) {
  if (c < 1 || w < 1 || h < 1) return;
  // By contract the start wraps at 32 bits; unsigned arithmetic may wrap.
  const auto bits = [](int value) { return static_cast<std::uint32_t>(value); };
  const std::int32_t start = static_cast<std::int32_t>((bits(src_w) * bits(y0) + bits(x0)) * bits(c));
  const std::ptrdiff_t stride = std::ptrdiff_t{src_w} * c, row_bytes = std::ptrdiff_t{w} * c;
  const unsigned char* from = src + start;
  for (int row = 0; row < h; ++row, from += stride, dst += row_bytes)
    std::memcpy(dst, from, static_cast<std::size_t>(row_bytes));
}

}  // namespace TarnCPU
