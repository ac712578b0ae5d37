/// \file
/// Pixel kernels: colour conversions between camera bytes and network layouts, turns, mirrors, cuts, a
/// resizer, and affine warps of float tensors; and network input preparation, which puts them together.
/// For frames to tensors in new programs see tn_preprocess.h.
///
/// All kernels are stateless and may run on several threads at once on separate destinations. They check
/// neither pointers nor sizes and, but for network input preparation, report nothing. A buffer that is
/// too small is overrun: tn_extents.h says how many bytes each routine reads and writes, and
/// tn_checked.h checks that they are there. Every instruction set gives the same bytes. Pixels are
/// packed: no padding between rows.
#ifndef TN_CV_H_
#define TN_CV_H_

#include "tn_cnn.h"
#include "tn_image.h"
#include "tn_kits_export.h"

namespace TarnCPU {

// The names are those that callers know.
// NOLINTBEGIN(readability-identifier-naming)

/// The kernels that network input preparation stands on; all members are static.
class TN_KITS_API TN_CV {
 public:
  /// \name Colour: YUV 4:2:0 to packed RGB
  ///
  /// With d = U - 128 and e = V - 128 (BT.601, full range, coefficients in 1/64):
  ///   R = (64 Y + 90 e) >> 6,  G = (64 Y - 22 d - 46 e) >> 6,  B = (64 Y + 113 d) >> 6,
  /// with an arithmetic shift. The low 8 bits are stored: results outside 0 to 255 wrap, they are not
  /// clamped. Callers rely on these exact bytes, so strongly coloured pixels come out shifted.
  ///
  /// Common to the three: src starts with w * h luma bytes, chroma follows at byte w * h; dst takes R,
  /// G, B, 3 bytes a pixel. src and dst must not overlap; any alignment. When w or h is below 1 nothing
  /// is touched.
  /// \{

  /// NV12 (U first) to RGB, writing past the image. With P = (h + 1) / 2 passes:
  ///   - pixel p below 2 * P * w takes luma byte p and chroma pair p / 2;
  ///   - the w pixels after those take luma byte p and chroma pair (p - w) / 2.
  /// Pixels are counted through all rows, and all divisions truncate. So the lower half of the
  /// picture takes its chroma from beyond the h / 2 chroma rows of an NV12 frame. That is how the
  /// kernel has always read, rows running on into the next ones, and callers rely on the bytes.
  ///
  /// src, dst: Tarn::semiPlanarToRgbExtents(w, h). For even h that is w * h / 2 bytes more than an NV12
  ///   frame has, and one row of pixels past the image; for odd h two rows.
  static void nv12_to_rgb_fast_asm(const unsigned char* src, int w, int h, unsigned char* dst);

  /// NV21 (V first) to RGB; in everything else as nv12_to_rgb_fast_asm.
  static void yuv420sp_to_rgb_fast_asm(const unsigned char* src, int w, int h, unsigned char* dst);

  /// I420 to RGB: the U plane starts at byte w * h, the V plane at byte w * h + w * h / 4. Pixel
  /// (x, y) takes sample (y / 2) * (w / 2) + x / 2 of each; all divisions truncate.
  ///   - Odd w: the last column of every row is left as it was.
  ///   - Odd h: row h, below the image, is converted too, from the w bytes after the luma plane.
  ///
  /// src, dst: Tarn::planarToRgbExtents(w, h). For even sizes these are the frame and the image.
  static void yuv420f_to_rgb(const unsigned char* src, int w, int h, unsigned char* dst);

  /// \}

  /// \name Geometry: turns, mirrors, cuts, and a resizer of byte pairs
  ///
  /// Packed images have rows of width * channels bytes, planar ones rows of width floats and planes of
  /// width * height floats; there is no padding anywhere. Source and destination must not overlap. No
  /// alignment is required. Nothing is read or written outside the sizes stated.
  /// \{

