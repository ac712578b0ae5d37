// Frame records as views.
#include <cstddef>
#include <cstdint>
#include <string>

#include "tarnkit/src/preprocess/tn_frame.h"
#include "tarnkit/src/preprocess/tn_refusal.h"

namespace Tarn {
namespace {

using preprocess::checkRange;
using preprocess::kMaxSide;
using preprocess::refuse;

FrameFormat formatOf(std::int32_t pix_fmt) {
  switch (pix_fmt) {
    case TN_PIX_FMT_YUVI420:
      return FrameFormat::kI420;
    case TN_PIX_FMT_YUV420V:
    case TN_PIX_FMT_NV12:
      return FrameFormat::kNv12;
    case TN_PIX_FMT_NV21:
      return FrameFormat::kNv21;
    case TN_PIX_FMT_RGB:
      return FrameFormat::kRgb;
    case TN_PIX_FMT_BGR:
      return FrameFormat::kBgr;
    case TN_PIX_FMT_RGBA:
      return FrameFormat::kRgba;
    case TN_PIX_FMT_BGRA:
      return FrameFormat::kBgra;
    default:
      refuse("pix_fmt", "no frame has the code " + std::to_string(pix_fmt));
  }
}

// The number of a rotation, and then a mirroring.
int orientationOf(std::uint32_t bits) {
  // None, mirrored down, mirrored across.
  static constexpr int kTurns[4][3] = {
      {1, 4, 2},  // upright
      {6, 7, 5},  // clockwise
      {8, 5, 7},  // counter-clockwise
      {3, 2, 4},  // half a turn
  };
  const auto has = [bits](std::uint32_t mask) { return (bits & mask) != 0; };
  const int turn = has(TN_ORIENT_ROTATE_90)                             ? 1
                   : has(TN_ORIENT_ANTI_ROTATE_90)                      ? 2
                   : has(TN_ORIENT_ROTATE_180 | TN_ORIENT_ROTATE_180_B) ? 3
                                                                        : 0;
  return kTurns[turn][has(TN_ORIENT_FLIP_V) ? 1 : has(TN_ORIENT_FLIP_H) ? 2 : 0];
}

}  // namespace

FrameView frameView(const _TN_Image& image) {
  FrameView view;
  view.format = formatOf(image.pix_fmt);
  checkRange("width", image.width, 1, kMaxSide);
  checkRange("height", image.height, 1, kMaxSide);
  if (image.data == nullptr) refuse("data", "is null");
  const preprocess::FormatShape& shape = preprocess::shapeOf(view.format);
  if (shape.samples == preprocess::Samples::kYuv && (image.width % 2 != 0 || image.height % 2 != 0))
    refuse(image.width % 2 != 0 ? "width" : "height",
           "is odd, and a record of 4:2:0 has no place for the last chroma");
  view.width = image.width;
  view.height = image.height;
  view.orientation = orientationOf(image.orient);
  const std::uint8_t* next = static_cast<const std::uint8_t*>(image.data);
  for (int plane = 0; plane < shape.planes; ++plane) {
    const preprocess::PlaneSize size = preprocess::planeSize(view, plane);
    view.planes[plane] = next;
    view.strides[plane] = std::ptrdiff_t{size.columns} * shape.pixel_bytes[plane];
    view.bytes[plane] =
        static_cast<std::size_t>(view.strides[plane]) * static_cast<std::size_t>(size.rows);
    next += view.bytes[plane];
  }
  return view;
}

}  // namespace Tarn
