#include "tests/reference/preprocess_reference.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

namespace tn_reference {
namespace {

using Tarn::ChromaSiting;
using Tarn::Fit;
using Tarn::FrameFormat;
using Tarn::FrameView;
using Tarn::Region;
using Tarn::Resampling;
using Tarn::TensorSpec;

// Where a component's samples are: every `step` bytes of a plane from `offset` on.
struct Component {
  int plane, offset, step;
};

struct Format {
  bool yuv;
  int word_bytes, shift;            // of a sample
  bool halved_across, halved_down;  // chroma
  Component parts[3];               // Y, U, V or R, G, B
};

Format formatOf(FrameFormat format) {
  static constexpr Format kFormats[] = {
      // In the order of the enumeration.
      {true, 1, 0, true, true, {{0, 0, 1}, {1, 0, 2}, {1, 1, 2}}},     // Nv12
      {true, 1, 0, true, true, {{0, 0, 1}, {1, 1, 2}, {1, 0, 2}}},     // Nv21
      {true, 1, 0, true, true, {{0, 0, 1}, {1, 0, 1}, {2, 0, 1}}},     // I420
      {true, 1, 0, true, true, {{0, 0, 1}, {2, 0, 1}, {1, 0, 1}}},     // Yv12
      {true, 1, 0, true, false, {{0, 0, 1}, {1, 0, 1}, {2, 0, 1}}},    // I422
      {true, 1, 0, false, false, {{0, 0, 1}, {1, 0, 1}, {2, 0, 1}}},   // I444
      {true, 2, 0, true, true, {{0, 0, 2}, {1, 0, 2}, {2, 0, 2}}},     // I010
      {true, 2, 6, true, true, {{0, 0, 2}, {1, 0, 4}, {1, 2, 4}}},     // P010
      {true, 1, 0, true, false, {{0, 0, 2}, {0, 1, 4}, {0, 3, 4}}},    // Yuyv
      {true, 1, 0, true, false, {{0, 1, 2}, {0, 0, 4}, {0, 2, 4}}},    // Uyvy
      {false, 1, 0, false, false, {{0, 0, 3}, {0, 1, 3}, {0, 2, 3}}},  // Rgb
      {false, 1, 0, false, false, {{0, 2, 3}, {0, 1, 3}, {0, 0, 3}}},  // Bgr
      {false, 1, 0, false, false, {{0, 0, 4}, {0, 1, 4}, {0, 2, 4}}},  // Rgba
      {false, 1, 0, false, false, {{0, 2, 4}, {0, 1, 4}, {0, 0, 4}}},  // Bgra
      {false, 1, 0, false, false, {{0, 0, 1}, {0, 0, 1}, {0, 0, 1}}},  // Gray
  };
  return kFormats[static_cast<int>(format)];
}

bool isFloatMode(Resampling mode) {
  return mode == Resampling::kNearest || mode == Resampling::kBilinear ||
         mode == Resampling::kAntialiased;
}

// The samples that one output reads along one axis of a component, in straight order: as the upright
// axis runs. bilinear: `first` and `second` with the weight of the second; antialiased: from `first` on
// with `weights`; nearest: `first`.
struct Taps {
  int first = 0, second = 0;
  float weight = 0;
  std::vector<float> weights;
};

// One upright axis of a component.
struct ComponentAxis {
  int pixels;     // of the frame along the stored axis
  bool flipped;   // the stored axis runs against the upright one
  bool halved;    // a sample for two pixels
  double offset;  // halved: a sample's place less that of its first pixel, in samples

  int samples() const { return halved ? (pixels + 1) / 2 : pixels; }
  int storedOf(int straight) const { return flipped ? samples() - 1 - straight : straight; }
  // The straight number of an upright pixel's own sample.
  int ownSample(int pixel) const {
    const int stored = flipped ? pixels - 1 - pixel : pixel;
    return storedOf(halved ? stored / 2 : stored);
  }

