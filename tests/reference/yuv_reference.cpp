#include "tests/reference/yuv_reference.h"

#include <algorithm>

namespace tn_test {
namespace {

using Tarn::_ConvertMatrixFromYUV;

void writePixel(const _ConvertMatrixFromYUV& m, float y, float c1, float c2, float* first_plane,
                std::int64_t plane) {
  first_plane[0] = m.coef[0] * y + m.coef[1] * c1 + m.coef[2] * c2 + m.offset[0];
  first_plane[plane] = m.coef[3] * y + m.coef[4] * c1 + m.coef[5] * c2 + m.offset[1];
  first_plane[2 * plane] = m.coef[6] * y + m.coef[7] * c1 + m.coef[8] * c2 + m.offset[2];
}

// Four samples of a plane, `step` bytes apart and rows of `pitch` bytes; tap(i) is byte i of the plane.
template <class Tap>
float bilinear(const Tap& tap, std::int64_t pitch, int step, const YuvPosition& x, const YuvPosition& y,
               int byte) {
  const float w0 = x.f0 * y.f0, w1 = x.f1 * y.f0, w2 = y.f1 * x.f0, w3 = y.f1 * x.f1;
  const std::int64_t top = pitch * y.i0 + std::int64_t{step} * x.i0 + byte, bottom = top + pitch;
  return tap(top) * w0 + tap(top + step) * w1 + tap(bottom) * w2 + tap(bottom + step) * w3;
}

}  // namespace

YuvPosition::YuvPosition(int i, float scale) {
  const float p = static_cast<float>((i + 0.5) * static_cast<double>(scale) - 0.5);
  i0 = static_cast<int>(p);
  f0 = static_cast<float>(i0 + 1) - p;
  f1 = p - static_cast<float>(i0);
}

void referenceConvert(const std::uint8_t* frame, const YuvSizes& s, const _ConvertMatrixFromYUV& mat,
                      float* tensor) {
  const float sx = static_cast<float>(s.src_w) / static_cast<float>(s.dst_w);
  const float sy = static_cast<float>(s.src_h) / static_cast<float>(s.dst_h);
  const std::int64_t luma_bytes = s.lumaBytes(), all_bytes = s.frameBytes();

  const auto luma = [&](std::int64_t i) -> float {
    if (i >= all_bytes) i = luma_bytes - 1;  // the last luma byte; with a picture there is one
    return frame[i];
  };
  const auto chroma = [&](std::int64_t i) -> float {
    if (all_bytes == luma_bytes) return 0;
    i += luma_bytes;
    while (i >= all_bytes) i -= 2;  // to the last pair, same place in it
    return frame[i];
  };
  for (int y = 0; y < s.dst_h / 2 * 2; ++y)
    for (int x = 0; x < s.dst_w / 2 * 2; ++x) {
      const YuvPosition px(x, sx), py(y, sy), cx(x / 2, sx), cy(y / 2, sy);
      const float value = bilinear(luma, s.src_w, 1, px, py, 0);
      const float c1 = bilinear(chroma, 2 * s.src_uv_w, 2, cx, cy, 0);
      const float c2 = bilinear(chroma, 2 * s.src_uv_w, 2, cx, cy, 1);
      writePixel(mat, value, c1, c2, tensor + y * s.dst_w + x, std::int64_t{s.dst_w} * s.dst_h);
    }
}

void referenceConvertSameSize(const std::uint8_t* frame, int w, int h, const _ConvertMatrixFromYUV& mat,
                              float* tensor, int out_w, int out_h) {
  const std::uint8_t* const chroma = frame + w * h;
  for (int y = 0; y < h / 2 * 2; ++y)
    for (int x = 0; x < w / 2 * 2; ++x) {
      const std::uint8_t* const pair = chroma + y / 2 * w + x / 2 * 2;
      writePixel(mat, frame[y * w + x], pair[0], pair[1], tensor + y * out_w + x,
                 std::int64_t{out_w} * out_h);
    }
}

void referenceCrop(const _TN_Image& in, const _TN_Image& out, int x0, int y0, int x1, int y1,
                   bool planar) {
  const std::uint8_t* const src = static_cast<const std::uint8_t*>(in.data);
  std::uint8_t* const dst = static_cast<std::uint8_t*>(out.data);
  const int src_luma = in.width * in.height, dst_luma = out.width * out.height;
  const int xs = std::max(x0, 0), xe = std::min(x1, in.width - 1);
  const int ys = std::max(y0, 0), ye = std::min(y1, in.height - 1);
  if (xs > xe || ys > ye) return;
  const int dx = xs - x0, dy = ys - y0;
  const int columns = (xe - xs + 1) / 2 * 2;
  for (int pair = 0; ys + 2 * pair <= ye; ++pair) {
    const int s = ys + 2 * pair, r = dy + 2 * pair;
    // Whole rows one after the other: in outputs of one row the luma runs on into the chroma, and U into
    // V.
    for (int row = 0; row < 2; ++row)
      for (int x = 0; x < columns; ++x)
        dst[(r + row) * out.width + dx + x] = src[(s + row) * in.width + xs + x];
    const int src_chroma = (s / 2) * in.width + xs, dst_chroma = (r / 2) * out.width + dx;
    if (!planar) {
      for (int x = 0; x < columns; ++x) dst[dst_luma + dst_chroma + x] = src[src_luma + src_chroma + x];
      continue;
    }
    for (int v = 0; v < 2; ++v)
      for (int x = 0; x < columns / 2; ++x)
        dst[dst_luma + v * (dst_luma / 4) + dst_chroma / 2 + x] =
            src[src_luma + v * (src_luma / 4) + src_chroma / 2 + x];
  }
}

}  // namespace tn_test
