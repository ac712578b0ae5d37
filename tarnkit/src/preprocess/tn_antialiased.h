// The float mode that looks at every sample: a triangle as wide as the step, down and then across.
#ifndef TN_KITS_PREPROCESS_TN_ANTIALIASED_H_
#define TN_KITS_PREPROCESS_TN_ANTIALIASED_H_

#include "tarnkit/src/preprocess/tn_colours.h"
#include "tarnkit/src/preprocess/tn_rows.h"
#include "tarnkit/src/preprocess/tn_taps.h"

namespace Tarn::preprocess {

// The samples of every output along an axis, and their weights.
struct TriangleTaps {
  std::size_t count = 0;
  std::size_t most = 0;           // samples that an output has at most
  std::int32_t* first = nullptr;  // sample number
  std::int32_t* samples = nullptr;
  float* weights = nullptr;  // `most` for each output

  void take(TarnCPU::Arrays& arrays, const PlaneAxis& axis);
  void fill(const PlaneAxis& axis);
};

class Antialiased {
 public:
  static constexpr bool kUpright = true;
  static constexpr bool kKeepsTables = true;

  Antialiased(const TensorSpec& spec, const FrameView& frame, const Geometry& geometry);
  void take(TarnCPU::Arrays& arrays);
  void begin();
  void start(const FrameView& frame);
  void row(std::size_t k, const float* out[3]);

 private:
  static constexpr std::size_t kBand = 16;  // output rows that are made at a time

  struct Plane {
    PlaneAxes axes;
    TriangleTaps x, y;
  };
  Plane makePlane(const FrameView& frame, const Geometry& geometry, int component) const;
  // Floats in a row of source samples.
  std::size_t sampleFloats(int component) const;
  void makePlaneBand(const Plane& plane, int component, std::size_t first, std::size_t count);

  TensorColour colour_;
  UprightRows rows_;
  ColourRule rule_;
  Plane luma_, chroma_;
  const std::uint8_t** sources_ = nullptr;
  float* down_ = nullptr;    // rows of a band, combined
  float* turned_ = nullptr;  // their columns
  float* across_ = nullptr;  // columns of the result
  float* values_[3] = {};    // rows of the result
};

}  // namespace Tarn::preprocess

#endif  // TN_KITS_PREPROCESS_TN_ANTIALIASED_H_
