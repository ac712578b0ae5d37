// Where outputs lie among the samples of a plane, one axis at a time, in double precision.
//
// All positions count along the straight or upright axis: samples from its low end, also where the frame
// is stored the other way round.
#ifndef TN_KITS_PREPROCESS_TN_TAPS_H_
#define TN_KITS_PREPROCESS_TN_TAPS_H_

#include <cstddef>
#include <cstdint>

#include "tarnkit/src/preprocess/tn_geometry.h"
#include "tarnkit/src/preprocess/tn_rows.h"

namespace Tarn::preprocess {

// One axis of one plane.
class PlaneAxis {
 public:
  // axis: of the pixels. flipped, halved, cosited: how the plane's samples lie along it; a halved axis
  // has its samples on every second pixel (cosited) or between two. frame_size: pixels of the whole
  // frame along the axis. samples: those that may be used.
  PlaneAxis(const AxisGeometry& axis, int frame_size, bool flipped, bool halved, bool cosited,
            SampleRange samples);

  std::size_t outputs() const { return static_cast<std::size_t>(axis_.shown); }
  SampleRange samples() const { return samples_; }
  // Samples from one output to the next.
  double step() const { return halved_ ? step_ * 0.5 : step_; }
  // The sample position of output k, counted from base().
  double position(std::size_t k) const;
  int base() const { return base_; }
  // The sample nearest to output k; of halved planes the one of the nearest pixel.
  int nearest(std::size_t k) const;

 private:
  AxisGeometry axis_;
  int frame_size_;
  bool flipped_, halved_;
  SampleRange samples_;
  double step_, shift_ = 0.0;
  int base_;
};

// The axes of a component (0 luma, else chroma) of a frame, for geometry given along upright axes.
// upright: axes of the upright picture, else those of the straight one.
struct PlaneAxes {
  PlaneAxis x, y;
};
PlaneAxes planeAxes(const Geometry& geometry, const FrameView& frame, int component, bool upright,
                    SampleRange columns, SampleRange rows);

// The pixels along an axis that belong to its region.
inline SampleRange pixelsOf(const AxisGeometry& axis) {
  return {axis.start, axis.start + axis.size - 1};
}

// Two neighbouring samples: output k takes first[k], and weight[k] of the way to the next one.
struct LinearTaps {
  std::size_t count = 0;
  std::int32_t* first = nullptr;
  float* weight = nullptr;
  bool on_samples = false;  // every weight is 0
  bool sixteenths = false;  // every weight is a multiple of 1 / 16, as with many whole scales

  void take(TarnCPU::Arrays& arrays, std::size_t outputs);
  // nearest: the nearest sample, with weight 0.
  void fill(const PlaneAxis& axis, bool nearest);
};

}  // namespace Tarn::preprocess

#endif  // TN_KITS_PREPROCESS_TN_TAPS_H_