  Taps taps(const PlainAxis& axis, std::int64_t i, Resampling mode) const {
    const double step = static_cast<double>(axis.pixels) / static_cast<double>(axis.scaled);
    Taps taps;
    if (mode == Resampling::kNearest) {
      const double pixel = std::floor((static_cast<double>(i) + 0.5) * step);
      taps.first = ownSample(axis.first + static_cast<int>(std::min(pixel, axis.pixels - 1.0)));
      return taps;
    }
    double position = (static_cast<double>(i) + 0.5) * step - 0.5, sample_step = step;
    int base = axis.first;
    if (halved) {
      // Where straight sample 0 lies seen from upright pixel 0, both in samples, with its sign turned.
      const double k = flipped ? (samples() - 1) - (pixels - 1) * 0.5 + offset : -offset;
      const double start = axis.first * 0.5 + k;
      base = static_cast<int>(std::floor(start));
      position = position * 0.5 + (start - base);
      sample_step = step / 2;
    }
    const int low = ownSample(axis.first) - base, high = ownSample(axis.first + axis.pixels - 1) - base;
    if (mode == Resampling::kBilinear) {
      position = std::clamp(position, double(low), double(high));
      const double whole = std::floor(position);
      taps.first = base + static_cast<int>(whole);
      taps.second = std::min(taps.first + 1, base + high);
      taps.weight = static_cast<float>(std::nearbyint((position - whole) * 0x1p24) / 0x1p24);
      return taps;
    }
    const double width = std::max(sample_step, 1.0), centre = position + 0.5;
    const int from = std::max(low, static_cast<int>(centre - width + 0.5));
    const int to = std::min(high + 1, static_cast<int>(centre + width + 0.5));
    std::vector<double> weights;
    double sum = 0;
    for (int s = from; s < to; ++s) {
      weights.push_back(1 - std::abs(s + 0.5 - centre) / width);
      sum += weights.back();
    }
    taps.first = base + from;
    for (const double weight : weights) taps.weights.push_back(static_cast<float>(weight / sum));
    return taps;
  }
};

// One component of a frame, upright.
class Plane {
 public:
  Plane(const FrameView& frame, int k) : frame_(frame), format_(formatOf(frame.format)) {
    part_ = format_.parts[k];
    const bool chroma = format_.yuv && k > 0;
    const ComponentAxis stored_x = {frame.width, false, chroma && format_.halved_across,
                                    frame.siting == ChromaSiting::kCentre ? 0.25 : 0};
    const ComponentAxis stored_y = {frame.height, false, chroma && format_.halved_down,
                                    frame.siting == ChromaSiting::kTopLeft ? 0 : 0.25};
    turned_ = plainOrientation(frame.orientation);
    x = turned_.swapped ? stored_y : stored_x;
    y = turned_.swapped ? stored_x : stored_y;
    x.flipped = turned_.flip_x;
    y.flipped = turned_.flip_y;
  }

  unsigned sample(int across, int down) const {
    int column = x.storedOf(across), row = y.storedOf(down);
    if (turned_.swapped) std::swap(column, row);
    const std::uint8_t* const at = static_cast<const std::uint8_t*>(frame_.planes[part_.plane]) +
                                   row * frame_.strides[part_.plane] +
                                   std::ptrdiff_t{column} * part_.step + part_.offset;
    return format_.word_bytes == 1 ? *at : (at[0] | unsigned{at[1]} << 8) >> format_.shift;
  }
  // Of an upright pixel.
  unsigned own(int across, int down) const { return sample(x.ownSample(across), y.ownSample(down)); }

  float value(const Taps& across, const Taps& down, Resampling mode) const {
    const auto at = [this](int i, int j) { return static_cast<float>(sample(i, j)); };
    if (mode == Resampling::kNearest) return at(across.first, down.first);
    if (mode == Resampling::kBilinear) {
      const auto between = [](float a, float b, float weight) { return a + (b - a) * weight; };
      const auto row = [&](int j) {
        return between(at(across.first, j), at(across.second, j), across.weight);
      };
      return between(row(down.first), row(down.second), down.weight);
    }
    float sum = 0;
    for (std::size_t i = 0; i < across.weights.size(); ++i) {
      float column = 0;
      for (std::size_t j = 0; j < down.weights.size(); ++j)
        column +=
            at(across.first + static_cast<int>(i), down.first + static_cast<int>(j)) * down.weights[j];
      sum += column * across.weights[i];
    }
    return sum;
  }

