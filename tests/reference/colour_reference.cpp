#include "tests/reference/colour_reference.h"

#include <algorithm>

namespace tn_reference {

void yuvToRgb(int y, int u, int v, std::uint8_t* rgb) {
  const int d = u - 128, e = v - 128;
  rgb[0] = static_cast<std::uint8_t>((64 * y + 90 * e) >> 6);
  rgb[1] = static_cast<std::uint8_t>((64 * y - 22 * d - 46 * e) >> 6);
  rgb[2] = static_cast<std::uint8_t>((64 * y + 113 * d) >> 6);
}

void semiPlanarWalk(const std::uint8_t* src, int w, int h, bool u_first, std::uint8_t* dst) {
  if (h < 1) return;
  const std::uint8_t* luma = src;
  const std::uint8_t* chroma = src + w * h;
  const int passes = ((h - 1) >> 1) + 1;
  for (int pass = 0; pass < passes; ++pass) {
    for (int i = 0; i < w; ++i) {
      const int u = chroma[u_first ? 0 : 1], v = chroma[u_first ? 1 : 0];
      chroma += 2;
      for (int row = 0; row < 2; ++row)
        for (int x = row * w + 2 * i; x < row * w + 2 * i + 2; ++x) yuvToRgb(luma[x], u, v, dst + 3 * x);
    }
    luma += 2 * w;
    dst += 6 * w;
  }
}

void planarWalk(const std::uint8_t* y, const std::uint8_t* u, const std::uint8_t* v, int w, int h,
                std::uint8_t* dst) {
  if (h < 1) return;
  const int passes = ((h - 1) >> 1) + 1;
  for (int pass = 0; pass < passes; ++pass) {
    for (int i = 0; i < w / 2; ++i, ++u, ++v)
      for (int row = 0; row < 2; ++row)
        for (int x = row * w + 2 * i; x < row * w + 2 * i + 2; ++x) yuvToRgb(y[x], *u, *v, dst + 3 * x);
    y += 2 * w;
    dst += 6 * w;
  }
}

std::uint8_t gray(int r, int g, int b) {
  const double green_red = g * 0.587 + r * 0.299;
  return static_cast<std::uint8_t>(std::min(static_cast<int>(green_red + b * 0.114), 255));
}

}  // namespace tn_reference
