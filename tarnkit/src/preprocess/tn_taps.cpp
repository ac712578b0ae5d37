// Sample positions by chroma siting and orientation.
#include "tarnkit/src/preprocess/tn_taps.h"

#include <algorithm>
#include <cmath>

#include "tarnkit/src/cpu_x86/tn_wordfetch_cpu_x86.h"

namespace Tarn::preprocess {

PlaneAxis::PlaneAxis(const AxisGeometry& axis, int frame_size, bool flipped, bool halved, bool cosited,
                     SampleRange samples)
    : axis_(axis),
      frame_size_(frame_size),
      flipped_(flipped),
      halved_(halved),
      samples_(samples),
      step_(static_cast<double>(axis.size) / axis.scaled),
      base_(axis.start) {
  if (!halved) return;
  // Stored pixel p has its chroma at p / 2 - between. From the far end, where the samples of an odd size
  // reach half a sample beyond the pixels, that is p / 2 + (samples - 1) - (pixels - 1) / 2 + between.
  const double between = cosited ? 0.0 : 0.25;
  const double start =
      axis.start * 0.5 +
      (flipped ? halfUp(frame_size, 1) - 1 - (frame_size - 1) * 0.5 + between : -between);
  const double whole = std::floor(start);
  base_ = static_cast<int>(whole);
  shift_ = start - whole;
}

double PlaneAxis::position(std::size_t k) const {
  const double p = (static_cast<double>(k) + axis_.cut + 0.5) * step_ - 0.5;
  return halved_ ? p * 0.5 + shift_ : p;
}

int PlaneAxis::nearest(std::size_t k) const {
  const double at = std::floor((static_cast<double>(k) + axis_.cut + 0.5) * step_);
  const int pixel = axis_.start + std::min(static_cast<int>(at), axis_.size - 1);
  if (!halved_) return pixel;
  return flipped_ ? halfUp(frame_size_, 1) - 1 - (frame_size_ - 1 - pixel) / 2 : pixel / 2;
}

PlaneAxes planeAxes(const Geometry& geometry, const FrameView& frame, int component, bool upright,
                    SampleRange columns, SampleRange rows) {
  const FormatShape& shape = shapeOf(frame.format);
  const Turn turn = turnOf(frame.orientation);
  const bool chroma = component > 0;
  const bool top_left = frame.siting == ChromaSiting::kTopLeft;
  // Along the stored axes first.
  const bool swap = turn.swapped && upright;
  const PlaneAxis across(turn.swapped ? geometry.y : geometry.x, frame.width, turn.flip_x,
                         chroma && shape.halved_x != 0, top_left || frame.siting == ChromaSiting::kLeft,
                         swap ? rows : columns);
  const PlaneAxis down(turn.swapped ? geometry.x : geometry.y, frame.height, turn.flip_y,
                       chroma && shape.halved_y != 0, top_left, swap ? columns : rows);
  return swap ? PlaneAxes{down, across} : PlaneAxes{across, down};
}

void LinearTaps::take(TarnCPU::Arrays& arrays, std::size_t outputs) {
  count = outputs;
  first = arrays.take<std::int32_t>(fetchPadded(outputs));
  weight = arrays.take<float>(fetchPadded(outputs));
}

void LinearTaps::fill(const PlaneAxis& axis, bool nearest) {
  const double low = axis.samples().first - axis.base(), high = axis.samples().last - axis.base();
  on_samples = sixteenths = true;
  for (std::size_t k = 0; k < count; ++k) {
    if (nearest) {
      first[k] = axis.nearest(k);
      weight[k] = 0.0f;
      continue;
    }
    const double at = std::clamp(axis.position(k), low, high);
    int whole = static_cast<int>(at);
    if (whole > at) --whole;
    first[k] = axis.base() + whole;
    // Adding and subtracting so large a number rounds to multiples of 2^-24, half to even. A weight of
    // so many bits is a float, and so is what is left of 1.
    constexpr double kRounder = static_cast<double>(1 << 28) * 1.5;
    weight[k] = static_cast<float>((at - whole + kRounder) - kRounder);
    on_samples = on_samples && weight[k] == 0.0f;
    sixteenths =
        sixteenths && weight[k] * 16.0f == static_cast<float>(static_cast<int>(weight[k] * 16.0f));
  }
  std::fill(weight + count, weight + fetchPadded(count), count == 0 ? 0.0f : weight[count - 1]);
}

}  // namespace Tarn::preprocess
