// Letterboxes and crops in whole pixels, and the maps between tensor and frame.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <stdexcept>
#include <string>

#include "tarnkit/src/preprocess/tn_geometry.h"

namespace Tarn {
namespace preprocess {
namespace {

// Half to even, as Python rounds, in the processor's default rounding mode.
int roundHalfEven(double value) { return static_cast<int>(std::nearbyint(value)); }

struct Span {
  int start, size;
};

// `size` 0 on both axes: the whole.
Span clipSpan(int start, int size, int whole) {
  const std::int64_t end = std::min<std::int64_t>(std::int64_t{start} + size, whole);
  const int first = std::max(start, 0);
  return {first, static_cast<int>(std::max<std::int64_t>(end - first, 0))};
}

// At least a pixel, and what 32 bits hold with room for sums.
int scaledSide(double exact) {
  constexpr double kMost = 1 << 30;
  if (exact > kMost)
    throw std::invalid_argument("region: its sides are too unlike for the tensor's fit");
  return std::max(roundHalfEven(exact), 1);
}

AxisGeometry letterboxed(const Span& region, int scaled, int tensor, bool middle) {
  scaled = std::min(scaled, tensor);
  return {
      region.start, region.size, scaled, 0, middle ? roundHalfEven((tensor - scaled) / 2.0 - 0.1) : 0,
      scaled};
}

AxisGeometry cropped(const Span& region, int scaled, int tensor) {
  const int offset = roundHalfEven((static_cast<double>(scaled) - tensor) / 2.0);
  const int cut = std::max(offset, 0), at = std::max(-offset, 0);
  return {region.start, region.size, scaled, cut, at, std::min(scaled - cut, tensor - at)};
}

Rectangle shownRegion(const Geometry& g) {
  return {static_cast<double>(g.x.start), static_cast<double>(g.y.start), static_cast<double>(g.x.size),
          static_cast<double>(g.y.size)};
}

}  // namespace

Geometry makeGeometry(const TensorSpec& spec, const FrameView& frame, const Region& region) {
  const int width = uprightWidth(frame), height = uprightHeight(frame);
  const bool whole = region.x == 0 && region.y == 0 && region.width == 0 && region.height == 0;
  if (!whole && (region.width < 1 || region.height < 1))
    throw std::invalid_argument("region: " + std::to_string(region.width) + "x" +
                                std::to_string(region.height) + " has no pixels");
  const Span x = whole ? Span{0, width} : clipSpan(region.x, region.width, width);
  const Span y = whole ? Span{0, height} : clipSpan(region.y, region.height, height);
  if (x.size < 1 || y.size < 1)
    throw std::invalid_argument("region: lies outside the picture of " + std::to_string(width) + "x" +
                                std::to_string(height));
  const double wide = static_cast<double>(spec.width) / x.size;
  const double high = static_cast<double>(spec.height) / y.size;
  switch (spec.fit) {
    case Fit::kLetterbox:
    case Fit::kLetterboxTopLeft: {
      double r = std::min(wide, high);
      if (spec.never_enlarge) r = std::min(r, 1.0);
      const bool middle = spec.fit == Fit::kLetterbox;
      return {letterboxed(x, scaledSide(x.size * r), spec.width, middle),
              letterboxed(y, scaledSide(y.size * r), spec.height, middle)};
    }
    case Fit::kCrop: {
      int scaled_x, scaled_y;
      if (spec.short_side == 0) {
        const double r = std::max(wide, high);
        // At least the tensor's size: rounding must not leave a bar.
        scaled_x = std::max(scaledSide(x.size * r), spec.width);
        scaled_y = std::max(scaledSide(y.size * r), spec.height);
      } else {
        // The division is a double's, as Python's is, and the result is cut.
        const auto longer = [&](int side, int shorter) {
          return scaledSide(std::trunc(static_cast<double>(spec.short_side) * side / shorter));
        };
        scaled_x = x.size <= y.size ? spec.short_side : longer(x.size, y.size);
        scaled_y = x.size <= y.size ? longer(y.size, x.size) : spec.short_side;
      }
      return {cropped(x, scaled_x, spec.width), cropped(y, scaled_y, spec.height)};
    }
    case Fit::kStretch:
      break;
  }
  return {letterboxed(x, spec.width, spec.width, false),
          letterboxed(y, spec.height, spec.height, false)};
}

Placement placementOf(const Geometry& g, const FrameView& frame) {
  Placement p = {};
  p.region = shownRegion(g);
  p.content = {static_cast<double>(g.x.at), static_cast<double>(g.y.at), static_cast<double>(g.x.shown),
               static_cast<double>(g.y.shown)};
  const auto map = [](const AxisGeometry& axis, double& scale, double& shift, double& back,
                      double& back_shift) {
    scale = static_cast<double>(axis.scaled) / axis.size;
    shift = axis.at - axis.cut - axis.start * scale;
    back = static_cast<double>(axis.size) / axis.scaled;
    back_shift = axis.start - (axis.at - axis.cut) * back;
  };
  map(g.x, p.to_tensor[0], p.to_tensor[2], p.to_frame[0], p.to_frame[2]);
  map(g.y, p.to_tensor[4], p.to_tensor[5], p.to_frame[4], p.to_frame[5]);

  // Upright to stored: swap, then flip.
  const Turn turn = turnOf(frame.orientation);
  p.stored =
      turn.swapped ? Rectangle{p.region.y, p.region.x, p.region.height, p.region.width} : p.region;
  if (turn.flip_x) p.stored.x = frame.width - p.stored.x - p.stored.width;
  if (turn.flip_y) p.stored.y = frame.height - p.stored.y - p.stored.height;
  return p;
}

}  // namespace preprocess

namespace {

Point mapPoint(const double (&m)[6], Point point) {
  const double x = point.x + 0.5, y = point.y + 0.5;
  return {m[0] * x + m[1] * y + m[2] - 0.5, m[3] * x + m[4] * y + m[5] - 0.5};
}

Rectangle mapRectangle(const double (&m)[6], const Rectangle& r) {
  return {m[0] * r.x + m[1] * r.y + m[2], m[3] * r.x + m[4] * r.y + m[5],
          m[0] * r.width + m[1] * r.height, m[3] * r.width + m[4] * r.height};
}

}  // namespace

Point Placement::toTensor(Point point) const { return mapPoint(to_tensor, point); }
Point Placement::toFrame(Point point) const { return mapPoint(to_frame, point); }
Rectangle Placement::toTensor(Rectangle rectangle) const { return mapRectangle(to_tensor, rectangle); }

Rectangle Placement::toFrame(Rectangle rectangle, bool clip) const {
  const Rectangle r = mapRectangle(to_frame, rectangle);
  if (!clip) return r;
  const auto clamp_x = [&](double x) { return std::clamp(x, region.x, region.x + region.width); };
  const auto clamp_y = [&](double y) { return std::clamp(y, region.y, region.y + region.height); };
  const double x = clamp_x(r.x), y = clamp_y(r.y);
  return {x, y, clamp_x(r.x + r.width) - x, clamp_y(r.y + r.height) - y};
}

TensorSpec forContent(const TensorSpec& spec, const FrameView& frame, int multiple, Region region) {
  using namespace preprocess;
  checkSpec(spec);
  if (spec.fit != Fit::kLetterbox && spec.fit != Fit::kLetterboxTopLeft)
    throw std::invalid_argument("fit: only a letterbox can be shrunk to its content");
  if (multiple < 1)
    throw std::invalid_argument("multiple: " + std::to_string(multiple) + " is not 1 or more");
  for (const int side : {spec.width, spec.height})
    if (side % multiple != 0)
      throw std::invalid_argument((side == spec.width ? "width: " : "height: ") + std::to_string(side) +
                                  " is not a multiple of " + std::to_string(multiple));
  checkFrame(frame);
  const Geometry g = makeGeometry(spec, frame, region);
  const auto up = [multiple](int side) {
    return static_cast<int>((std::int64_t{side} + multiple - 1) / multiple * multiple);
  };
  TensorSpec shrunk = spec;
  shrunk.width = up(g.x.shown);
  shrunk.height = up(g.y.shown);
  // A content that was rounded down and fills its side would be scaled by less. Then it fills the other
  // side as well, since that one set the scale.
  const Geometry again = makeGeometry(shrunk, frame, region);
  if (again.x.scaled != g.x.scaled || again.y.scaled != g.y.scaled) {
    shrunk.fit = Fit::kStretch;
    shrunk.never_enlarge = false;
  }
  return shrunk;
}

}  // namespace Tarn
