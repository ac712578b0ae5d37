// Raw 4:2:0 frames to pictures.
#ifndef TN_KITS_APPS_PICTURES_RAW_FRAME_H_
#define TN_KITS_APPS_PICTURES_RAW_FRAME_H_

#include <cstddef>
#include <cstdint>
#include <vector>

#include "apps/pictures/picture.h"

namespace tarnkit {

enum class RawFormat { kNv12, kNv21, kI420 };

// Bytes of a frame of even sides: a luma plane, then half as much chroma.
std::size_t rawFrameBytes(int width, int height);

// The frame in RGB, every pixel with its own 2x2 block's chroma, in the kernels' arithmetic: BT.601,
// full range, results outside 0 to 255 wrapped. Sides are even, at most kLargestPictureSide, and `frame`
// has rawFrameBytes of them.
Picture decodeRawFrame(RawFormat format, int width, int height, const std::vector<std::uint8_t>& frame);

}  // namespace tarnkit

#endif  // TN_KITS_APPS_PICTURES_RAW_FRAME_H_
