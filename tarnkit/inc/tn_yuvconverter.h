/// \file
/// YUV 4:2:0 frames to network tensors, and crops of such frames. For new programs see tn_preprocess.h.
#ifndef TN_YUVCONVERTER_H_
#define TN_YUVCONVERTER_H_

#include <cstddef>
#include <cstdint>

#include "tn_image.h"
#include "tn_kits_export.h"

namespace Tarn {

/// The colour matrix of a toolkit. Output channel r is
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

static_assert(offsetof(_ConvertMatrixFromYUV, coef) == 0 &&
                  offsetof(_ConvertMatrixFromYUV, offset) == 36 && sizeof(_ConvertMatrixFromYUV) == 48,
              "the layout of _ConvertMatrixFromYUV is part of the binary interface");

/// Resamples and colour-converts frames of one size into tensors of another; everything that depends on
/// the sizes alone is computed once, in the constructor. One object serves one thread at a time; its
/// static members serve any number at once, on separate outputs. Results are the same to the bit on
/// every CPU.
///
/// Frames are 4:2:0 with interleaved chroma, packed, at any alignment; tensors are three float planes,
/// at the alignment of float (64 bytes are fastest). Input and output must not overlap.
class TN_KITS_API TarnYUVToolKit {
 public:
  /// src_width, src_height: pixels of the frames; src_width is also their luma pitch.
  /// src_uv_width: chroma pairs in a chroma row (src_width / 2), so the chroma pitch is twice that.
  /// src_uv_height: stored and never used; the chroma has src_height / 2 rows.
  /// dst_width, dst_height: pixels of the tensors.
  ///
  /// The scale of an axis is float(src) / float(dst), in single precision and for chroma the same as for
  /// luma. Output i lies at p = (i + 0.5) * scale - 0.5, computed in double and rounded to float,
  /// between samples i0 = p truncated toward zero and i0 + 1, with weights (i0 + 1) - p and p - i0.
  /// Positions are not clamped: in front of the first sample the weights extrapolate (1.25 and -0.25 in
  /// the first column of a frame scaled up by 2), and behind the last one the tap i0 + 1 is the next
  /// byte of the plane, which at the end of a row is the next row's first.
  ///
  /// Keeps, in seven blocks from calloc, 36 bytes for each output pixel, about 65 for each output
  /// column, 16 for each output row and 4 for each column of the frame. Sizes are not validated: below 1
  /// on the output side means no output, on the input side a frame without that kind of bytes (a frame
  /// without any reads as 0).
  /// Errors: std::bad_alloc when any block cannot be had, or is larger than memory can be; none is kept.
  TarnYUVToolKit(const int& src_width, const int& src_height, const int& src_uv_width,
                 const int& src_uv_height, const int& dst_width, const int& dst_height);
  ~TarnYUVToolKit();
  /// Not copied; assignment shares.
  TarnYUVToolKit(const TarnYUVToolKit&) = delete;
  /// Copies all fields, the addresses of tables and scratch included: nothing of the target is freed,
  /// both objects then use the same memory and each destructor frees it. Destroy only one of the two,
  /// and let one thread at a time use either. The matrices stay independent.
  TarnYUVToolKit& operator=(const TarnYUVToolKit& other);

  /// The colour matrix of `convert`; all zero at first, so that every result is +0.
  const _ConvertMatrixFromYUV getCvtMat() const;
  /// Sets it; kept by value, in force from the next `convert` on.
  void setCvtMat(const _ConvertMatrixFromYUV& mat);

  /// One frame to one tensor.
  /// in_: `data` is read as a frame of the constructor's sizes: src_width * src_height bytes of luma,
  /// then 2 * src_uv_width * (src_height / 2) of chroma. No other field is looked at.
  ///
  /// out_: `pix_fmt` must be TN_PIX_FMT_CHW_F32, or nothing happens; `data` takes
  /// 3 * dst_width * dst_height floats. No other field is looked at.
  ///
  /// With taps t0 (top left) to t3 (bottom right) a sample is t0*w0 + t1*w1 + t2*w2 + t3*w3 from left to
  /// right, each weight the product of a column's and a row's weight, rounded to float. A pair of chroma
  /// samples serves the 2 x 2 pixels of its block. Values are neither clamped nor rounded.
  /// The last column of an odd width and the last row of an odd height are not written.
  ///
  /// Over-reach: none; the frame may end where readable memory ends. A luma tap behind the luma reads
  /// the chroma there, a tap behind the frame the last byte of its own kind (of its own place in the
  /// pair for chroma); chroma that the frame does not have is 0. Allocates nothing. Errors: none.
  void convert(const _TN_Image& in_, const _TN_Image& out_);

