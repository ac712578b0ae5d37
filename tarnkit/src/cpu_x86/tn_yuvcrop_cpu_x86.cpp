// Rectangles cut out of 4:2:0 frames without conversion.
#include <algorithm>
#include <cstdint>
#include <cstring>

#include "tn_yuvconverter.h"

namespace Tarn {
namespace {

// The part of a rectangle that lies inside the input, and where it starts in the output.
struct ClippedRect {
  std::int64_t xs, ys, ye;  // input column, first and last input row
  std::int64_t dx, dy;      // output column and row of (xs, ys)
  std::size_t len;          // bytes in a luma row: even, since chroma pairs span two columns
};

// False when nothing of the rectangle lies inside, or not one pair of columns: buffers may be null then.
bool clip(const _TN_Image& in, int x0, int y0, int x1, int y1, ClippedRect& rect) {
  const int xs = std::max(x0, 0), xe = std::min(x1, in.width - 1);
  const int ys = std::max(y0, 0), ye = std::min(y1, in.height - 1);
  if (xs > xe || ys > ye) return false;
  rect.xs = xs;
  rect.ys = ys;
  rect.ye = ye;
  rect.dx = x0 < 0 ? -std::int64_t{x0} : 0;
  rect.dy = y0 < 0 ? -std::int64_t{y0} : 0;
  rect.len = static_cast<std::size_t>(std::int64_t{xe} - xs + 1) & ~std::size_t{1};
  return rect.len > 0;
}

// Copies the luma in row pairs and calls copy_chroma(source row, output row) after each pair. The second
// row of the last pair is copied even when it lies below the rectangle: the pairs keep the chroma in
// step.
template <class CopyChroma>
void cropInPairs(const _TN_Image& in, const _TN_Image& out, const ClippedRect& rect,
                 const CopyChroma& copy_chroma) {
  const std::uint8_t* const src = static_cast<const std::uint8_t*>(in.data) + rect.xs;
  std::uint8_t* const dst = static_cast<std::uint8_t*>(out.data) + rect.dx;
  std::int64_t r = rect.dy;
  for (std::int64_t s = rect.ys; s <= rect.ye; s += 2, r += 2) {
    std::memcpy(dst + r * out.width, src + s * in.width, rect.len);
    std::memcpy(dst + (r + 1) * out.width, src + (s + 1) * in.width, rect.len);
    copy_chroma(s, r);
  }
}

std::int64_t lumaBytes(const _TN_Image& image) { return std::int64_t{image.width} * image.height; }

}  // namespace

void TarnYUVToolKit::Crop(const _TN_Image& in_, const _TN_Image& out_, const int& x0, const int& y0,
                          const int& x1, const int& y1) {
  ClippedRect rect;
  if (!clip(in_, x0, y0, x1, y1, rect)) return;
  const std::uint8_t* const src = static_cast<const std::uint8_t*>(in_.data) + lumaBytes(in_);
  std::uint8_t* const dst = static_cast<std::uint8_t*>(out_.data) + lumaBytes(out_);
  cropInPairs(in_, out_, rect, [&](std::int64_t s, std::int64_t r) {
    std::memcpy(dst + (r >> 1) * out_.width + rect.dx, src + (s >> 1) * in_.width + rect.xs, rect.len);
  });
}

void TarnYUVToolKit::Crop_YUVI420(const _TN_Image& in_, const _TN_Image& out_, const int& x0,
                                  const int& y0, const int& x1, const int& y1) {
  ClippedRect rect;
  if (!clip(in_, x0, y0, x1, y1, rect)) return;
  const std::uint8_t* const src_u = static_cast<const std::uint8_t*>(in_.data) + lumaBytes(in_);
  std::uint8_t* const dst_u = static_cast<std::uint8_t*>(out_.data) + lumaBytes(out_);
  const std::uint8_t* const src_v = src_u + lumaBytes(in_) / 4;
  std::uint8_t* const dst_v = dst_u + lumaBytes(out_) / 4;
  cropInPairs(in_, out_, rect, [&](std::int64_t s, std::int64_t r) {
    // Halved after the row arithmetic: for odd widths the rows of a plane are not all equally long.
    const std::int64_t q = ((s >> 1) * in_.width + rect.xs) >> 1;
    const std::int64_t p = ((r >> 1) * out_.width + rect.dx) >> 1;
    std::memcpy(dst_u + p, src_u + q, rect.len / 2);
    std::memcpy(dst_v + p, src_v + q, rect.len / 2);
  });
}

}  // namespace Tarn
