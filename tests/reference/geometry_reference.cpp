#include "tests/reference/geometry_reference.h"

#include <cstddef>

namespace tn_reference {
namespace {

std::size_t count(int a, int b, int c) {
  return static_cast<std::size_t>(a) * static_cast<std::size_t>(b) * static_cast<std::size_t>(c);
}

// One plane: four floats of four rows make a block. The position in the source only ever advances, by a
// block and then by what brings it from the end of a row of blocks down three more rows.
void turnPlane(const float* src, int w, int h, float* dst, bool clockwise) {
  const int w4 = w / 4 * 4, h4 = h / 4 * 4;
  int position = 0;
  for (int rb = 0; rb < h / 4; ++rb) {
    for (int cb = 0; cb < w / 4; ++cb) {
      for (int j = 0; j < 4; ++j) {
        const int column = 4 * cb + j;
        for (int i = 0; i < 4; ++i) {
          const float value = src[position + i * w + j];
          if (clockwise)
            dst[column * h + h4 - 1 - 4 * rb - i] = value;
          else
            dst[(w4 - 1 - column) * h + 4 * rb + i] = value;
        }
      }
      position += 4;
    }
    position += 3 * w;
  }
}

Bytes turn(const std::uint8_t* src, int w, int h, int c, bool clockwise) {
  const std::size_t n = count(w, h, 1), channels = static_cast<std::size_t>(c);
  Bytes dst(n * channels);
  for (std::size_t k = 0; k < channels; ++k) {
    std::vector<float> before(n), after(n, 0.0f);
    for (std::size_t p = 0; p < n; ++p) before[p] = src[p * channels + k];
    turnPlane(before.data(), w, h, after.data(), clockwise);
    for (std::size_t p = 0; p < n; ++p) dst[p * channels + k] = static_cast<std::uint8_t>(after[p]);
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
