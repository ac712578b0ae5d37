/// Pixel kernels: colour conversions between camera bytes and network layouts, turns, mirrors, cuts, and
/// a resizer.
///
/// All kernels are stateless and may run on several threads at once on separate destinations. They check
/// neither pointers nor sizes and report nothing; a buffer smaller than documented is overrun. Every
/// instruction set gives the same bytes. Pixels are packed: no padding between rows.
#ifndef TN_CV_H_
#define TN_CV_H_

#include "tn_kits_export.h"

namespace TarnCPU {

// The names are those that callers know.
// NOLINTBEGIN(readability-identifier-naming)

/// The kernels that network input preparation stands on; all members are static.
class TN_KITS_API TN_CV {
 public:
  // ---- Colour: YUV 4:2:0 to packed RGB -----------------------------------------------------------
  //
  // With d = U - 128 and e = V - 128 (BT.601, full range, coefficients in 1/64):
  //   R = (64 Y + 90 e) >> 6,  G = (64 Y - 22 d - 46 e) >> 6,  B = (64 Y + 113 d) >> 6,
  // with an arithmetic shift. The low 8 bits are stored: results outside 0 to 255 wrap, they are not
  // clamped. Callers rely on these exact bytes, so strongly coloured pixels come out shifted.
  //
  // Common to the three: src starts with w * h luma bytes, chroma follows at byte w * h; dst takes R, G,
  // B, 3 bytes a pixel. src and dst must not overlap; any alignment. When w or h is below 1 nothing is
  // touched.

  /// NV12 (U first) to RGB, writing past the image. With P = (h + 1) / 2 passes:
  ///   - pixel p below 2 * P * w takes luma byte p and chroma pair p / 2;
  ///   - the w pixels after those take luma byte p and chroma pair (p - w) / 2.
  /// Pixels are counted through all rows, and all divisions truncate. So the lower half of the
  /// picture takes its chroma from beyond the h / 2 chroma rows of an NV12 frame. That is how the
  /// kernel has always walked, rows running on into the next ones, and callers rely on the bytes.
  ///
  /// src: w * (h + 2 * P) bytes are read; for even h these are 2 * w * h, w * h / 2 more than an NV12
  ///   frame has. dst: 3 * w * (2 * P + 1) bytes are written; that is 3 * w past the image for even
  ///   h, 6 * w for odd h.
  static void nv12_to_rgb_fast_asm(const unsigned char* src, int w, int h, unsigned char* dst);

  /// NV21 (V first) to RGB; in everything else as nv12_to_rgb_fast_asm.
  static void yuv420sp_to_rgb_fast_asm(const unsigned char* src, int w, int h, unsigned char* dst);

  /// I420 to RGB: the U plane starts at byte w * h, the V plane at byte w * h + w * h / 4. Pixel
  /// (x, y) takes sample (y / 2) * (w / 2) + x / 2 of each; all divisions truncate.
  ///   - Odd w: the last column of every row is left as it was.
  ///   - Odd h: row h, below the image, is converted too, from the w bytes after the luma plane.
  ///
  /// src: with P = (h + 1) / 2, at most max(2 * P * w, w * h + w * h / 4 + P * (w / 2)) bytes are
  ///   read; for even sizes that is the frame's w * h * 3 / 2. dst: 6 * P * w bytes; that is the
  ///   image for even h, 3 * w more for odd h.
  static void yuv420f_to_rgb(const unsigned char* src, int w, int h, unsigned char* dst);

  // ---- Geometry: turns, mirrors, cuts, and a resizer of byte pairs ------------------------------
  //
  // Packed images have rows of width * channels bytes, planar ones rows of width floats and planes of
  // width * height floats; there is no padding anywhere. Source and destination must not overlap. No
  // alignment is required. Nothing is read or written outside the sizes stated.

  /// Quarter turns of a packed image of 3 or 4 bytes per pixel: clockwise (rotate90) and anticlockwise
  /// (anti_rotate90). The bytes of a pixel keep their order.
  ///
  /// src: w * h pixels, rows of w. dst: w * h pixels, rows of h: every byte of it is written.
  /// w, h: pixels; if either is below 1 nothing happens.
  ///
  /// With w and h multiples of 4, source pixel (row y, column x) goes to
  ///   clockwise      row x,         column h - 1 - y
  ///   anticlockwise  row w - 1 - x, column y.
  /// Other sizes keep the result of the 4x4 block walk that callers' stored results come from. With
  /// w4 = 4 * (w / 4) and h4 = 4 * (h / 4), the source pixel at position y * w + x - (y / 4) * (w - w4),
  /// which drifts left by w - w4 pixels every four rows, goes for all x < w4, y < h4 to
  ///   clockwise      row x,          column h4 - 1 - y
  ///   anticlockwise  row w4 - 1 - x, column y,
  /// and the rest of dst (the last w - w4 rows, the last h - h4 columns) is 0.
  /// Scratch memory: none. Errors: none.
  static void rotate90_intrinsics_3_channel(const unsigned char* src, int w, int h, unsigned char* dst);
  static void rotate90_intrinsics_4_channel(const unsigned char* src, int w, int h, unsigned char* dst);
  static void anti_rotate90_intrinsics_3_channel(const unsigned char* src, int w, int h,
                                                 unsigned char* dst);
  static void anti_rotate90_intrinsics_4_channel(const unsigned char* src, int w, int h,
                                                 unsigned char* dst);

