/// \file
/// FFmpeg's frames as frame records.
///
/// Header-only and optional: a program that includes it has FFmpeg's headers and links libavutil; the
/// library itself does neither. All functions may run on several threads at once on different frames.
#ifndef TN_INTEROP_FFMPEG_H_
#define TN_INTEROP_FFMPEG_H_

extern "C" {
#include <libavutil/frame.h>
#include <libavutil/pixdesc.h>
}

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

#include "tn_image.h"

namespace Tarn::interop {

/// How a frame's pixels lie in a record's memory.
struct FramePacking {
  /// One plane in a record's memory.
  struct Plane {
    std::size_t offset;     ///< from the first byte of the record's memory
    std::size_t row_bytes;  ///< in a row
    int rows;               ///< in the plane
  };
  std::int32_t pix_fmt;  ///< TN_PIX_FMT_*
  int planes;            ///< planes in use
  Plane plane[3];        ///< the first `planes` of them
  std::size_t bytes;     ///< in the whole picture
};

/// Of odd sizes the last column and row of chroma have no place in a record and are left out.
/// Errors: std::invalid_argument for a frame without pixels or of another format than YUV420P
/// (YUVJ420P), NV12, NV21, BGRA, RGBA (or with a fourth byte of no meaning, BGR0 and RGB0), BGR24 and
/// RGB24; frames in a graphics card's memory are among the others.
inline FramePacking packingOf(const AVFrame& frame) {
  if (frame.data[0] == nullptr || frame.width < 1 || frame.height < 1)
    throw std::invalid_argument("the frame has no pixels");
  const std::size_t w = static_cast<std::size_t>(frame.width),
                    h = static_cast<std::size_t>(frame.height);
  const std::size_t pixels = w * h;
  const int half = frame.height / 2;
  const auto packed = [&](std::int32_t pix_fmt, std::size_t pixel) {
    return FramePacking{pix_fmt, 1, {{0, w * pixel, frame.height}, {}, {}}, pixels * pixel};
  };
  const auto semi_planar = [&](std::int32_t pix_fmt) {
    return FramePacking{pix_fmt, 2, {{0, w, frame.height}, {pixels, w, half}, {}}, pixels + w * (h / 2)};
  };
  switch (frame.format) {
    case AV_PIX_FMT_YUV420P:
    case AV_PIX_FMT_YUVJ420P:
      return {TN_PIX_FMT_YUVI420,
              3,
              {{0, w, frame.height}, {pixels, w / 2, half}, {pixels + pixels / 4, w / 2, half}},
              pixels + pixels / 4 * 2};
    case AV_PIX_FMT_NV12:
      return semi_planar(TN_PIX_FMT_NV12);
    case AV_PIX_FMT_NV21:
      return semi_planar(TN_PIX_FMT_NV21);
    case AV_PIX_FMT_BGRA:
    case AV_PIX_FMT_BGR0:
      return packed(TN_PIX_FMT_BGRA, 4);
    case AV_PIX_FMT_RGBA:
    case AV_PIX_FMT_RGB0:
      return packed(TN_PIX_FMT_RGBA, 4);
    case AV_PIX_FMT_BGR24:
      return packed(TN_PIX_FMT_BGR, 3);
    case AV_PIX_FMT_RGB24:
      return packed(TN_PIX_FMT_RGB, 3);
    default:
      break;
  }
  const char* const name = av_get_pix_fmt_name(static_cast<AVPixelFormat>(frame.format));
  throw std::invalid_argument(std::string("no record holds frames of the format ") +
                              (name != nullptr ? name : "that the frame names"));
}

/// A record over the frame's own pixels; nothing is copied. The frame must outlive the record's use, and
/// whoever writes through the record needs the frame writable (av_frame_make_writable).
/// What a record does not say is not carried: colour matrix and range (makeYuvToRgbMatrix wants them),
/// the cropping that a decoder was told not to do, and a display matrix; `orient` is 0. Errors:
/// std::invalid_argument as packingOf, and when the rows or planes do not lie back to back as a record
/// has them. Decoders pad rows unless the width is a multiple of their alignment, and put planes apart;
/// packFrame copies such frames.
inline _TN_Image asImage(const AVFrame& frame) {
  const FramePacking packing = packingOf(frame);
  for (int i = 0; i < packing.planes; ++i) {
    const FramePacking::Plane& plane = packing.plane[i];
    if (plane.rows < 1) continue;
    const bool rows_packed =
        plane.rows == 1 ||
        (frame.linesize[i] > 0 && static_cast<std::size_t>(frame.linesize[i]) == plane.row_bytes);
    if (!rows_packed || frame.data[i] != frame.data[0] + plane.offset)
      throw std::invalid_argument("plane " + std::to_string(i) + " of the frame has " +
                                  (rows_packed ? "a place of its own"
                                               : "rows of " + std::to_string(frame.linesize[i]) +
                                                     " bytes, not " + std::to_string(plane.row_bytes)) +
                                  "; packFrame copies it");
  }
  return {0, packing.pix_fmt, frame.width, frame.height, 0, frame.data[0]};
}

/// Copies the frame's pixels into `bytes`, which takes the size of the packed picture, and returns a
/// record over them: it is valid until `bytes` changes its size or ends. A vector that is used again for
/// frames of one size is allocated once. For a routine that reads past the picture, resize `bytes`
/// further and put its data() into the record anew. Errors: std::invalid_argument as packingOf;
/// std::bad_alloc.
inline _TN_Image packFrame(const AVFrame& frame, std::vector<unsigned char>& bytes) {
  const FramePacking packing = packingOf(frame);
  // Odd sizes leave gaps between the planes, which are to be the same bytes every time.
  if (frame.width % 2 != 0 || frame.height % 2 != 0) bytes.clear();
  bytes.resize(packing.bytes);
  for (int i = 0; i < packing.planes; ++i) {
    const FramePacking::Plane& plane = packing.plane[i];
    for (int y = 0; y < plane.rows; ++y)
      std::memcpy(bytes.data() + plane.offset + static_cast<std::size_t>(y) * plane.row_bytes,
                  frame.data[i] + static_cast<std::ptrdiff_t>(y) * frame.linesize[i], plane.row_bytes);
  }
  return {0, packing.pix_fmt, frame.width, frame.height, 0, bytes.data()};
}

}  // namespace Tarn::interop

#endif  // TN_INTEROP_FFMPEG_H_
