#include "tests/reference/resize_reference.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace tn_reference {
namespace {

std::size_t at(long long y, long long x, int w, int c) {
  return static_cast<std::size_t>((y * w + x) * c);
}

// Two neighbours and their weights; at the edges the same one twice.
struct Blend {
  int position[2];
  int weight[2];
};

int weightOf(float share) { return static_cast<int>(share * 2048.0f + 0.5f); }

Blend blendAt(int d, int outputs, int source) {
  const float p = static_cast<float>((d + 0.5) * (source / static_cast<double>(outputs)) - 0.5);
  const float floor = std::floor(p);
  const int s = static_cast<int>(floor);
  if (s < 0) return {{0, 0}, {2048, 0}};
  if (s >= source - 1) return {{source - 1, source - 1}, {0, 2048}};
  return {{s, s + 1}, {weightOf(1.0f - (p - floor)), weightOf(p - floor)}};
}

long long floorDiv(long long a, long long b) { return a / b - (a % b < 0 ? 1 : 0); }

}  // namespace

Bytes resizeBilinear(const std::uint8_t* src, int sw, int sh, int dw, int dh, int c) {
  Bytes dst;
  for (int y = 0; y < dh; ++y) {
    const Blend rows = blendAt(y, dh, sh);
    for (int x = 0; x < dw; ++x) {
      const Blend columns = blendAt(x, dw, sw);
      for (std::size_t k = 0; k < static_cast<std::size_t>(c); ++k) {
        int sum = 2;
        for (int i = 0; i < 2; ++i) {
          const int first = src[at(rows.position[i], columns.position[0], sw, c) + k];
          const int second = src[at(rows.position[i], columns.position[1], sw, c) + k];
          const int value = (first * columns.weight[0] + second * columns.weight[1]) >> 4;
          sum += (value * rows.weight[i]) >> 16;
        }
        dst.push_back(static_cast<std::uint8_t>(sum >> 2));
      }
    }
  }
  return dst;
}

Bytes cropResizeNearest(const std::uint8_t* src, int sw, int sh, Bytes background, int dw, int dh, int c,
                        const Rectangle& crop) {
  const long long width = 1LL + crop.right - crop.left, height = 1LL + crop.bottom - crop.top;
  if (width < 1 || height < 1) return background;
  for (int y = 0; y < dh; ++y)
    for (int x = 0; x < dw; ++x) {
      const long long sx = crop.left + floorDiv(x * width, dw), sy = crop.top + floorDiv(y * height, dh);
      if (sx < 0 || sx >= sw || sy < 0 || sy >= sh) continue;
      std::copy_n(src + at(sy, sx, sw, c), c,
                  background.begin() + static_cast<std::ptrdiff_t>(at(y, x, dw, c)));
    }
  return background;
}

Bytes resizeNearest(const std::uint8_t* src, int sw, int sh, int dw, int dh, int c) {
  return cropResizeNearest(src, sw, sh, Bytes(at(dh, 0, dw, c)), dw, dh, c, {0, 0, sw - 1, sh - 1});
}

}  // namespace tn_reference
