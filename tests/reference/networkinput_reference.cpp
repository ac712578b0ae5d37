#include "tests/reference/networkinput_reference.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "tests/reference/colour_reference.h"
#include "tests/reference/resize_reference.h"

namespace tn_reference {
namespace {

struct Size {
  int w, h;
};

std::ptrdiff_t area(Size size) { return static_cast<std::ptrdiff_t>(size.w) * size.h; }
Size halved(Size size) { return {size.w / 2, size.h / 2}; }

void bilinear(const std::uint8_t* src, Size from, std::uint8_t* dst, Size to, int c) {
  if (area(from) == 0 || area(to) == 0) return;
  const Bytes resized = resizeBilinear(src, from.w, from.h, to.w, to.h, c);
  std::copy(resized.begin(), resized.end(), dst);
}

void nearest(const std::uint8_t* src, Size from, std::uint8_t* dst, Size to, int c, int left, int top,
             int right, int bottom) {
  const Bytes resized = cropResizeNearest(src, from.w, from.h, Bytes(dst, dst + area(to) * c), to.w,
                                          to.h, c, {left, top, right, bottom});
  std::copy(resized.begin(), resized.end(), dst);
}

// Luma, chroma, and what the walk reads behind them.
Bytes semiPlanar(const _TN_Image& image, Size to) {
  const Size from = {image.width, image.height};
  const std::uint8_t* const src = static_cast<const std::uint8_t*>(image.data);
  const int passes = (to.h + 1) / 2;
  Bytes yuv(static_cast<std::size_t>(area({to.w, to.h + 2 * passes})), 128);
  bilinear(src, from, yuv.data(), to, 1);
  bilinear(src + area(from), halved(from), yuv.data() + area(to), halved(to), 2);
  Bytes rgb(static_cast<std::size_t>(area({3 * to.w, 2 * passes + 1})));
  semiPlanarWalk(yuv.data(), to.w, to.h, image.pix_fmt == TN_PIX_FMT_NV12, rgb.data());
  return rgb;
}

Bytes planar(const _TN_Image& image, Size to, const CropWindow* crop, const Bytes& work_a) {
  const Size from = {image.width, image.height}, half = halved(from);
  const std::uint8_t* const src = static_cast<const std::uint8_t*>(image.data);
  const std::uint8_t* const src_u = src + area(from);
  const std::uint8_t* const src_v = src_u + area(from) / 4;
  // More than either walk reaches.
  Bytes yuv(static_cast<std::size_t>(4 * area(to) + 8 * to.w + 8), 128);
  std::uint8_t* const y = yuv.data();
  std::uint8_t* const u = y + area(to);
  std::uint8_t* const v = u + area(to) / 4;
  if (crop == nullptr) {
    nearest(src, from, y, to, 1, 0, 0, from.w - 1, from.h - 1);
    nearest(src_u, half, u, halved(to), 1, 0, 0, half.w - 1, half.h - 1);
    nearest(src_v, half, v, halved(to), 1, 0, 0, half.w - 1, half.h - 1);
  } else {
    std::fill(y, u, static_cast<std::uint8_t>(crop->pad_grey ? 128 : 0));
    const auto half_down = [](int value) { return static_cast<int>(std::floor(value / 2.0)); };
    const int l = half_down(crop->left), t = half_down(crop->top), r = half_down(crop->right),
              b = half_down(crop->bottom);
    if (crop->left <= crop->right && crop->top <= crop->bottom) {
      nearest(src, from, y, to, 1, crop->left, crop->top, crop->right, crop->bottom);
      nearest(src_u, half, u, halved(to), 1, l, t, r, b);
      nearest(src_v, half, v, halved(to), 1, l, t, r, b);
    }
  }
  Bytes rgb = work_a;
  rgb.resize(rgb.size() + static_cast<std::size_t>(6 * to.w));
  planarWalk(y, u, v, to.w, to.h, rgb.data());
  return rgb;
}

Bytes packed(const _TN_Image& image, Size to, int c, const CropWindow* crop, const Bytes& work_a) {
  const Size from = {image.width, image.height};
  const std::uint8_t* const src = static_cast<const std::uint8_t*>(image.data);
  Bytes pixels = work_a;
  if (crop == nullptr)
    bilinear(src, from, pixels.data(), to, c);
  else if (crop->left <= crop->right && crop->top <= crop->bottom)
    nearest(src, from, pixels.data(), to, c, crop->left, crop->top, crop->right, crop->bottom);
  return pixels;
}

Bytes turned(const Bytes& pixels, Size size, int c, unsigned orient, bool yuv) {
  const auto clockwise = [&](const Bytes& from) {
    return turnClockwise(from.data(), size.w, size.h, c);
  };
  const unsigned first = yuv ? 2u : 1u, second = 3u - first;
  const unsigned quarter = (orient & first) != 0 ? first : orient & second;
  if (quarter == 2u) return clockwise(pixels);
  if (quarter == 1u) return turnAnticlockwise(pixels.data(), size.w, size.h, c);
  if ((orient & (4u | 64u)) == 0) return pixels;
  if (yuv) return clockwise(clockwise(pixels));
  // Last pixel first.
  const Bytes upside_down = flipVertical(pixels.data(), size.w, size.h, c);
  return flipHorizontal(upside_down.data(), size.w, size.h, c);
}

Bytes mirrored(const Bytes& pixels, Size size, int c, unsigned orient) {
  if ((orient & 8u) != 0) return flipVertical(pixels.data(), size.w, size.h, c);
  if ((orient & 16u) != 0) return flipHorizontal(pixels.data(), size.w, size.h, c);
  return pixels;
}

}  // namespace

std::vector<float> networkInput(const _TN_Image& image, bool to_bgr, int width, int height,
                                const CropWindow* crop, std::uint8_t old_work_a) {
  const Size size = {width, height};
  const int format = image.pix_fmt;
  const bool semi_planar = format == TN_PIX_FMT_NV12 || format == TN_PIX_FMT_NV21;
  const bool yuv = semi_planar || format == TN_PIX_FMT_YUVI420;
  const int c = format == TN_PIX_FMT_BGRA || format == TN_PIX_FMT_RGBA ? 4 : 3;
  const std::uint8_t background = crop == nullptr ? old_work_a : crop->pad_grey ? 128 : 0;
  const Bytes work_a(static_cast<std::size_t>(4 * area(size)), background);
  Bytes pixels = semi_planar ? semiPlanar(image, size)
                 : yuv       ? planar(image, size, crop, work_a)
                             : packed(image, size, c, crop, work_a);
  pixels.resize(static_cast<std::size_t>(c * area(size)));
  pixels = mirrored(turned(pixels, size, c, image.orient, yuv), size, c, image.orient);

  const bool stored_bgr = format == TN_PIX_FMT_BGRA || format == TN_PIX_FMT_BGR;
  std::vector<float> floats;
  for (int plane = 0; plane < 3; ++plane)
    for (std::ptrdiff_t i = 0; i < area(size); ++i)
      floats.push_back(
          pixels[static_cast<std::size_t>(i * c + (stored_bgr == to_bgr ? plane : 2 - plane))]);
  return floats;
}

}  // namespace tn_reference