  /// Mirrors left and right: pixel (row y, column x) goes to (row y, column w - 1 - x).
  /// src, dst: w * h pixels of c bytes; the bytes of a pixel keep their order.
  /// w, h, c: any; if one is below 1 nothing is written. 1, 3 and 4 bytes are the fast ones.
  /// Errors: none.
  static void flip_horizontal(const unsigned char* src, int w, int h, unsigned char* dst, int c);

  /// Mirrors top and bottom: row y goes to row h - 1 - y. Otherwise as flip_horizontal.
  static void flip_vertical(const unsigned char* src, int w, int h, unsigned char* dst, int c);

  /// Cuts columns x0 to x0 + w - 1 of rows y0 to y0 + h - 1 out of every plane of a planar image.
  /// src: c planes of src_w * src_h floats. dst: c planes of w * h floats. Values are copied bit by bit.
  /// The rectangle must lie inside the source; it is neither clipped nor filled.
  /// c, w, h: if one is below 1 nothing is written. Errors: none.
  static void cut_sub_img_inchw_outchw(const float* src, int src_w, int src_h, float* dst, int w, int h,
                                       int x0, int y0, int c);

  /// Cuts columns x0 to x0 + w - 1 of rows y0 to y0 + h - 1 out of a packed image of c bytes per pixel.
  /// src: src_w * src_h pixels. dst: w * h pixels. The rectangle must lie inside the source; it is
  /// neither clipped nor filled. The offset of its first byte, (src_w * y0 + x0) * c, wraps to a signed
  /// 32-bit integer: a rectangle that starts 2 GiB or more into the source is read from the wrong place.
  /// c, w, h: if one is below 1 nothing is written. Errors: none.
  static void cut_sub_img_inhwc_outhwc(const unsigned char* src, int src_w, int src_h,
                                       unsigned char* dst, int w, int h, int x0, int y0, int c);

  /// Resizes an image of interleaved byte pairs (the chroma plane of an NV12 or NV21 frame) with
  /// bilinear weights of 11 bits.
  ///
  /// src: sw * sh pairs. dst: dw * dh pairs. sw, sh: at least 2, for which the rule below is made; a
  /// 1-pair direction gives its one pair everywhere, and below 1 there is no source to read, so callers
  /// must not pass that. dw, dh: if either is below 1 nothing is read or written.
  ///
  /// Output column dx lies at p = float((dx + 0.5) * (sw / double(dw)) - 0.5) in the source; s is its
  /// floor and f = p - s (float) the share of column s + 1; s < 0 becomes column 0 alone, s >= sw - 1
  /// the last column alone. Both shares, 1 - f and f, times 2048 and rounded, halves up, are the weights
  /// a0 and a1, which may add up to 2049. Rows work alike, with b0 and b1. For each byte of a pair
  ///   row value = (S[s] * a0 + S[s + 1] * a1) >> 4,
  ///   D = (((row value 0 * b0) >> 16) + ((row value 1 * b1) >> 16) + 2) >> 2.
  /// Scratch memory: one block per call. Errors: std::bad_alloc.
  static void resize_bilinear_c2(const unsigned char* src, int sw, int sh, unsigned char* dst, int dw,
                                 int dh);
};

// Packed colour to grey and to planes. n is a count of pixels; a whole image is n = width * height. When
// n is below 1 nothing is touched. src and dst must not overlap; any alignment; no over-reach.

/// Grey of n pixels in double precision, added in this order and truncated:
///   min(255, int((G * 0.587 + R * 0.299) + B * 0.114)), the luma weights of BT.601.
/// That is floor((587 G + 299 R + 114 B) / 1000) but for 3464 colours whose sum is a multiple of 1000:
/// there the rounding of the double sum ends just below the integer, so grey 128 gives 127. Callers
/// rely on it, and every instruction set gives it. Such sums take time: a picture that is all of one
/// of these colours, other than a pure grey, takes some five times as long as others.
///
/// src: 4 * n bytes B, G, R, ignored. dst: n bytes.
TN_KITS_API void getGray_from_BGRA_HWC(const unsigned char* src, unsigned char* dst, int n);
/// As getGray_from_BGRA_HWC; src: 4 * n bytes R, G, B, ignored.
TN_KITS_API void getGray_from_RGBA_HWC(const unsigned char* src, unsigned char* dst, int n);
/// As getGray_from_BGRA_HWC; src: 3 * n bytes R, G, B.
TN_KITS_API void getGray_from_RGB_HWC(const unsigned char* src, unsigned char* dst, int n);

/// Splits n pixels into planes: R to dst[0, n), G to dst[n, 2 n), B to dst[2 n, 3 n); a fourth byte is
/// dropped.
///
/// src: 4 * n bytes B, G, R, ignored. dst: 3 * n bytes.
TN_KITS_API void getRGB_CHW_from_BGRA_HWC(const unsigned char* src, unsigned char* dst, int n);
/// As getRGB_CHW_from_BGRA_HWC; src: 4 * n bytes R, G, B, ignored.
TN_KITS_API void getRGB_CHW_from_RGBA_HWC(const unsigned char* src, unsigned char* dst, int n);
/// As getRGB_CHW_from_BGRA_HWC; src: 3 * n bytes R, G, B.
TN_KITS_API void getRGB_CHW_from_RGB_HWC(const unsigned char* src, unsigned char* dst, int n);

// NOLINTEND(readability-identifier-naming)

}  // namespace TarnCPU

#endif  // TN_CV_H_