  ComponentAxis x, y;

 private:
  const FrameView& frame_;
  Format format_;
  Component part_;
  PlainOrientation turned_;
};

using Colours = std::array<float, 3>;

struct Factors {
  float gain, rv, gu, gv, bu;
};
Factors factorsOf(const FrameView& frame) {
  Tarn::YuvToRgbOptions options;
  options.standard = frame.matrix;
  options.range = frame.range;
  const Tarn::_ConvertMatrixFromYUV m = Tarn::makeYuvToRgbMatrix(options);
  return {m.coef[0], m.coef[2], m.coef[4], m.coef[5], m.coef[7]};
}

// A pixel of a float mode: R, G, B, or grey in each.
Colours floatColours(const FrameView& frame, bool grey, Colours value) {
  const auto clamped = [](float v) { return std::min(std::max(v, 0.0f), 255.0f); };
  if (!formatOf(frame.format).yuv) {
    for (float& v : value) v = clamped(v);
    if (grey && frame.format != FrameFormat::kGray)
      value.fill(clamped((0.299f * value[0] + 0.587f * value[1]) + 0.114f * value[2]));
    return value;
  }
  const bool limited = frame.range == Tarn::YuvRange::kLimited;
  if (formatOf(frame.format).word_bytes == 2)
    for (float& v : value) v *= limited ? 0.25f : 255.0f / 1023.0f;
  const Factors f = factorsOf(frame);
  const float y = limited ? (value[0] - 16.0f) * f.gain : value[0];
  const float u = value[1] - 128.0f, v = value[2] - 128.0f;
  if (grey) return {clamped(y), clamped(y), clamped(y)};
  return {clamped(y + v * f.rv), clamped((y + u * f.gu) + v * f.gv), clamped(y + u * f.bu)};
}

// The region's upright picture as the matching modes see it: R, G, B a pixel, or grey in each.
struct Picture {
  int width = 0, height = 0;
  std::vector<std::uint8_t> bytes = {};

