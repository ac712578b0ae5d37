/// \file
/// How many bytes each routine reads and writes, as functions of its sizes.
///
/// One function a family gives the extent of every buffer that its routines take. Callers size buffers
/// with it, at compile time if they like:
///
///     std::vector<unsigned char> rgb(Tarn::semiPlanarToRgbExtents(w, h).dst.end());
///
/// The checked routines (tn_checked.h) and this library's tests take their sizes from here and from
/// nowhere else. Elements are counted in bytes, floats too.
///
/// Arguments have the names and the types of the routine's own. Sizes below 1, for which a routine does
/// nothing, give extents of 0 bytes where it would write. Sizes that its contract leaves out, and
/// extents that 64 bits cannot hold, give kNoExtent for all buffers of the call. Larger sizes than a
/// kernel was made for are not refused here; tn_checked.h has those limits.
///
/// Not here: routines that take text, files or single values.
///
/// All functions are constexpr, throw nothing and may run on any thread.
#ifndef TN_EXTENTS_H_
#define TN_EXTENTS_H_

#include <cstddef>
#include <cstdint>
#include <limits>

#include "tn_image.h"

namespace Tarn {

/// The part of a buffer that a call may touch. Unless a function says otherwise, every byte of it is
/// touched.
struct Extent {
  std::size_t offset;  ///< bytes from the start of the buffer to the first byte touched
  std::size_t bytes;   ///< bytes from there to the end of the last one touched

  /// What the buffer must hold: bytes from its start to the end of the extent.
  constexpr std::size_t end() const { return offset + bytes; }
};
/// Whether two extents are the same bytes.
constexpr bool operator==(const Extent& a, const Extent& b) {
  return a.offset == b.offset && a.bytes == b.bytes;
}
/// Whether two extents differ.
constexpr bool operator!=(const Extent& a, const Extent& b) { return !(a == b); }

/// No buffer is large enough for this one: the sizes are outside the contract, or overflow.
constexpr Extent kNoExtent = {0, std::numeric_limits<std::size_t>::max()};

/// Of a routine from one buffer into another.
struct TransferExtents {
  Extent src;  ///< is read
  Extent dst;  ///< is written
};

/// What the functions below are made of.
namespace extents {

/// A number of bytes, at least 0, that knows when it has overflowed.
class Count {
 public:
  /// value: below 0 counts as overflowed.
  constexpr Count(std::int64_t value)  // NOLINT(google-explicit-constructor): sums of plain numbers
      : value_(value < 0 ? 0 : static_cast<std::uint64_t>(value)), valid_(value >= 0) {}

  /// The sum.
  friend constexpr Count operator+(Count a, Count b) {
    return {a.value_ + b.value_, a.valid_ && b.valid_ && a.value_ <= kMost - b.value_};
  }
  /// The product.
  friend constexpr Count operator*(Count a, Count b) {
    return {a.value_ * b.value_,
            a.valid_ && b.valid_ && (b.value_ == 0 || a.value_ <= kMost / b.value_)};
  }
  /// Rounded down.
  friend constexpr Count operator/(Count a, int b) {
    return {a.value_ / static_cast<std::uint64_t>(b), a.valid_};
  }
  /// Whether it has not overflowed.
  constexpr bool valid() const { return valid_; }
  /// The number, if it has not.
  constexpr std::size_t value() const { return static_cast<std::size_t>(value_); }

 private:
  // One less than the bytes of kNoExtent.
  static constexpr std::uint64_t kMost = std::numeric_limits<std::size_t>::max() - 1;

  constexpr Count(std::uint64_t value, bool valid) : value_(value), valid_(valid) {}

