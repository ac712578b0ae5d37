// Operations on pictures, each by the library's checked kernels.
#include "apps/pictures/operations.h"

#include <algorithm>
#include <cstring>

#include "tn_checked.h"

namespace tarnkit {
namespace {

namespace checked = Tarn::checked;

int bytesOfPackedPixel(PixelLayout layout) {
  if (layout == PixelLayout::kRgba) return 4;
  return layout == PixelLayout::kGray ? 1 : 3;
}

checked::ConstBytes bytesOf(const Picture& picture) {
  return {picture.bytes.data(), picture.bytes.size()};
}
checked::Bytes bytesOf(Picture& picture) { return {picture.bytes.data(), picture.bytes.size()}; }

Picture makePicture(int width, int height, PixelLayout layout) {
  const std::size_t size = byteCount(width, height, bytesOfPackedPixel(layout));
  return {width, height, layout, std::vector<std::uint8_t>(size)};
}

Picture planeOf(const Picture& planar, int plane) {
  const auto begin = planar.bytes.begin() + static_cast<std::ptrdiff_t>(plane) * planar.pixels();
  return {planar.width, planar.height, PixelLayout::kGray, {begin, begin + planar.pixels()}};
}

// Applies an operation on packed pictures to whatever layout comes.
template <class Operation>
Picture onPacked(const Picture& source, const Operation& operation) {
  if (source.layout != PixelLayout::kPlanar) return operation(source);
  Picture result = operation(planeOf(source, 0));
  result.layout = PixelLayout::kPlanar;
  for (int plane = 1; plane < 3; ++plane) {
    const Picture more = operation(planeOf(source, plane));
    result.bytes.insert(result.bytes.end(), more.bytes.begin(), more.bytes.end());
  }
  return result;
}

// Packed bytes of `picture` on a canvas of at least its size, filled up with zeros.
Picture onCanvas(const Picture& picture, int width, int height) {
  Picture canvas = makePicture(width, height, picture.layout);
  const int bytes = bytesOfPackedPixel(picture.layout);
  for (int y = 0; y < picture.height; ++y)
    std::memcpy(canvas.bytes.data() + byteCount(width, y, bytes),
                picture.bytes.data() + byteCount(picture.width, y, bytes),
                byteCount(picture.width, 1, bytes));
  return canvas;
}

Picture cutPacked(const Picture& source, const Rectangle& rectangle) {
  Picture result = makePicture(rectangle.width, rectangle.height, source.layout);
  checked::cut_sub_img_inhwc_outhwc(bytesOf(source), source.width, source.height, bytesOf(result),
                                    result.width, result.height, rectangle.x, rectangle.y,
                                    bytesOfPackedPixel(source.layout));
  return result;
}

// The turning kernels want sides that are multiples of 4, and would shift and blacken other pictures, so
// these are turned with a margin on the right and at the bottom, which is then cut off where it went.
Picture turnColour(const Picture& source, Turn direction) {
  const bool clockwise = direction == Turn::kClockwise;
  const int padded_width = (source.width + 3) / 4 * 4, padded_height = (source.height + 3) / 4 * 4;
  const Picture canvas = onCanvas(source, padded_width, padded_height);
  Picture turned = makePicture(padded_height, padded_width, source.layout);
  if (source.layout == PixelLayout::kRgba) {
    const auto kernel =
        clockwise ? checked::rotate90_intrinsics_4_channel : checked::anti_rotate90_intrinsics_4_channel;
    kernel(bytesOf(canvas), padded_width, padded_height, bytesOf(turned));
  } else {
    const auto kernel =
        clockwise ? checked::rotate90_intrinsics_3_channel : checked::anti_rotate90_intrinsics_3_channel;
    kernel(bytesOf(canvas), padded_width, padded_height, bytesOf(turned));
  }
  const int x = clockwise ? padded_height - source.height : 0;
  const int y = clockwise ? 0 : padded_width - source.width;
  return cutPacked(turned, {x, y, source.height, source.width});
}

Picture turnPacked(const Picture& source, Turn direction) {
  if (source.layout != PixelLayout::kGray) return turnColour(source, direction);
  // No kernel turns single bytes.
  return planeOf(toPlanar(turnColour(toRgb(source), direction)), 0);
}

Picture mirrorPacked(const Picture& source, Mirror direction) {
  Picture result = makePicture(source.width, source.height, source.layout);
  const auto kernel =
      direction == Mirror::kHorizontal ? checked::flip_horizontal : checked::flip_vertical;
  kernel(bytesOf(source), source.width, source.height, bytesOf(result),
         bytesOfPackedPixel(source.layout));
  return result;
}

}  // namespace

Picture toRgb(const Picture& source) {
  if (source.layout == PixelLayout::kRgb) return source;
  Picture rgb = makePicture(source.width, source.height, PixelLayout::kRgb);
  // Where the three colours of a pixel lie, and how far on the next pixel's are.
  const bool packed = source.layout == PixelLayout::kRgba;
  const std::size_t step = packed ? 4 : 1, pixels = byteCount(source.width, source.height, 1);
  const std::size_t colour = packed ? 1 : source.layout == PixelLayout::kPlanar ? pixels : 0;
  for (std::size_t pixel = 0; pixel < pixels; ++pixel)
    for (std::size_t c = 0; c < 3; ++c)
      rgb.bytes[3 * pixel + c] = source.bytes[step * pixel + colour * c];
  return rgb;
}

Picture toGray(const Picture& source) {
  if (source.layout == PixelLayout::kGray) return source;
  if (source.layout == PixelLayout::kPlanar) return toGray(toRgb(source));
  Picture gray = makePicture(source.width, source.height, PixelLayout::kGray);
  const auto kernel = source.layout == PixelLayout::kRgba ? checked::getGray_from_RGBA_HWC
                                                          : checked::getGray_from_RGB_HWC;
  kernel(bytesOf(source), bytesOf(gray), source.pixels());
  return gray;
}

Picture toPlanar(const Picture& source) {
  if (source.layout == PixelLayout::kPlanar) return source;
  if (source.layout == PixelLayout::kGray) return toPlanar(toRgb(source));
  Picture planar = makePicture(source.width, source.height, PixelLayout::kPlanar);
  const auto kernel = source.layout == PixelLayout::kRgba ? checked::getRGB_CHW_from_RGBA_HWC
                                                          : checked::getRGB_CHW_from_RGB_HWC;
  kernel(bytesOf(source), bytesOf(planar), source.pixels());
  return planar;
}

Picture turn(const Picture& source, Turn direction) {
  return onPacked(source, [&](const Picture& packed) { return turnPacked(packed, direction); });
}

Picture mirror(const Picture& source, Mirror direction) {
  return onPacked(source, [&](const Picture& packed) { return mirrorPacked(packed, direction); });
}

bool isInside(const Rectangle& rectangle, const Picture& picture) {
  return rectangle.x >= 0 && rectangle.y >= 0 && rectangle.width > 0 && rectangle.height > 0 &&
         rectangle.width <= picture.width - rectangle.x &&
         rectangle.height <= picture.height - rectangle.y;
}

Picture cut(const Picture& source, const Rectangle& rectangle) {
  return onPacked(source, [&](const Picture& packed) { return cutPacked(packed, rectangle); });
}

}  // namespace tarnkit
