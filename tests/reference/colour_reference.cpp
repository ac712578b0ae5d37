#include "tests/reference/colour_reference.h"

#include <algorithm>
#include <utility>

namespace tn_reference {

void yuvToRgb(int y, int u, int v, std::uint8_t* rgb) {
  const int d = u - 128, e = v - 128;
  rgb[0] = static_cast<std::uint8_t>((64 * y + 90 * e) >> 6);
  rgb[1] = static_cast<std::uint8_t>((64 * y - 22 * d - 46 * e) >> 6);
  rgb[2] = static_cast<std::uint8_t>((64 * y + 113 * d) >> 6);
}

namespace {

// chroma(i): U and V of the i-th step, of which a pair of rows has `steps`.
template <class Chroma>
void walk(const std::uint8_t* luma, int w, int h, int steps, const Chroma& chroma, std::uint8_t* dst) {
  for (int y = 0, step = 0; y < h; y += 2)
    for (int i = 0; i < steps; ++i, ++step)
      for (int row = y; row < y + 2; ++row)
        for (int x = row * w + 2 * i; x < row * w + 2 * i + 2; ++x) {
          const auto [u, v] = chroma(step);
          yuvToRgb(luma[x], u, v, dst + 3 * x);
        }
}

}  // namespace

void semiPlanarWalk(const std::uint8_t* src, int w, int h, bool u_first, std::uint8_t* dst) {
  const std::uint8_t* const pairs = src + w * h;
  const auto chroma = [=](int i) {
    return std::pair(pairs[2 * i + (u_first ? 0 : 1)], pairs[2 * i + (u_first ? 1 : 0)]);
  };
  walk(src, w, h, w, chroma, dst);
}

void planarWalk(const std::uint8_t* y, const std::uint8_t* u, const std::uint8_t* v, int w, int h,
                std::uint8_t* dst) {
  const auto chroma = [=](int i) { return std::pair(u[i], v[i]); };
  walk(y, w, h, w / 2, chroma, dst);
}

std::uint8_t gray(int r, int g, int b) {
  const double green_red = g * 0.587 + r * 0.299;
  return static_cast<std::uint8_t>(std::min(static_cast<int>(green_red + b * 0.114), 255));
}

}  // namespace tn_reference
