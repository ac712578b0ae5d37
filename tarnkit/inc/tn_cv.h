/// Stateless pixel kernels of the library. Every kernel gives the same bytes on every processor.
#ifndef TN_CV_H_
#define TN_CV_H_

#include "tn_kits_export.h"

namespace TarnCPU {

/// Pixel kernels; all members are static, keep no state and may run on several threads at once on
/// separate buffers. They check nothing: buffers have the sizes that each one states.
class TN_KITS_API TN_CV {
 public:
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
  /// 1-pair direction gives its one pair everywhere. dw, dh: if either is below 1 nothing is written.
  ///
  /// Output column dx lies at f = float((dx + 0.5) * (sw / double(dw)) - 0.5) in the source; s is its
  /// floor and f - s the weight of column s + 1 (float); s < 0 becomes column 0 alone, s >= sw - 1 the
  /// last column alone. Both weights, 1 - f and f, times 2048 and rounded, halves up, are a0 and a1;
  /// they may add up to 2049. Rows work alike, with b0 and b1. For each byte of a pair
  ///   row value = (S[s] * a0 + S[s + 1] * a1) >> 4,
  ///   D = (((row value 0 * b0) >> 16) + ((row value 1 * b1) >> 16) + 2) >> 2.
  /// Scratch memory: one block per call. Errors: std::bad_alloc.
  static void resize_bilinear_c2(const unsigned char* src, int sw, int sh, unsigned char* dst, int dw,
                                 int dh);
};

}  // namespace TarnCPU

#endif  // TN_CV_H_
