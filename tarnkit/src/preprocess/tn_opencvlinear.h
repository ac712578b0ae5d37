// The matching mode kOpencvLinear: cv::resize with INTER_LINEAR on bytes.
#ifndef TN_KITS_PREPROCESS_TN_OPENCVLINEAR_H_
#define TN_KITS_PREPROCESS_TN_OPENCVLINEAR_H_

#include "tarnkit/src/cpu_x86/tn_wordfetch_cpu_x86.h"
#include "tarnkit/src/preprocess/tn_geometry.h"
#include "tarnkit/src/preprocess/tn_rgbrows.h"

namespace Tarn::preprocess {

// An output lies between samples `first` and first + 1, which may be one outside.
struct ByteTap {
  int first;
  std::int32_t weight[2];  // of 2048
};

class OpencvLinear {
 public:
  static constexpr bool kUpright = true;
  static constexpr bool kKeepsTables = false;

  OpencvLinear(const TensorSpec& spec, const FrameView& frame, const Geometry& geometry);
  void take(TarnCPU::Arrays& arrays);
  void begin();
  void row(std::size_t k, const float* out[3]);

 private:
  enum class Way { kCopy, kHalve, kInterpolate };

  // The samples that outputs along an axis need, counted as the region's axis is.
  SampleRange needed(const AxisGeometry& axis, bool across) const;
  SampleRange neededPixels(const AxisGeometry& axis, bool across) const;
  const std::int32_t* const* resampled(int y);
  void pick(int y);

  AxisGeometry x_, y_;
  Way way_;
  RgbRows rows_;
  std::size_t count_;  // outputs in a row
  bool on_samples_ = false;
  WordFetch fetch_ = {};
  WordFetch pixel_fetch_ = {};       // of pixels where they lie in the frame
  std::int32_t* weights_ = nullptr;  // two halves of 16 bits for each output
  std::int32_t* across_[2][3] = {};  // source rows resized across: row y at y % 2
  int held_[2] = {};
  float* values_[3] = {};
};

}  // namespace Tarn::preprocess

#endif  // TN_KITS_PREPROCESS_TN_OPENCVLINEAR_H_