  /// Quarter turns of a packed image of 3 or 4 bytes per pixel: clockwise (rotate90) and anticlockwise
  /// (anti_rotate90). The bytes of a pixel keep their order.
  ///
  /// src: w * h pixels, rows of w. dst: w * h pixels, rows of h: every byte of it is written
  ///   (Tarn::turnExtents).
  /// w, h: pixels; if either is below 1 nothing happens.
  ///
  /// With w and h multiples of 4, source pixel (row y, column x) goes to
  ///   clockwise      row x,         column h - 1 - y
  ///   anticlockwise  row w - 1 - x, column y.
  /// Other sizes keep the result of the loop over 4x4 blocks that callers' stored results come from.
  /// With w4 = 4 * (w / 4) and h4 = 4 * (h / 4), the source pixel at position y * w + x - (y / 4) * (w -
  /// w4), which drifts left by w - w4 pixels every four rows, goes for all x < w4, y < h4 to
  ///   clockwise      row x,          column h4 - 1 - y
  ///   anticlockwise  row w4 - 1 - x, column y,
  /// and the rest of dst (the last w - w4 rows, the last h - h4 columns) is 0.
  /// Scratch memory: none. Errors: none.
  static void rotate90_intrinsics_3_channel(const unsigned char* src, int w, int h, unsigned char* dst);
  /// Clockwise, 4 bytes a pixel; see rotate90_intrinsics_3_channel.
  static void rotate90_intrinsics_4_channel(const unsigned char* src, int w, int h, unsigned char* dst);
  /// Anticlockwise, 3 bytes a pixel; see rotate90_intrinsics_3_channel.
  static void anti_rotate90_intrinsics_3_channel(const unsigned char* src, int w, int h,
                                                 unsigned char* dst);
  /// Anticlockwise, 4 bytes a pixel; see rotate90_intrinsics_3_channel.
  static void anti_rotate90_intrinsics_4_channel(const unsigned char* src, int w, int h,
                                                 unsigned char* dst);

  /// Mirrors left and right: pixel (row y, column x) goes to (row y, column w - 1 - x).
  /// src, dst: w * h pixels of c bytes (Tarn::turnExtents); the bytes of a pixel keep their order.
  /// w, h, c: any; if one is below 1 nothing is written. 1, 3 and 4 bytes are the fast ones.
  /// Errors: none.
  static void flip_horizontal(const unsigned char* src, int w, int h, unsigned char* dst, int c);

  /// Mirrors top and bottom: row y goes to row h - 1 - y. Otherwise as flip_horizontal.
  static void flip_vertical(const unsigned char* src, int w, int h, unsigned char* dst, int c);

  /// Cuts columns x0 to x0 + w - 1 of rows y0 to y0 + h - 1 out of every plane of a planar image.
  /// src: c planes of src_w * src_h floats. dst: c planes of w * h floats (Tarn::cutPlanesExtents).
  /// Values are copied bit by bit. The rectangle must lie inside the source; it is neither clipped nor
  /// filled. c, w, h: if one is below 1 nothing is written. Errors: none.
  static void cut_sub_img_inchw_outchw(const float* src, int src_w, int src_h, float* dst, int w, int h,
                                       int x0, int y0, int c);

  /// Cuts columns x0 to x0 + w - 1 of rows y0 to y0 + h - 1 out of a packed image of c bytes per pixel.
  /// src: src_w * src_h pixels. dst: w * h pixels (Tarn::cutPixelsExtents). The rectangle must lie
  /// inside the source; it is neither clipped nor filled. The offset of its first byte, (src_w * y0 +
  /// x0) * c, wraps to a signed 32-bit integer: a rectangle that starts 2 GiB or more into the source is
  /// read from the wrong place. c, w, h: if one is below 1 nothing is written. Errors: none.
  static void cut_sub_img_inhwc_outhwc(const unsigned char* src, int src_w, int src_h,
                                       unsigned char* dst, int w, int h, int x0, int y0, int c);

  /// Resizes an image of interleaved byte pairs (the chroma plane of an NV12 or NV21 frame) with
  /// bilinear weights of 11 bits.
  ///
  /// src: sw * sh pairs. dst: dw * dh pairs (Tarn::resizeExtents, c = 2). sw, sh: at least 2, for which
  /// the rule below is made; a 1-pair direction gives its one pair everywhere, and below 1 there is no
  /// source to read, so callers must not pass that. dw, dh: if either is below 1 nothing is read or
  /// written.
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

  /// \}