  std::uint64_t value_;
  bool valid_;
};

/// The larger of the two.
constexpr Count larger(Count a, Count b) {
  return a.valid() && (!b.valid() || a.value() < b.value()) ? b : a;
}
/// `value`, or 0 when it is below 0.
constexpr int atLeast0(int value) { return value < 0 ? 0 : value; }

/// From `offset` to `end`, which is not below it; nothing when there are no bytes.
constexpr Extent between(Count offset, Count end) {
  if (!offset.valid() || !end.valid()) return kNoExtent;
  if (end.value() == offset.value()) return {0, 0};
  return {offset.value(), end.value() - offset.value()};
}
/// The first `bytes` bytes.
constexpr Extent first(Count bytes) { return between(0, bytes); }

/// Both, or kNoExtent twice.
constexpr TransferExtents both(Extent src, Extent dst) {
  if (src == kNoExtent || dst == kNoExtent) return {kNoExtent, kNoExtent};
  return {src, dst};
}

/// w * h pixels or elements; 0 when a size is below 1.
constexpr Count area(int w, int h) { return Count(atLeast0(w)) * atLeast0(h); }

constexpr int kFloatBytes = 4;

}  // namespace extents

/// \name Pictures, frames and tensors
/// \{

/// A packed picture: w * h pixels of c bytes. 0 bytes when one is below 1.
constexpr Extent pictureExtent(int w, int h, int c) {
  return extents::first(extents::area(w, h) * extents::atLeast0(c));
}

/// A tensor: c planes of w * h floats, or w * h pixels of c floats. 0 bytes when one is below 1.
constexpr Extent tensorExtent(int w, int h, int c) {
  return extents::first(extents::area(w, h) * extents::atLeast0(c) * extents::kFloatBytes);
}

/// A frame as network input preparation takes it: pixels of 3 or 4 bytes, or luma and the chroma planes
/// of (width / 2) x (height / 2) samples, each division rounded down; I420's V plane begins at byte
/// width * height + width * height / 4. kNoExtent for other formats and for sizes below 1.
constexpr Extent frameExtent(int pix_fmt, int width, int height) {
  if (width < 1 || height < 1) return kNoExtent;
  const extents::Count luma = extents::area(width, height);
  const extents::Count chroma = extents::area(width / 2, height / 2);
  switch (pix_fmt) {
    case TN_PIX_FMT_BGRA:
    case TN_PIX_FMT_RGBA:
      return extents::first(luma * 4);
    case TN_PIX_FMT_BGR:
    case TN_PIX_FMT_RGB:
      return extents::first(luma * 3);
    case TN_PIX_FMT_NV12:
    case TN_PIX_FMT_NV21:
      return extents::first(luma + chroma * 2);
    case TN_PIX_FMT_YUVI420:
      return extents::first(width < 2 || height < 2 ? luma : luma + luma / 4 + chroma);
    default:
      return kNoExtent;
  }
}

/// \}

/// \name Colour (tn_cv.h)
/// \{

/// TarnCPU::TN_CV::nv12_to_rgb_fast_asm, yuv420sp_to_rgb_fast_asm. They read a chroma row of w bytes for
/// every luma row, which is twice what a frame has, and write one or two rows below the picture.
constexpr TransferExtents semiPlanarToRgbExtents(int w, int h) {
  if (w < 1 || h < 1) return {{0, 0}, {0, 0}};
  const extents::Count width = w, rows = (std::int64_t{h} + 1) / 2 * 2;
  return extents::both(extents::first(width * (rows + h)), extents::first(width * 3 * (rows + 1)));
}

/// TarnCPU::TN_CV::yuv420f_to_rgb. An odd last row takes the row below along. The last column of an odd
/// width is not written, though `dst` has it; so for w = 1 nothing is read or written.
constexpr TransferExtents planarToRgbExtents(int w, int h) {
  if (w < 1 || h < 1) return {{0, 0}, {0, 0}};
  const std::int64_t pairs = (std::int64_t{h} + 1) / 2;
  const extents::Count width = w, luma = extents::area(w, h);
  const extents::Count luma_end = width * (2 * pairs - 1) + w / 2 * 2;
  const extents::Count chroma_end = luma + luma / 4 + extents::Count(pairs) * (w / 2);
  const extents::Count read = w == 1 ? 0 : extents::larger(luma_end, chroma_end);
  return extents::both(extents::first(read), extents::first(width * 6 * pairs));
}

/// TarnCPU::getGray_from_*_HWC. c: bytes of a pixel, 3 or 4.
constexpr TransferExtents grayExtents(int n, int c) {
  return extents::both(pictureExtent(n, 1, c), pictureExtent(n, 1, 1));
}

/// TarnCPU::getRGB_CHW_from_*_HWC. c: bytes of a pixel, 3 or 4.
constexpr TransferExtents planesExtents(int n, int c) {
  return extents::both(pictureExtent(n, 1, c), pictureExtent(n, 1, 3));
}

/// \}

/// \name Geometry (tn_cv.h, tn_resize.h)
/// \{

/// TarnCPU::TN_CV::rotate90_* and anti_rotate90_*, flip_horizontal, flip_vertical: a picture to a
/// picture of as many pixels. c: bytes of a pixel.
constexpr TransferExtents turnExtents(int w, int h, int c) {
  return extents::both(pictureExtent(w, h, c), pictureExtent(w, h, c));
}

/// TarnCPU::TN_CV::cut_sub_img_inhwc_outhwc. Of each source row the rectangle's part is read; bytes
/// between these parts are not. kNoExtent for rectangles that do not lie inside the source or begin 2
/// GiB or more into it.
constexpr TransferExtents cutPixelsExtents(int src_w, int src_h, int w, int h, int x0, int y0, int c) {
  if (w < 1 || h < 1 || c < 1) return {{0, 0}, {0, 0}};
  const bool inside =
      x0 >= 0 && y0 >= 0 && w <= src_w && h <= src_h && x0 <= src_w - w && y0 <= src_h - h;
  if (!inside) return {kNoExtent, kNoExtent};
  const extents::Count row = extents::Count(src_w) * c, begin = row * y0 + extents::Count(x0) * c;
  if (!begin.valid() || begin.value() > std::numeric_limits<std::int32_t>::max())
    return {kNoExtent, kNoExtent};
  const Extent src = extents::between(begin, begin + row * (h - 1) + extents::Count(w) * c);
  return extents::both(src, pictureExtent(w, h, c));
}

/// TarnCPU::TN_CV::cut_sub_img_inchw_outchw, of c planes of floats. As cutPixelsExtents, without its
/// limit of 2 GiB.
constexpr TransferExtents cutPlanesExtents(int src_w, int src_h, int w, int h, int x0, int y0, int c) {
  if (w < 1 || h < 1 || c < 1) return {{0, 0}, {0, 0}};
  const bool inside =
      x0 >= 0 && y0 >= 0 && w <= src_w && h <= src_h && x0 <= src_w - w && y0 <= src_h - h;
  if (!inside) return {kNoExtent, kNoExtent};
  const extents::Count width = src_w, plane = extents::area(src_w, src_h);
  const extents::Count begin = width * y0 + x0;
  const extents::Count end = plane * (c - 1) + begin + width * (h - 1) + w;
  return extents::both(extents::between(begin * extents::kFloatBytes, end * extents::kFloatBytes),
                       tensorExtent(w, h, c));
}

/// TarnCPU::resize_bilinear_*, resize_nearest_c1, crop_resize_nearest_* and
/// TarnCPU::TN_CV::resize_bilinear_c2. c: bytes of a pixel. Which source pixels are read depends on the
/// sizes; the crops also leave destination pixels as they were. kNoExtent for a source without pixels.
constexpr TransferExtents resizeExtents(int sw, int sh, int dw, int dh, int c) {
  if (dw < 1 || dh < 1) return {{0, 0}, {0, 0}};
  if (sw < 1 || sh < 1) return {kNoExtent, kNoExtent};
  return extents::both(pictureExtent(sw, sh, c), pictureExtent(dw, dh, c));
}

/// \}

/// \name Tensors and warps (tn_mat.h, tn_cv.h)
/// \{

/// TarnCPU::Mat::from_pixels: `src` are the pixels, `dst` the new tensor's floats. type: as there;
/// kNoExtent for others.
constexpr TransferExtents fromPixelsExtents(int type, int w, int h) {
  const int given = type & 0xffff, wanted = type >> 16;
  if ((given != 1 && given != 2 && given != 8) || wanted < 0 || wanted > 2)
    return {kNoExtent, kNoExtent};
  return extents::both(pictureExtent(w, h, given == 8 ? 4 : 3), tensorExtent(w, h, 3));
}

/// Of a warp: the floats of both tensors, and the six of the matrix.
struct WarpExtents {
  Extent src;     ///< is read in part, as the matrix says
  Extent dst;     ///< is written
  Extent matrix;  ///< is read
};

/// ::affine, ::affine_optimized: from c planes of sw x sh floats to c planes of dw x dh. Planes that
/// only the source has are not read.
constexpr WarpExtents warpExtents(int sw, int sh, int dw, int dh, int c) {
  const TransferExtents planes = extents::both(tensorExtent(sw, sh, c), tensorExtent(dw, dh, c));
  if (planes.dst == kNoExtent) return {kNoExtent, kNoExtent, kNoExtent};
  if (planes.dst.bytes == 0) return {{0, 0}, {0, 0}, {0, 0}};
  return {planes.src, planes.dst, tensorExtent(3, 2, 1)};
}

/// ::affine_sse, ::affine_sse_hwc: 3 planes of one size, which is at least 2x2; nothing is touched of
/// smaller ones.
constexpr WarpExtents warpSameSizeExtents(int w, int h) {
  if (w < 2 || h < 2) return {{0, 0}, {0, 0}, {0, 0}};
  return warpExtents(w, h, w, h, 3);
}

/// TarnCPU::TN_CV::cover_mid_img_with_littleImg_inMat_outFloatPointer: `src` is the little tensor, of c
/// planes. Of each row of the destination only the middle is written. kNoExtent for a destination that
/// is smaller.
constexpr TransferExtents pasteExtents(int dst_width, int dst_height, int little_w, int little_h,
                                       int c) {
  if (little_w < 1 || little_h < 1 || c < 1) return {{0, 0}, {0, 0}};
  if (little_w > dst_width || little_h > dst_height) return {kNoExtent, kNoExtent};
  const extents::Count width = dst_width, plane = extents::area(dst_width, dst_height);
  const extents::Count begin = width * ((dst_height - little_h) / 2) + (dst_width - little_w) / 2;
  const extents::Count end = plane * (c - 1) + begin + width * (little_h - 1) + little_w;
  const Extent dst = extents::between(begin * extents::kFloatBytes, end * extents::kFloatBytes);
  return extents::both(tensorExtent(little_w, little_h, c), dst);
}

/// \}

/// \name Network input (tn_cv.h)
/// \{

/// Of network input preparation.
struct NetworkInputExtents {
  Extent image;   ///< the frame, read
  Extent work_a;  ///< scratch
  Extent work_b;  ///< scratch
};

/// TarnCPU::TN_CV::getInMat, getInMat_m1. The frame is of frame_width x frame_height pixels, the tensor
/// of width x height. kNoExtent for sizes below 1 and for formats that the routines do not know.
constexpr NetworkInputExtents networkInputExtents(int pix_fmt, int frame_width, int frame_height,
                                                  int width, int height) {
  constexpr NetworkInputExtents none = {kNoExtent, kNoExtent, kNoExtent};
  if (width < 1 || height < 1) return none;
  const bool four = pix_fmt == TN_PIX_FMT_BGRA || pix_fmt == TN_PIX_FMT_RGBA;
  const Extent image = frameExtent(pix_fmt, frame_width, frame_height);
  const Extent work_a = pictureExtent(width, height, 4);
  const Extent work_b = pictureExtent(width, height, four ? 4 : 3);
  if (image == kNoExtent || work_a == kNoExtent) return none;
  return {image, work_a, work_b};
}

/// \}

/// \name Frames to tensors (tn_yuvconverter.h)
/// \{

/// Tarn::TarnYUVToolKit::convert: the frame and the tensor, by the sizes given to the constructor. Not
/// every byte of the frame is needed; the last row and column of odd sizes are not written. kNoExtent
/// for a src_uv_width below 0.
constexpr TransferExtents resampleExtents(int src_width, int src_height, int src_uv_width, int dst_width,
                                          int dst_height) {
  const extents::Count luma = extents::area(src_width, src_height);
  const extents::Count chroma = extents::Count(src_uv_width) * (extents::atLeast0(src_height) / 2);
  return extents::both(extents::first(luma + chroma * 2), tensorExtent(dst_width, dst_height, 3));
}

/// A frame as the crops take it: luma, then height / 2 chroma rows of `width` bytes, or if `planar` the
/// planes U, at width * height, and V, a quarter of that further on.
constexpr Extent cropFrameExtent(bool planar, int width, int height) {
  const extents::Count luma = extents::area(width, height);
  if (planar) return extents::first(luma + luma / 4 + extents::area(width / 2, height / 2));
  return extents::first(luma + extents::area(width, height / 2));
}

/// Tarn::TarnYUVToolKit::Convert, from a frame of in_width x in_height. The last row and column of odd
/// sizes are not written, nor what the tensor has beyond the frame. kNoExtent for a tensor smaller than
/// the frame's even part.
constexpr TransferExtents convertExtents(int in_width, int in_height, int out_width, int out_height) {
  const int w = extents::atLeast0(in_width), h = extents::atLeast0(in_height);
  if (out_width < w / 2 * 2 || out_height < h / 2 * 2) return {kNoExtent, kNoExtent};
  return extents::both(cropFrameExtent(false, w, h), tensorExtent(out_width, out_height, 3));
}

/// Tarn::TarnYUVToolKit::Crop, or Crop_YUVI420 if `planar`. Both frames are touched in parts of rows;
/// what lies between these is not. An odd number of rows takes the row below along, which may lie behind
/// the plane. kNoExtent for frames without pixels and for outputs smaller than the rectangle; nothing is
/// touched when the rectangle is inverted or lies outside the frame.
constexpr TransferExtents cropExtents(bool planar, int in_width, int in_height, int out_width,
                                      int out_height, int x0, int y0, int x1, int y1) {
  if (in_width < 1 || in_height < 1 || out_width < 1 || out_height < 1) return {kNoExtent, kNoExtent};
  if (x1 < x0 || y1 < y0) return {{0, 0}, {0, 0}};
  if (std::int64_t{x1} - x0 >= out_width || std::int64_t{y1} - y0 >= out_height)
    return {kNoExtent, kNoExtent};
  const std::int64_t left = x0 < 0 ? 0 : x0, right = x1 < in_width ? x1 : in_width - 1;
  const std::int64_t top = y0 < 0 ? 0 : y0, bottom = y1 < in_height ? y1 : in_height - 1;
  const std::int64_t length = (right - left + 1) / 2 * 2, pairs = (bottom - top) / 2 + 1;
  if (right < left + 1 || bottom < top) return {{0, 0}, {0, 0}};
  // `pairs` pairs of luma rows from (x, y) on, `length` bytes of each, and a chroma row for each pair.
  const auto touched = [planar, length, pairs](int w, int h, std::int64_t x, std::int64_t y) {
    const extents::Count width = w, luma = extents::area(w, h), last = y + 2 * (pairs - 1);
    const extents::Count begin = width * y + x;
    const extents::Count luma_end = width * (last + 1) + x + length;
    const extents::Count chroma = width * (last / 2) + x;
    const extents::Count chroma_end =
        planar ? luma + luma / 4 + chroma / 2 + length / 2 : luma + chroma + length;
    return extents::between(begin, extents::larger(luma_end, chroma_end));
  };
  return extents::both(touched(in_width, in_height, left, top),
                       touched(out_width, out_height, left - x0, top - y0));
}

/// \}

}  // namespace Tarn

#endif  // TN_EXTENTS_H_
