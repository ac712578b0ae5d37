// Formats and orientations as tables, and the check of a frame's fields.
#include "tarnkit/src/preprocess/tn_frame.h"

#include <string>

#include "tarnkit/src/preprocess/tn_refusal.h"

namespace Tarn {
namespace preprocess {
namespace {

constexpr FormatShape kShapes[] = {
    {Samples::kYuv, 2, 1, 1, 1, {1, 2, 0}, 0, false, false},   // NV12
    {Samples::kYuv, 2, 1, 1, 1, {1, 2, 0}, 0, true, false},    // NV21
    {Samples::kYuv, 3, 1, 1, 1, {1, 1, 1}, 0, false, false},   // I420
    {Samples::kYuv, 3, 1, 1, 1, {1, 1, 1}, 0, true, false},    // YV12
    {Samples::kYuv, 3, 1, 1, 0, {1, 1, 1}, 0, false, false},   // I422
    {Samples::kYuv, 3, 1, 0, 0, {1, 1, 1}, 0, false, false},   // I444
    {Samples::kYuv, 3, 2, 1, 1, {2, 2, 2}, 0, false, false},   // I010
    {Samples::kYuv, 2, 2, 1, 1, {2, 4, 0}, 6, false, false},   // P010
    {Samples::kYuv, 1, 1, 1, 0, {4, 0, 0}, 0, false, false},   // YUYV
    {Samples::kYuv, 1, 1, 1, 0, {4, 0, 0}, 0, false, true},    // UYVY
    {Samples::kRgb, 1, 1, 0, 0, {3, 0, 0}, 0, false, false},   // RGB
    {Samples::kRgb, 1, 1, 0, 0, {3, 0, 0}, 0, true, false},    // BGR
    {Samples::kRgb, 1, 1, 0, 0, {4, 0, 0}, 0, false, false},   // RGBA
    {Samples::kRgb, 1, 1, 0, 0, {4, 0, 0}, 0, true, false},    // BGRA
    {Samples::kGray, 1, 1, 0, 0, {1, 0, 0}, 0, false, false},  // grey
};
static_assert(sizeof kShapes / sizeof *kShapes == static_cast<std::size_t>(FrameFormat::kGray) + 1);

// Of EXIF's numbers from 1 on. They say what the picture needs to stand upright; 6, a quarter turn
// clockwise, takes upright rows from stored columns, and the first of them from the lowest row.
constexpr Turn kTurns[] = {
    {false, false, false}, {false, true, false}, {false, true, true}, {false, false, true},
    {true, false, false},  {true, false, true},  {true, true, true},  {true, true, false},
};

void checkPlane(const FrameView& frame, int plane) {
  if (frame.planes[plane] == nullptr) refuse(elementName("planes", plane), "is null");
  const PlaneSize size = planeSize(frame, plane);
  const std::size_t row = static_cast<std::size_t>(size.columns) *
                          static_cast<std::size_t>(shapeOf(frame.format).pixel_bytes[plane]);
  const std::ptrdiff_t stride = frame.strides[plane];
  const std::size_t step =
      stride < 0 ? std::size_t{0} - static_cast<std::size_t>(stride) : static_cast<std::size_t>(stride);
  const std::size_t steps = static_cast<std::size_t>(size.rows) - 1;
  if (steps > 0 && step < row)
    refuse(elementName("strides", plane),
           "rows of " + std::to_string(row) + " bytes lie " + std::to_string(stride) + " bytes apart");
  if (frame.bytes[plane] < row || (steps > 0 && (frame.bytes[plane] - row) / steps < step))
    refuse(elementName("bytes", plane),
           std::to_string(frame.bytes[plane]) + " do not hold " + std::to_string(size.rows) +
               " rows of " + std::to_string(row) + " bytes, " + std::to_string(stride) + " bytes apart");
}

}  // namespace

const FormatShape& shapeOf(FrameFormat format) { return kShapes[static_cast<std::size_t>(format)]; }

Turn turnOf(int orientation) { return kTurns[orientation - 1]; }

PlaneSize planeSize(const FrameView& frame, int plane) {
  const FormatShape& shape = shapeOf(frame.format);
  // Packed 4:2:2 counts pairs of pixels.
  const bool chroma = plane > 0 || shape.pixel_bytes[0] == 4;
  if (shape.samples != Samples::kYuv || !chroma) return {frame.width, frame.height};
  return {halfUp(frame.width, shape.halved_x), halfUp(frame.height, shape.halved_y)};
}

void checkFrame(const FrameView& frame) {
  checkEnumerator("format", frame.format, FrameFormat::kGray);
  checkRange("width", frame.width, 1, kMaxSide);
  checkRange("height", frame.height, 1, kMaxSide);
  for (int plane = 0; plane < shapeOf(frame.format).planes; ++plane) checkPlane(frame, plane);
  checkEnumerator("matrix", frame.matrix, YuvMatrix::kBt2020);
  checkEnumerator("range", frame.range, YuvRange::kLimited);
  checkEnumerator("siting", frame.siting, ChromaSiting::kTopLeft);
  checkRange("orientation", frame.orientation, 1, 8);
}

}  // namespace preprocess
}  // namespace Tarn