  /// \name Network input: a camera frame to a tensor
  ///
  /// Common to getInMat and getInMat_m1. `image` becomes a tensor of 3 planes of width * height floats,
  /// 0 to 255: resized, converted to colours, turned, mirrored. `out` gets a tensor of its own; the one
  /// that it held is dropped just before, so that a video loop gets the same memory again. to_bgr: 0 for
  /// planes R, G, B; any other value for B, G, R.
  ///
  /// image: TN_PIX_FMT_YUVI420, BGRA, RGBA, NV12, NV21, BGR or RGB, 1x1 pixel or larger. No byte outside
  ///   the frame is read. For any other format one verbose line of tag "Tarn" is logged, "unsupport
  ///   frame data pixel format", and `out` stays as it was.
  /// width, height: the tensor's, at least 1. Every step works on this size, after a quarter turn too:
  ///   frames with TN_ORIENT_ROTATE_90 or _ANTI_ROTATE_90 want a square whose side is a multiple of 4.
  ///   Other sizes keep what the turning kernels above give, in rows of `height` pixels, read as rows of
  ///   `width`; pixels that a quarter turn leaves out are 0.
  /// work_a, work_b: scratch of any alignment, apart from each other and from the frame:
  ///   width * height * 4 bytes, and width * height * 3, for BGRA and RGBA * 4
  ///   (Tarn::networkInputExtents). What they hold after the call is not specified.
  ///
  /// Orientation: first one turn, then one mirror, FLIP_V before FLIP_H. Of several turns
  ///   - YUV frames take ROTATE_90 before ANTI_ROTATE_90 before a half turn, packed ones ANTI_ROTATE_90
  ///     before ROTATE_90 before a half turn; the difference is kept for producers that set both;
  ///   - the half turn (either bit) of a YUV frame is two quarter turns, rotate90 of width x height
  ///     twice, with their result for other sizes than squares of multiples of 4; packed pixels are
  ///     turned at any size.
  ///
  /// Colours of YUV frames are those of the converters above: BT.601, full range, wrapped, not clamped.
  ///   - NV12, NV21: the luma plane is resized, and the chroma plane of width / 2 x height / 2 pairs
  ///     (of the frame; its rows are taken as 2 * (width / 2) bytes) to half the target's size. As in
  ///     nv12_to_rgb_fast_asm pixel p of the target takes chroma pair p / 2, counted through all rows,
  ///     so half way down the chroma is read beyond the resized plane, where it is 128. So the whole
  ///     picture's colours are squeezed into the upper half, and the lower half is grey. Callers that
  ///     want every pixel's own colour use Tarn::TarnYUVToolKit.
  ///   - I420: planes are resized by nearest neighbour. For n = width * height pixels of the target, U
  ///     is written at n and V at n + n / 4; pixel (x, y) takes sample (y / 2) * (width / 2) + x / 2 of
  ///     each. An odd last row takes what follows its planes there: bytes that no plane fills are 128.
  ///     With odd width the last column of the picture (before it is turned) is what work_a held.
  ///   - A frame of width or height 1 has no chroma: 128.
  ///
  /// Scratch memory: the resizers' own; and for the half turn of a YUV frame to other sizes than squares
  /// of multiples of 4, width * height * 3 bytes. Errors: std::bad_alloc, with `out` as it was; the
  /// tensor's memory as Mat::from_pixels says. What the I420 colour conversion throws is logged as an
  /// error of tag "Tarn", "yuv420f_to_rgb error", and goes on to the caller.
  /// \{

  /// The whole frame, packed pixels and semi-planar ones resized with bilinear weights.
  static void getInMat(const _TN_Image* image, Mat& out, int to_bgr, int width, int height,
                       unsigned char* work_a, unsigned char* work_b);

  /// A rectangle of the frame, resized by nearest neighbour. NV12 and NV21 frames ignore it: they come
  /// whole, as from getInMat.
  ///
  /// crop_left, crop_top, crop_right, crop_bottom: inclusive corners in pixels of the stored frame, as
  ///   rectify_cropbox gives them; only read. They may reach outside: what they do not cover is 128 if
  ///   pad_grey, else 0. A rectangle without area (right < left or bottom < top) gives that background
  ///   alone. For the chroma of I420 frames the corners are halved, rounded down; chroma that they do
  ///   not cover is 128.
  ///
  /// work_a is filled with the background before anything else, for unsupported formats too; so the last
  /// column of I420 pictures of odd width is background.
  static void getInMat_m1(const _TN_Image* image, Mat& out, int to_bgr, int width, int height,
                          unsigned char* work_a, unsigned char* work_b, int& crop_left, int& crop_top,
                          int& crop_right, int& crop_bottom, bool pad_grey);

  /// Maps a box of the upright picture onto the stored frame: undoes the mirror, then the turn.
  ///
  /// image: `orient`, `width` and `height` are used, the pixels are not. The upright picture is
  ///   height x width when a quarter turn is set, else width x height. Both quarter turns set count as
  ///   ROTATE_90, for packed frames too.
  /// left, top, right, bottom: inclusive corners on the upright picture; overwritten by those on the
  ///   stored frame. box_width, box_height: right - left + 1 and bottom - top + 1; only read, and used
  ///   wherever a quarter turn or a mirror needs an extent.
  /// Nothing is clamped to the frame. Errors: none.
  static void rectify_cropbox(const _TN_Image* image, int& left, int& top, int& right, int& bottom,
                              int& box_width, int& box_height);

