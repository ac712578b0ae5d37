/// \file
/// The frame record that crosses the library's boundary, its pixel formats and orientation bits.
#ifndef TN_IMAGE_H_
#define TN_IMAGE_H_

#include <cstddef>
#include <cstdint>

// Pixel formats: the memory layout at `_TN_Image::data` of a width x height picture. Rows are packed.
// Codes 2, 6, 11 and 12 belong to no format that the library accepts.

/// Planar 4:2:0: Y plane, then U (width/2 x height/2) at byte width*height, then V of the same size
/// at byte width*height + (width*height)/4. Halves and quarters round toward zero.
#define TN_PIX_FMT_YUVI420 1
/// Y plane, then height/2 rows of interleaved chroma pairs, laid out as TN_PIX_FMT_NV12. Accepted by
/// TarnYUVToolKit only.
#define TN_PIX_FMT_YUV420V 3
/// 4 bytes a pixel: B, G, R, A.
#define TN_PIX_FMT_BGRA 4
/// 4 bytes a pixel: R, G, B, A.
#define TN_PIX_FMT_RGBA 5
/// Y plane, then at byte width*height an interleaved chroma plane of height/2 rows of width bytes:
/// U at even bytes, V at odd ones.
#define TN_PIX_FMT_NV12 7
/// As TN_PIX_FMT_NV12 with V at even bytes and U at odd ones.
#define TN_PIX_FMT_NV21 8
/// 3 bytes a pixel: B, G, R.
#define TN_PIX_FMT_BGR 9
/// 3 bytes a pixel: R, G, B.
#define TN_PIX_FMT_RGB 10
/// Three planes of width*height 32-bit floats, back to back: a network's input tensor.
#define TN_PIX_FMT_CHW_F32 13

// Orientation bits: what turns the stored picture upright. Of the rotation bits one is honoured,
// ROTATE_90 before ANTI_ROTATE_90 before ROTATE_180, but packed frames in network input preparation
// (TN_CV::getInMat, getInMat_m1) take ANTI_ROTATE_90 before ROTATE_90; of the mirror bits one, FLIP_V
// before FLIP_H. Rotation comes before mirroring.

/// Turn by the anti-rotate-90 kernel; width and height swap.
#define TN_ORIENT_ANTI_ROTATE_90 1
/// Turn by the rotate-90 kernel; width and height swap.
#define TN_ORIENT_ROTATE_90 2
/// Turn by 180 degrees.
#define TN_ORIENT_ROTATE_180 4
/// Mirror top to bottom.
#define TN_ORIENT_FLIP_V 8
/// Mirror left to right.
#define TN_ORIENT_FLIP_H 16
/// A second bit with exactly the meaning of TN_ORIENT_ROTATE_180: producers set either one.
#define TN_ORIENT_ROTATE_180_B 64

/// Describes pixel memory that the caller owns. No routine of the library allocates, frees, keeps or
/// copies a record; an output record is read too, and only the memory at its `data` is written.
/// The order and widths of the fields are part of the binary interface.
struct _TN_Image {
  std::uint32_t orient;   ///< TN_ORIENT_* bits; 0 = already upright
  std::int32_t pix_fmt;   ///< TN_PIX_FMT_*
  std::int32_t width;     ///< pixels of the stored, not the upright, picture; also the row pitch
  std::int32_t height;    ///< rows of the stored picture
  std::int64_t reserved;  ///< the caller's own; never read or written by the library
  void* data;             ///< first byte; unsigned 8-bit samples, or floats for TN_PIX_FMT_CHW_F32
};

static_assert(offsetof(_TN_Image, orient) == 0 && offsetof(_TN_Image, pix_fmt) == 4 &&
                  offsetof(_TN_Image, width) == 8 && offsetof(_TN_Image, height) == 12 &&
                  offsetof(_TN_Image, reserved) == 16 && offsetof(_TN_Image, data) == 24 &&
                  sizeof(_TN_Image) == 32,
              "the layout of _TN_Image is part of the binary interface");

#endif  // TN_IMAGE_H_
