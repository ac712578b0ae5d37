#include "tests/reference/geometry_reference.h"

#include <algorithm>
#include <cstddef>

namespace tn_reference {
namespace {

std::size_t count(int a, int b, int c) {
  return static_cast<std::size_t>(a) * static_cast<std::size_t>(b) * static_cast<std::size_t>(c);
}

// Whole blocks of 4x4 pixels. A row of blocks starts behind the last block of the one above and three
// rows further down, which is not at the picture's left edge when w is no multiple of 4.
Bytes turn(const std::uint8_t* src, int w, int h, int c, bool clockwise) {
  const int w4 = w / 4 * 4, h4 = h / 4 * 4;
  Bytes dst(count(w, h, c));
  for (int row = 0; row < h4; ++row)
    for (int column = 0; column < w4; ++column) {
      const int from = row / 4 * (w4 + 3 * w) + row % 4 * w + column;
      const int to = clockwise ? column * h + h4 - 1 - row : (w4 - 1 - column) * h + row;
      std::copy_n(src + from * c, c, dst.begin() + to * c);
    }
  return dst;
}

}  // namespace

Bytes turnClockwise(const std::uint8_t* src, int w, int h, int c) { return turn(src, w, h, c, true); }
Bytes turnAnticlockwise(const std::uint8_t* src, int w, int h, int c) {
  return turn(src, w, h, c, false);
}

Bytes flipHorizontal(const std::uint8_t* src, int w, int h, int c) {
  Bytes dst(count(w, h, c));
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x)
      for (int k = 0; k < c; ++k)
        dst[count(y, w, c) + count(w - 1 - x, c, 1) + static_cast<std::size_t>(k)] =
            src[count(y, w, c) + count(x, c, 1) + static_cast<std::size_t>(k)];
  return dst;
}

Bytes flipVertical(const std::uint8_t* src, int w, int h, int c) {
  Bytes dst;
  for (int y = h - 1; y >= 0; --y) dst.insert(dst.end(), src + count(y, w, c), src + count(y + 1, w, c));
  return dst;
}

Bytes cutPacked(const std::uint8_t* src, int src_w, int w, int h, int x0, int y0, int c) {
  Bytes dst;
  for (int y = y0; y < y0 + h; ++y)
    for (int i = x0 * c; i < (x0 + w) * c; ++i) dst.push_back(src[count(y, src_w, c) + count(i, 1, 1)]);
  return dst;
}

}  // namespace tn_reference