  /// Copies a planar tensor into the middle of a larger one.
  ///
  /// little: a CHW tensor of floats; the call drops its share on return. An empty one writes nothing.
  /// dst: little.c planes of dst_width * dst_height floats, not overlapping `little`, of which
  ///   Tarn::pasteExtents are written; the copy's first
  ///   column is (dst_width - little.w) / 2, its first row (dst_height - little.h) / 2, rounded down.
  ///   Floats around it are left as they were.
  /// dst_width, dst_height: not below little.w and little.h; nothing is clipped. Values are copied bit
  /// by bit. Errors: none.
  static void cover_mid_img_with_littleImg_inMat_outFloatPointer(float* dst, int dst_width,
                                                                 int dst_height, Mat little);
  /// \}
};

/// \name Packed colour to grey and to planes
///
/// n is a count of pixels; a whole image is n = width * height. When n is below 1 nothing is touched.
/// src and dst must not overlap; any alignment; no over-reach (Tarn::grayExtents, Tarn::planesExtents).
/// \{

/// Grey of n pixels in double precision, added in this order and truncated:
///   min(255, int((G * 0.587 + R * 0.299) + B * 0.114)), the luma weights of BT.601.
/// That is floor((587 G + 299 R + 114 B) / 1000) but for 3464 colours whose sum is a multiple of 1000:
/// there the rounding of the double sum ends just below the integer, so grey 128 gives 127. Callers
/// rely on it, and every instruction set gives it. Sums that are multiples of 1000 take time: areas of
/// one colour and pure greys are as fast as other pictures, but one in which nearly every few neighbours
/// hold such a colour, and do not repeat, takes three to five times as long.
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

/// \}

// NOLINTEND(readability-identifier-naming)

}  // namespace TarnCPU

/// \name Affine warps of planar float tensors
///
/// For layout CHW, to bring a face or an object upright before it goes into a network. Each destination
/// pixel is carried back into the source and takes a bilinear blend of the 2x2 pixels there.
///
/// matrix: six floats M0 to M5, two rows of three, apart from the destination. In coordinates in which
/// -1 to 1 spans a picture from edge to edge, the destination pixel at (x, y) samples the source at
///   (M0 x + M1 y + M2, M3 x + M4 y + M5);
/// (1, 0, 0, 0, 1, 0) is the identity.
///
/// The four differ in borders, in the sizes that they take and in their order of operations, and results
/// depend on all three:
///
///   affine            c planes, any two sizes; outside is 0, and so are the source's row 0 and column 0
///   affine_optimized  the same by shorter arithmetic; skewed unless the source is square
///   affine_sse        3 planes, one size; outside mixes the two pixels at the edge
///   affine_sse_hwc    3 planes, one size; replicates the edge
///
/// Below, sw, sh are the source's width and height, dw, dh the destination's, (i, j) a destination row
/// and column, hw = dw * 0.5 and hh = dh * 0.5. Arithmetic is in 32-bit floats in the order written, and
/// every instruction set gives the same bits; only which NaN a NaN is may differ. trunc(p) cuts p to a
/// 32-bit integer, toward zero; what does not fit one, infinities and NaN gives the smallest, -2^31.
///
/// Common to the four: tensors are taken by value and share their elements with the caller's. The
/// destination comes allocated, and its planes are written whole; a size or channel count of it below 1
/// writes nothing. Elements are floats, of any alignment. No matrix makes a warp read outside the
/// source (Tarn::warpExtents, Tarn::warpSameSizeExtents). A plane has fewer than 2^31 elements. Sizes
/// are not checked. Threads: safe on separate destinations. Scratch memory: none, but see
/// affine_sse_hwc. Errors: none in affine, affine_optimized, affine_sse.
/// \{

// The names are those that callers know.
// NOLINTBEGIN(readability-identifier-naming)

