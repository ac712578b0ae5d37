// The float modes that look at no more than two samples an axis: nearest and bilinear.
#ifndef TN_KITS_PREPROCESS_TN_POINTSAMPLER_H_
#define TN_KITS_PREPROCESS_TN_POINTSAMPLER_H_

#include "tarnkit/src/cpu_x86/tn_wordfetch_cpu_x86.h"
#include "tarnkit/src/preprocess/tn_colours.h"
#include "tarnkit/src/preprocess/tn_rows.h"
#include "tarnkit/src/preprocess/tn_taps.h"

namespace Tarn::preprocess {

// Works along the straight axes: with swapped ones its rows are the columns of the upright picture.
class PointSampler {
 public:
  static constexpr bool kUpright = false;
  static constexpr bool kKeepsTables = true;

  PointSampler(const TensorSpec& spec, const FrameView& frame, const Geometry& geometry);
  // Called without a block first, for the size, then with one.
  void take(TarnCPU::Arrays& arrays);
  // Fills the tables, which serve all frames of one format, size, orientation and siting.
  void begin();
  // Begins a frame, which must outlive the calls of row().
  void start(const FrameView& frame);
  // Content row k: values from 0 to 255, padded to kFetchLanes, valid until the next call.
  void row(std::size_t k, const float* out[3]);

 private:
  // What the components of one resolution share.
  struct Plane {
    PlaneAxes axes;
    LinearTaps x, y;
    WordFetch fetch;
    std::int32_t* sixteenths;  // weights as bytes, where they are such
    bool keeps_rows;           // interpolated across, since the next output row needs some of them again
  };
  // A source row interpolated across, as many values as its form has components.
  struct KeptRow {
    float* values[3];
    int y;
  };
  Plane makePlane(const FrameView& frame, const Geometry& geometry, int component) const;
  void sample(const Plane& plane, int component, std::size_t k, float* const out[3]);
  const KeptRow& keptRow(const Plane& plane, int component, int y);

  bool nearest_;
  TensorColour colour_;
  bool down_first_;
  Rows rows_;
  ColourRule rule_;
  Plane luma_, chroma_;
  KeptRow kept_[3][2] = {};  // of each component: row y in y % 2
  float* values_[3] = {};
};

}  // namespace Tarn::preprocess

#endif  // TN_KITS_PREPROCESS_TN_POINTSAMPLER_H_