  std::uint8_t at(int x, int y, int k) const {
    return bytes[(static_cast<std::size_t>(y) * static_cast<std::size_t>(width) +
                  static_cast<std::size_t>(x)) *
                     3 +
                 static_cast<std::size_t>(k)];
  }
};

std::uint8_t byteOf(std::int64_t value) {
  return static_cast<std::uint8_t>(std::clamp<std::int64_t>(value, 0, 255));
}

Picture pictureOf(const FrameView& frame, const TensorSpec& spec, const PlainGeometry& geometry) {
  const Format format = formatOf(frame.format);
  const bool limited = frame.range == Tarn::YuvRange::kLimited;
  const auto fixed = [](double factor) { return std::llround(factor * 0x1p20); };
  const Factors f = factorsOf(frame);
  std::int64_t cy = limited ? fixed(f.gain) : 1 << 20, rv = fixed(f.rv), gu = fixed(f.gu),
               gv = fixed(f.gv), bu = fixed(f.bu);
  if (limited && frame.matrix == Tarn::YuvMatrix::kBt601)
    cy = fixed(1.164), rv = fixed(1.596), gv = fixed(-0.813), gu = fixed(-0.391), bu = fixed(2.018);

  const Plane planes[3] = {Plane(frame, 0), Plane(frame, 1), Plane(frame, 2)};
  Picture picture = {geometry.across.pixels, geometry.down.pixels, {}};
  for (int y = 0; y < picture.height; ++y)
    for (int x = 0; x < picture.width; ++x) {
      std::int64_t c[3];
      for (int k = 0; k < 3; ++k) {
        c[k] = planes[k].own(geometry.across.first + x, geometry.down.first + y);
        if (format.word_bytes == 2) c[k] = std::min<std::int64_t>(255, (c[k] + 2) >> 2);
      }
      if (format.yuv) {
        const std::int64_t luma =
            (limited ? std::max<std::int64_t>(c[0] - 16, 0) : c[0]) * cy + (1 << 19);
        const std::int64_t u = c[1] - 128, v = c[2] - 128;
        c[0] = byteOf((luma + rv * v) >> 20);
        c[1] = byteOf((luma + gu * u + gv * v) >> 20);
        c[2] = byteOf((luma + bu * u) >> 20);
      }
      if (spec.colour == Tarn::TensorColour::kGray)
        c[0] = c[1] = c[2] = spec.resampling == Resampling::kOpencvLinear
                                 ? (9798 * c[0] + 19235 * c[1] + 3735 * c[2] + (1 << 14)) >> 15
                                 : (19595 * c[0] + 38470 * c[1] + 7471 * c[2] + (1 << 15)) >> 16;
      for (const std::int64_t value : c) picture.bytes.push_back(static_cast<std::uint8_t>(value));
    }
  return picture;
}

// Two samples and their weights of 11 bits.
struct LinearTaps {
  int first, second;
  std::int64_t w0, w1;
};
LinearTaps linearTaps(const PlainAxis& axis, std::int64_t i, bool across) {
  const double step = static_cast<double>(axis.pixels) / static_cast<double>(axis.scaled);
  const float position = static_cast<float>((static_cast<double>(i) + 0.5) * step - 0.5);
  int first = static_cast<int>(std::floor(position));
  float weight = position - static_cast<float>(first);
  // Columns lose their weight at an edge; rows keep it, with the edge's row twice.
  if (across && (first < 0 || first >= axis.pixels - 1)) {
    first = std::clamp(first, 0, axis.pixels - 1);
    weight = 0;
  }
  const auto bits = [](float w) { return static_cast<std::int64_t>(std::nearbyint(w * 2048.0f)); };
  const int last = axis.pixels - 1;
  return {std::clamp(first, 0, last), std::clamp(first + 1, 0, last), bits(1.0f - weight), bits(weight)};
}

std::uint8_t opencvLinear(const Picture& picture, const PlainGeometry& g, std::int64_t x, std::int64_t y,
                          int k) {
  if (g.across.scaled == g.across.pixels && g.down.scaled == g.down.pixels)
    return picture.at(static_cast<int>(x), static_cast<int>(y), k);
  if (2 * g.across.scaled == g.across.pixels && 2 * g.down.scaled == g.down.pixels) {
    const int left = static_cast<int>(2 * x), top = static_cast<int>(2 * y);
    return static_cast<std::uint8_t>((picture.at(left, top, k) + picture.at(left + 1, top, k) +
                                      picture.at(left, top + 1, k) + picture.at(left + 1, top + 1, k) +
                                      2) >>
                                     2);
  }
  const LinearTaps across = linearTaps(g.across, x, true), down = linearTaps(g.down, y, false);
  const auto row = [&](int j) {
    return picture.at(across.first, j, k) * across.w0 + picture.at(across.second, j, k) * across.w1;
  };
  return byteOf(
      (((down.w0 * (row(down.first) >> 4)) >> 16) + ((down.w1 * (row(down.second) >> 4)) >> 16) + 2) >>
      2);
}

double pillowFilter(Resampling mode, double x) {
  if (mode == Resampling::kPillowBox) return x > -0.5 && x <= 0.5 ? 1 : 0;
  x = std::abs(x);
  if (mode == Resampling::kPillowBilinear) return x < 1 ? 1 - x : 0;
  // Keys' cubic of parameter -0.5.
  if (x < 1) return (1.5 * x - 2.5) * x * x + 1;
  return x < 2 ? (((x - 5) * x + 8) * x - 4) * -0.5 : 0;
}

// One pass along x: the outputs from number `begin` on, `count` of them, of rows or, turned, of columns.
Picture pillowPass(const Picture& source, const PlainAxis& axis, std::int64_t begin, int count,
                   bool across, Resampling mode) {
  const double step = static_cast<double>(axis.pixels) / static_cast<double>(axis.scaled);
  const double stretch = std::max(step, 1.0);
  const double width = stretch * (mode == Resampling::kPillowBox       ? 0.5
                                  : mode == Resampling::kPillowBicubic ? 2.0
                                                                       : 1.0);
  const int lines = across ? source.height : source.width;
  Picture out = across ? Picture{count, lines, {}} : Picture{lines, count, {}};
  out.bytes.resize(static_cast<std::size_t>(count) * static_cast<std::size_t>(lines) * 3);
  for (int i = 0; i < count; ++i) {
    int first = static_cast<int>(begin + i);
    std::vector<std::int64_t> weights = {1 << 22};
    if (axis.scaled != axis.pixels) {
      const double centre = (static_cast<double>(begin + i) + 0.5) * step;
      first = std::max(0, static_cast<int>(centre - width + 0.5));
      const int end = std::min(axis.pixels, static_cast<int>(centre + width + 0.5));
      std::vector<double> exact;
      double sum = 0;
      for (int s = first; s < end; ++s) {
        exact.push_back(pillowFilter(mode, (s - centre + 0.5) * (1.0 / stretch)));
        sum += exact.back();
      }
      weights.clear();
      for (const double w : exact) {
        const double scaled = (sum != 0 ? w / sum : w) * 0x1p22;
        weights.push_back(static_cast<std::int64_t>(scaled + (scaled < 0 ? -0.5 : 0.5)));
      }
    }
    for (int line = 0; line < lines; ++line)
      for (int k = 0; k < 3; ++k) {
        std::int64_t sum = 1 << 21;
        for (std::size_t s = 0; s < weights.size(); ++s) {
          const int at = first + static_cast<int>(s);
          sum += (across ? source.at(at, line, k) : source.at(line, at, k)) * weights[s];
        }
        const std::size_t pixel =
            across ? static_cast<std::size_t>(line) * static_cast<std::size_t>(count) +
                         static_cast<std::size_t>(i)
                   : static_cast<std::size_t>(i) * static_cast<std::size_t>(lines) +
                         static_cast<std::size_t>(line);
        out.bytes[pixel * 3 + static_cast<std::size_t>(k)] = byteOf(sum >> 22);
      }
  }
  return out;
}

// What both sides of a matching mode share: the tensor's pixels that show the picture.
struct Shown {
  int first = 0, count = 0;
};
Shown shownOf(const PlainAxis& axis, int tensor_pixels) {
  Shown shown;
  for (int i = 0; i < tensor_pixels; ++i)
    if (axis.shows(i) && shown.count++ == 0) shown.first = i;
  return shown;
}

Picture pillow(Picture picture, const PlainGeometry& g, const TensorSpec& spec) {
  const Shown across = shownOf(g.across, spec.width), down = shownOf(g.down, spec.height);
  const bool rows_first = spec.pillow == 13 && g.down.scaled < g.down.pixels &&
                          g.down.pixels - g.down.scaled > 2 * (g.across.pixels - g.across.scaled);
  for (const bool columns : {!rows_first, rows_first}) {
    const PlainAxis& axis = columns ? g.across : g.down;
    const Shown& shown = columns ? across : down;
    picture = pillowPass(picture, axis, axis.begin + shown.first, shown.count, columns, spec.resampling);
  }
  return picture;
}

}  // namespace

PlainOrientation plainOrientation(int exif) {
  // 6: the stored picture's lowest row becomes the left column.
  static constexpr PlainOrientation kOrientations[] = {
      {false, false, false}, {false, true, false}, {false, true, true}, {false, false, true},
      {true, false, false},  {true, true, false},  {true, true, true},  {true, false, true}};
  return kOrientations[exif - 1];
}

PlainGeometry plainGeometry(const FrameView& frame, const TensorSpec& spec, const Region& region) {
  const bool swapped = plainOrientation(frame.orientation).swapped;
  const int upright_width = swapped ? frame.height : frame.width;
  const int upright_height = swapped ? frame.width : frame.height;
  const bool whole = region.x == 0 && region.y == 0 && region.width == 0 && region.height == 0;
  const auto cut = [whole](int first, int size, int pixels) {
    const std::int64_t from = std::max(first, 0);
    const std::int64_t to = std::min<std::int64_t>(std::int64_t{first} + size, pixels);
    return whole ? PlainAxis{0, pixels, 0, 0}
                 : PlainAxis{static_cast<int>(from), static_cast<int>(to - from), 0, 0};
  };
  PlainGeometry g = {cut(region.x, region.width, upright_width),
                     cut(region.y, region.height, upright_height)};
  const double w = g.across.pixels, h = g.down.pixels, tensor_w = spec.width, tensor_h = spec.height;
  const auto round = [](double v) { return static_cast<std::int64_t>(std::nearbyint(v)); };
  const auto scale = [&](double r) {
    g.across.scaled = std::max<std::int64_t>(1, round(w * r));
    g.down.scaled = std::max<std::int64_t>(1, round(h * r));
  };
  switch (spec.fit) {
    case Fit::kStretch:
      g.across.scaled = spec.width;
      g.down.scaled = spec.height;
      break;
    case Fit::kLetterbox:
    case Fit::kLetterboxTopLeft: {
      double r = std::min(tensor_w / w, tensor_h / h);
      if (spec.never_enlarge) r = std::min(r, 1.0);
      scale(r);
      if (spec.fit == Fit::kLetterboxTopLeft) break;
      g.across.begin = -round((tensor_w - static_cast<double>(g.across.scaled)) / 2 - 0.1);
      g.down.begin = -round((tensor_h - static_cast<double>(g.down.scaled)) / 2 - 0.1);
      break;
    }
    case Fit::kCrop:
      if (spec.short_side == 0) {
        scale(std::max(tensor_w / w, tensor_h / h));
      } else {
        PlainAxis &shorter = w <= h ? g.across : g.down, &longer = w <= h ? g.down : g.across;
        shorter.scaled = spec.short_side;
        longer.scaled = static_cast<std::int64_t>(static_cast<double>(spec.short_side) * longer.pixels /
                                                  shorter.pixels);
      }
      g.across.begin = round((static_cast<double>(g.across.scaled) - tensor_w) / 2);
      g.down.begin = round((static_cast<double>(g.down.scaled) - tensor_h) / 2);
      break;
  }
  return g;
}

std::vector<float> plainValues(const FrameView& frame, const TensorSpec& spec, const Region& region) {
  const PlainGeometry g = plainGeometry(frame, spec, region);
  const bool grey = spec.colour == Tarn::TensorColour::kGray, floats = isFloatMode(spec.resampling);
  const bool resized_before = !floats && spec.resampling != Resampling::kOpencvLinear;
  const Plane planes[3] = {Plane(frame, 0), Plane(frame, 1), Plane(frame, 2)};
  Picture picture;
  if (!floats) picture = pictureOf(frame, spec, g);
  if (resized_before) picture = pillow(picture, g, spec);
  const Shown across = shownOf(g.across, spec.width), down = shownOf(g.down, spec.height);
  // A column's samples are the same in every row.
  std::vector<std::array<Taps, 3>> columns(static_cast<std::size_t>(spec.width));
  for (int x = 0; floats && x < spec.width; ++x)
    for (std::size_t k = 0; k < 3; ++k)
      if (g.across.shows(x))
        columns[static_cast<std::size_t>(x)][k] =
            planes[k].x.taps(g.across, x + g.across.begin, spec.resampling);

  std::vector<float> values;
  for (int y = 0; y < spec.height; ++y) {
    std::array<Taps, 3> rows;
    for (std::size_t k = 0; floats && k < 3; ++k)
      if (g.down.shows(y)) rows[k] = planes[k].y.taps(g.down, y + g.down.begin, spec.resampling);
    for (int x = 0; x < spec.width; ++x) {
      if (!g.across.shows(x) || !g.down.shows(y)) {
        values.insert(values.end(), spec.bar, spec.bar + (grey ? 1 : 3));
        continue;
      }
      Colours pixel;
      for (std::size_t k = 0; k < 3; ++k) {
        const int channel = static_cast<int>(k);
        if (floats)
          pixel[k] = planes[k].value(columns[static_cast<std::size_t>(x)][k], rows[k], spec.resampling);
        else if (resized_before)
          pixel[k] = picture.at(x - across.first, y - down.first, channel);
        else
          pixel[k] = opencvLinear(picture, g, x + g.across.begin, y + g.down.begin, channel);
      }
      if (floats) pixel = floatColours(frame, grey, pixel);
      if (spec.colour == Tarn::TensorColour::kBgr) std::swap(pixel[0], pixel[2]);
      values.insert(values.end(), pixel.begin(), pixel.begin() + (grey ? 1 : 3));
    }
  }
  return values;
}

float plainElement(float value, const TensorSpec& spec, int channel) {
  value = value / spec.divisor;
  value = value - spec.mean[channel];
  value = value / spec.deviation[channel];
  return value * spec.scale[channel];
}

namespace {

// Rounds to a float of 16 bits, by the bits of its fraction and the exponent of its least normal value.
std::uint16_t shortFloat(float value, int fraction_bits, int least_exponent) {
  const unsigned sign = std::signbit(value) ? 0x8000 : 0;
  const unsigned infinity = 0x7FFFu >> fraction_bits << fraction_bits;
  if (std::isnan(value)) return static_cast<std::uint16_t>(sign | infinity | 1u << (fraction_bits - 1));
  if (std::isinf(value)) return static_cast<std::uint16_t>(sign | infinity);
  if (value == 0) return static_cast<std::uint16_t>(sign);
  const double magnitude = std::abs(static_cast<double>(value));
  const int exponent = std::max(std::ilogb(magnitude), least_exponent);
  // Multiples of the last place, ties to even. A fraction that is rounded up to the next power of two
  // carries into the exponent.
  const double places = std::nearbyint(std::ldexp(magnitude, fraction_bits - exponent));
  const unsigned bits = (static_cast<unsigned>(exponent - least_exponent) << fraction_bits) +
                        static_cast<unsigned>(places);
  return static_cast<std::uint16_t>(sign | std::min(bits, infinity));
}

std::uint8_t quantised(float value, float element, const TensorSpec& spec) {
  if (spec.type == Tarn::ElementType::kUint8 && spec.step == 0) return byteOf(std::llrint(value));
  const bool is_signed = spec.type == Tarn::ElementType::kInt8;
  const double rounded = static_cast<double>(std::nearbyint(element / spec.step)) + spec.zero_point;
  return static_cast<std::uint8_t>(
      static_cast<int>(std::clamp(rounded, is_signed ? -128.0 : 0.0, is_signed ? 127.0 : 255.0)));
}

}  // namespace

std::uint16_t plainHalf(float value) { return shortFloat(value, 10, -14); }
std::uint16_t plainBfloat16(float value) { return shortFloat(value, 7, -126); }

std::vector<std::uint8_t> plainTensor(const FrameView& frame, const TensorSpec& spec,
                                      const Region& region) {
  const std::vector<float> values = plainValues(frame, spec, region);
  const std::size_t channels = spec.colour == Tarn::TensorColour::kGray ? 1 : 3;
  const std::size_t pixels = values.size() / channels;
  std::vector<std::uint8_t> tensor;
  const auto append = [&tensor](auto element) {
    std::uint8_t bytes[sizeof element];
    std::memcpy(bytes, &element, sizeof element);
    tensor.insert(tensor.end(), bytes, bytes + sizeof element);
  };
  for (std::size_t i = 0; i < values.size(); ++i) {
    const bool planar = spec.layout == Tarn::TensorLayout::kNchw;
    const std::size_t channel = planar ? i / pixels : i % channels,
                      pixel = planar ? i % pixels : i / channels;
    const float value = values[pixel * channels + channel];
    const float element = plainElement(value, spec, static_cast<int>(channel));
    switch (spec.type) {
      case Tarn::ElementType::kFloat32:
        append(element);
        break;
      case Tarn::ElementType::kFloat16:
        append(plainHalf(element));
        break;
      case Tarn::ElementType::kBfloat16:
        append(plainBfloat16(element));
        break;
      case Tarn::ElementType::kUint8:
      case Tarn::ElementType::kInt8:
        append(quantised(value, element, spec));
        break;
    }
  }
  return tensor;
}

}  // namespace tn_reference
