/// YUV 4:2:0 frames to network tensors, and crops of such frames.
#ifndef TN_YUVCONVERTER_H_
#define TN_YUVCONVERTER_H_

#include <cstdint>

#include "tn_image.h"
#include "tn_kits_export.h"

namespace Tarn {

/// Colour conversion of one pixel: output channel r is
///   coef[3r]*Y + coef[3r+1]*C1 + coef[3r+2]*C2 + offset[r]
/// in single precision, summed from left to right, with Y and the chroma pair (C1, C2) as stored
/// bytes 0 to 255. Nothing is subtracted from the chroma: the offsets carry that, and so do a
/// network's mean and scale. For NV21, whose pairs are stored V first, swap columns 1 and 2.
/// makeYuvToRgbMatrix (tn_colormatrix.h) fills one from a video standard.
struct _ConvertMatrixFromYUV {
  float coef[9];    ///< row-major 3 x 3
  float offset[3];  ///< one for each output channel

  /// All zero.
  _ConvertMatrixFromYUV() : coef{}, offset{} {}
  /// The twelve values in field order.
  _ConvertMatrixFromYUV(const float& c0, const float& c1, const float& c2, const float& c3,
                        const float& c4, const float& c5, const float& c6, const float& c7,
                        const float& c8, const float& o0, const float& o1, const float& o2)
      : coef{c0, c1, c2, c3, c4, c5, c6, c7, c8}, offset{o0, o1, o2} {}
};

static_assert(sizeof(_ConvertMatrixFromYUV) == 12 * sizeof(float),
              "the layout of _ConvertMatrixFromYUV is part of the binary interface");

/// Resamples and colour-converts frames of one size into tensors of another; everything that depends
/// on the sizes alone is computed once, in the constructor.
class TN_KITS_API TarnYUVToolKit {
 public:
  TarnYUVToolKit(const int& src_width, const int& src_height, const int& src_uv_width,
                 const int& src_uv_height, const int& dst_width, const int& dst_height);
  ~TarnYUVToolKit();
  TarnYUVToolKit(const TarnYUVToolKit&) = delete;
  TarnYUVToolKit& operator=(const TarnYUVToolKit& other);

  const _ConvertMatrixFromYUV getCvtMat() const;
  void setCvtMat(const _ConvertMatrixFromYUV& mat);

  void convert(const _TN_Image& in_, const _TN_Image& out_);
  static void Convert(const _TN_Image& in_, const _TN_Image& out_, const _ConvertMatrixFromYUV& mat);
  static void Crop(const _TN_Image& in_, const _TN_Image& out_, const int& x0, const int& y0,
                   const int& x1, const int& y1);
  static void Crop_YUVI420(const _TN_Image& in_, const _TN_Image& out_, const int& x0, const int& y0,
                           const int& x1, const int& y1);

 private:
  std::int32_t src_width_, src_height_;
  std::int32_t src_uv_width_;   ///< chroma pairs in a chroma row
  std::int32_t src_uv_height_;  ///< kept for the layout; no operation reads it
  std::int32_t dst_width_, dst_height_;
  _ConvertMatrixFromYUV cvt_mat_;
  float* buf_y_;
  float* buf_u_;
  float* buf_v_;
  float* weights_y_;
  float* weights_uv_;
  std::int32_t* index_y_;
  std::int32_t* index_uv_;
};

}  // namespace Tarn

#endif  // TN_YUVCONVERTER_H_