/// Warps any number of planes between any two sizes; what lies outside the source is 0.
/// With y = ((i + 0.5) - hh) / hh and x = ((j + 0.5) - hw) / hw,
///   u = (((y * M1) + (x * M0)) + M2) * 0.5 + 0.5,  X = sw * u - 0.5,
///   v = (((x * M3) + (y * M4)) + M5) * 0.5 + 0.5,  Y = sh * v - 0.5,
/// the pixel takes the blend at column X, row Y: with x0 = trunc(X), y0 = trunc(Y), fx = X - x0 and
/// fy = Y - y0,
///   (p10 * (1 - fx) + p11 * fx) * fy + (p00 * (1 - fx) + p01 * fx) * (1 - fy)
/// where p00 is the source at column x0, row y0, p01 the one right of it, and p10, p11 those below.
///
/// A tap counts as 0 outside the source, and in the source's column 0 and row 0 too: callers' stored
/// results have that border. Cutting toward zero makes fx and fy negative at positions between -1 and 0,
/// where column 1 and row 1 still count. Where no tap counts the result is a zero of either sign, or NaN
/// if X or Y is so far out, or so little a number, that the weights are infinite or NaN.
///
/// src: any size, with at least as many planes as dst; further ones are ignored. dst: any size; must not
/// overlap src.
TN_KITS_API void affine(TarnCPU::Mat src, TarnCPU::Mat dst, const float* matrix);

/// As affine in shorter arithmetic, for square sources. It differs in the position:
///   X = ((y * A1) + (x * A0)) + A2,  Y = ((y * B1) + (x * B0)) + B2,
///   y = (i + 0.5) * (1 / hh) - 1,    x = (j + 0.5) * (1 / hw) - 1,
/// where in double precision, each then rounded to float,
///   A0 = M0 * 0.5 * sw,  A1 = M1 * 0.5 * sh,  A2 = (M2 * 0.5 + 0.5) * sh - 0.5,
///   B0 = M3 * 0.5 * sw,  B1 = M4 * 0.5 * sh,  B2 = (M5 * 0.5 + 0.5) * sw - 0.5.
/// For a square source that is affine's position up to rounding. Otherwise it is not: the column's A1
/// and A2 are scaled by the height, the row's B0 and B2 by the width. Callers' matrices make up for it.
TN_KITS_API void affine_optimized(TarnCPU::Mat src, TarnCPU::Mat dst, const float* matrix);

/// Warps 3 planes within one size; what lies outside mixes the two pixels at the edge.
/// With yc = (i + 0.5) - hh and xc = (j + 0.5) - hw, the position is
///   X = ((xc * M0) + (yc * K1)) + C2,  K1 = (hw / hh) * M1,  C2 = (M2 + 1) * hw - 0.5,
///   Y = ((yc * M4) + (xc * K3)) + C5,  K3 = (hh / hw) * M3,  C5 = (M5 + 1) * hh - 0.5,
/// and with x0, y0, fx, fy and the taps as in affine the pixel takes
///   ((p00 * w00 + p01 * w01) + p10 * w10) + p11 * w11,
///   w00 = (1 - fy) * (1 - fx),  w01 = (1 - fy) * fx,  w10 = (1 - fx) * fy,  w11 = fy * fx.
/// After the weights are fixed, x0 below 0 becomes 0 and x0 from dw - 1 on becomes dw - 2; y0 likewise.
/// So an outside position extrapolates (left and above, where shares are negative) or interpolates the
/// edge pair of pixels by its fraction, and even the identity takes its last column from column dw - 2
/// and its last row from row dh - 2. Only positions beyond 32 bits have shares beyond 1.
///
/// src, dst: 3 planes each, both of dst's size, which must be at least 2x2: otherwise nothing is read or
/// written. They must not overlap.
TN_KITS_API void affine_sse(TarnCPU::Mat src, TarnCPU::Mat dst, const float* matrix);

/// Warps 3 planes within one size and replicates the edge. It differs from affine_sse in the position
/// and the edge:
///   X = ((((yc * M1) * Q1) + (xc * M0)) + C2) - 0.5,  Q1 = hw / hh,  C2 = (M2 + 1) * hw,
///   Y = ((((xc * M3) * Q3) + (yc * M4)) + C5) - 0.5,  Q3 = hh / hw,  C5 = (M5 + 1) * hh,
/// and the weights follow the clamp: x0 below 0 becomes 0 with fx = 0, x0 from dw - 1 on becomes dw - 2
/// with fx = 1; y0 and fy likewise. So outside positions replicate the edge, but for those between -1
/// and 0, which cut to 0 with a negative share and extrapolate a little.
///
/// src, dst: as for affine_sse, but they may be one tensor or overlap.
///
/// Scratch memory: none, unless src and dst overlap: then a copy of the source, 3 * w * h floats.
/// Errors: when the memory for that copy cannot be had, the assertion `false && "malloc failed"` ends
/// the program, in Release too.
TN_KITS_API void affine_sse_hwc(TarnCPU::Mat src, TarnCPU::Mat dst, const float* matrix);

/// \}

// NOLINTEND(readability-identifier-naming)

#endif  // TN_CV_H_