  /// One frame to one tensor at the frame's own size, without resampling.
  /// in_: width * height bytes of luma, then height / 2 rows of `width` bytes of chroma pairs.
  /// out_: three planes of `width` * `height` floats, at least as wide and high as in_ rounded down to
  /// even. An odd last column or row is not converted; floats outside the frame's part are not written.
  /// Over-reach: none. Errors: an in_.pix_fmt other than TN_PIX_FMT_NV12, _NV21, _YUVI420 and _YUV420V,
  /// or an out_.pix_fmt other than TN_PIX_FMT_CHW_F32, fails an assertion, which ends the process.
  /// Three-plane frames pass that test and are then read as if their chroma were interleaved: the test
  /// guards the 4:2:0 family only, and callers rely on it.
  static void Convert(const _TN_Image& in_, const _TN_Image& out_, const _ConvertMatrixFromYUV& mat);

  /// Cuts the rectangle from (x0, y0) to (x1, y1), both inclusive and in input pixels, out of a frame
  /// with interleaved chroma (TN_PIX_FMT_NV12, _NV21, _YUV420V). The rectangle may reach outside the
  /// frame: what lies inside lands at its place in the rectangle, and the rest of the output stays as it
  /// was. A rectangle wholly outside, or inverted, writes nothing.
  ///
  /// in_, out_: `width`, `height` and `data` are read; out_ is normally the rectangle's size, and `data`
  /// of both must not overlap. Formats and sizes are trusted.
  ///
  /// Rows are copied in pairs with the chroma row that goes with them, and an even number of bytes of
  /// each: of an odd last column nothing is copied, and with an odd number of rows the row below comes
  /// along, even where it runs past a plane of either frame (for a frame of odd height, behind the
  /// chroma too). Chroma offsets are used as they are, so odd corners swap U and V or shift the chroma
  /// against the luma: give even ones.
  ///
  /// Over-reach: none beyond these rows. With (x, y) the first pixel of the part inside, P its pairs of
  /// rows, (rows + 1) / 2, and L its columns rounded down to even, L bytes from column x on are read of
  /// each of the 2 * P luma rows from y on and of each of the P chroma rows from y / 2 on, rows counted
  /// on past the ends of planes; nothing else is read. The output is written alike, from
  /// (x - x0, y - y0) on.
  static void Crop(const _TN_Image& in_, const _TN_Image& out_, const int& x0, const int& y0,
                   const int& x1, const int& y1);
  /// The same for three planes (TN_PIX_FMT_YUVI420), U at width * height and V a quarter of that further
  /// on, L / 2 bytes of each. Offsets into the U and V planes are those of the interleaved form halved
  /// after the row arithmetic.
  static void Crop_YUVI420(const _TN_Image& in_, const _TN_Image& out_, const int& x0, const int& y0,
                           const int& x1, const int& y1);

 private:
  // The order and widths of these fields are part of the binary interface.
  std::int32_t src_width_, src_height_;
  std::int32_t src_uv_width_;   ///< chroma pairs in a chroma row
  std::int32_t src_uv_height_;  ///< kept for the layout; no operation reads it
  std::int32_t dst_width_, dst_height_;
  _ConvertMatrixFromYUV cvt_mat_;
  // From calloc, freed in this order. The three planes stay zero: convert keeps a pair of rows in its
  // scratch and writes the tensor from there. Filling whole planes took a sixth to a third longer.
  float* buf_y_;  ///< dst_width * dst_height
  float* buf_u_;  ///< a quarter of that
  float* buf_v_;
  // For each luma pixel, and for each of (dst_width / 2) * (dst_height / 2) chroma samples: 4 weights,
  // and the byte index within its plane of the top-left and of the bottom-left tap.
  float* weights_y_;
  float* weights_uv_;
  std::int32_t* index_y_;
  std::int32_t* index_uv_;
  // Behind its table the last block holds what convert works with: the same tables by axis, small enough
  // for the first cache, and its scratch.
};

static_assert(sizeof(TarnYUVToolKit) == 128, "the toolkit is its fourteen fields, without padding");

}  // namespace Tarn

#endif  // TN_YUVCONVERTER_H_
