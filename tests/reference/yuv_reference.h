// Frames to tensors and crops, one sample at a time, straight from the documented rules.
#ifndef TN_KITS_TESTS_REFERENCE_YUV_REFERENCE_H_
#define TN_KITS_TESTS_REFERENCE_YUV_REFERENCE_H_

#include <cstdint>

#include "tn_yuvconverter.h"

namespace tn_test {

struct YuvSizes {
  int src_w, src_h, src_uv_w, dst_w, dst_h;

  std::int64_t lumaBytes() const { return std::int64_t{src_w} * src_h; }
  std::int64_t frameBytes() const { return lumaBytes() + std::int64_t{2} * src_uv_w * (src_h / 2); }
};

// Sample position of output i on an axis scaled by `scale`.
struct YuvPosition {
  YuvPosition(int i, float scale);
  int i0;
  float f0, f1;
};

// The tensor's planes are dst_w * dst_h floats; what the toolkit leaves alone stays alone.
void referenceConvert(const std::uint8_t* frame, const YuvSizes& sizes,
                      const Tarn::_ConvertMatrixFromYUV& mat, float* tensor);

// Without resampling: w x h pixels into planes of out_w x out_h.
void referenceConvertSameSize(const std::uint8_t* frame, int w, int h,
                              const Tarn::_ConvertMatrixFromYUV& mat, float* tensor, int out_w,
                              int out_h);

// The crop of interleaved (planar false) or three-plane chroma.
void referenceCrop(const _TN_Image& in, const _TN_Image& out, int x0, int y0, int x1, int y1,
                   bool planar);

}  // namespace tn_test

#endif  // TN_KITS_TESTS_REFERENCE_YUV_REFERENCE_H_
