#include "tests/reference/affine_reference.h"

#include <cstddef>
#include <cstdint>
#include <limits>

namespace tn_reference {
namespace {

std::int32_t truncated(float value) {
  if (value >= -2147483648.0f && value < 2147483648.0f) return static_cast<std::int32_t>(value);
  return std::numeric_limits<std::int32_t>::min();
}

std::size_t at(const Planes& planes, int q, std::int64_t y, std::int64_t x) {
  return static_cast<std::size_t>((std::int64_t{q} * planes.h + y) * planes.w + x);
}

float zeroBorderSample(const Planes& src, int q, float x, float y) {
  const std::int32_t x0 = truncated(x), y0 = truncated(y);
  const float fx = x - static_cast<float>(x0), fy = y - static_cast<float>(y0);
  const auto tap = [&](std::int64_t tx, std::int64_t ty) {
    if (tx < 1 || tx >= src.w || ty < 1 || ty >= src.h) return 0.0f;
    return src.values[at(src, q, ty, tx)];
  };
  const std::int64_t left = x0, top = y0;
  const float p00 = tap(left, top), p01 = tap(left + 1, top);
  const float p10 = tap(left, top + 1), p11 = tap(left + 1, top + 1);
  return (p10 * (1.0f - fx) + (p11 * fx)) * fy + ((p00 * (1.0f - fx) + (p01 * fx)) * (1.0f - fy));
}

template <class Pixel>
void forEachPixel(Planes& dst, const Pixel& pixel) {
  for (int q = 0; q < dst.c; ++q)
    for (int i = 0; i < dst.h; ++i)
      for (int j = 0; j < dst.w; ++j) dst.values[at(dst, q, i, j)] = pixel(q, i, j);
}

}  // namespace

void warpZeroBorder(const Planes& src, Planes& dst, const float* m) {
  const float hh = static_cast<float>(dst.h) * 0.5f, hw = static_cast<float>(dst.w) * 0.5f;
  const float sw = static_cast<float>(src.w), sh = static_cast<float>(src.h);
  forEachPixel(dst, [&](int q, int i, int j) {
    const float y = ((static_cast<float>(i) + 0.5f) - hh) / hh;
    const float x = ((static_cast<float>(j) + 0.5f) - hw) / hw;
    const float u = (((y * m[1]) + (x * m[0])) + m[2]) * 0.5f + 0.5f;
    const float v = (((x * m[3]) + (y * m[4])) + m[5]) * 0.5f + 0.5f;
    return zeroBorderSample(src, q, sw * u - 0.5f, sh * v - 0.5f);
  });
}

void warpZeroBorderOptimized(const Planes& src, Planes& dst, const float* m) {
  const double sw = src.w, sh = src.h;
  const double m0 = m[0], m1 = m[1], m2 = m[2], m3 = m[3], m4 = m[4], m5 = m[5];
  const float a0 = static_cast<float>(m0 * 0.5 * sw), a1 = static_cast<float>(m1 * 0.5 * sh);
  const float a2 = static_cast<float>((m2 * 0.5 + 0.5) * sh - 0.5);
  const float b0 = static_cast<float>(m3 * 0.5 * sw), b1 = static_cast<float>(m4 * 0.5 * sh);
  const float b2 = static_cast<float>((m5 * 0.5 + 0.5) * sw - 0.5);
  const float ry = 1.0f / (static_cast<float>(dst.h) * 0.5f);
  const float rx = 1.0f / (static_cast<float>(dst.w) * 0.5f);
  forEachPixel(dst, [&](int q, int i, int j) {
    const float y = (static_cast<float>(i) + 0.5f) * ry - 1.0f;
    const float x = (static_cast<float>(j) + 0.5f) * rx - 1.0f;
    return zeroBorderSample(src, q, (y * a1 + x * a0) + a2, (y * b1 + x * b0) + b2);
  });
}

void warpExtrapolating(const Planes& src, Planes& dst, const float* m) {
  const float hw = static_cast<float>(dst.w) * 0.5f, hh = static_cast<float>(dst.h) * 0.5f;
  const float k1 = (hw / hh) * m[1], k3 = (hh / hw) * m[3];
  const float c2 = (m[2] + 1.0f) * hw - 0.5f, c5 = (m[5] + 1.0f) * hh - 0.5f;
  const auto clamped = [](std::int32_t first, int size) {
    if (first < 0) return 0;
    return first >= size - 1 ? size - 2 : first;
  };
  forEachPixel(dst, [&](int q, int i, int j) {
    const float yc = (static_cast<float>(i) + 0.5f) - hh, r = yc * k1;
    const float xc = (static_cast<float>(j) + 0.5f) - hw;
    const float x = ((xc * m[0]) + r) + c2, y = ((yc * m[4]) + (xc * k3)) + c5;
    std::int32_t x0 = truncated(x), y0 = truncated(y);
    const float fx = x - static_cast<float>(x0), fy = y - static_cast<float>(y0);
    const float w00 = (1.0f - fy) * (1.0f - fx), w01 = (1.0f - fy) * fx;
    const float w10 = (1.0f - fx) * fy, w11 = fy * fx;
    x0 = clamped(x0, dst.w);
    y0 = clamped(y0, dst.h);
    const float* const p = &src.values[at(src, q, y0, x0)];
    return ((p[0] * w00 + p[1] * w01) + p[dst.w] * w10) + p[dst.w + 1] * w11;
  });
}

void warpReplicating(const Planes& src, Planes& dst, const float* m) {
  const float hw = static_cast<float>(dst.w) * 0.5f, hh = static_cast<float>(dst.h) * 0.5f;
  const float q1 = hw / hh, q3 = hh / hw;
  const float c2 = (m[2] + 1.0f) * hw, c5 = (m[5] + 1.0f) * hh;
  const auto clamp = [](std::int32_t& first, float& share, int size) {
    if (first < 0) {
      first = 0;
      share = 0.0f;
    } else if (first >= size - 1) {
      first = size - 2;
      share = 1.0f;
    }
  };
  forEachPixel(dst, [&](int q, int i, int j) {
    const float yc = (static_cast<float>(i) + 0.5f) - hh, xc = (static_cast<float>(j) + 0.5f) - hw;
    const float x = ((((yc * m[1]) * q1) + (xc * m[0])) + c2) - 0.5f;
    const float y = ((((xc * m[3]) * q3) + (yc * m[4])) + c5) - 0.5f;
    std::int32_t x0 = truncated(x), y0 = truncated(y);
    float fx = x - static_cast<float>(x0), fy = y - static_cast<float>(y0);
    clamp(x0, fx, dst.w);
    clamp(y0, fy, dst.h);
    const float w00 = (1.0f - fx) * (1.0f - fy), w01 = (1.0f - fy) * fx;
    const float w10 = (1.0f - fx) * fy, w11 = fy * fx;
    const float* const p = &src.values[at(src, q, y0, x0)];
    return ((p[0] * w00 + p[1] * w01) + p[dst.w] * w10) + p[dst.w + 1] * w11;
  });
}

}  // namespace tn_reference
