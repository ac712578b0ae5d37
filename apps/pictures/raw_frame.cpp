// Raw frames through the library's kernels, whose reading of chroma rows needs help.
#include "apps/pictures/raw_frame.h"

#include "tn_checked.h"

namespace tarnkit {
namespace {

namespace checked = Tarn::checked;

// The semi-planar kernels take the next row of chroma for each row of luma, not for every second one. So
// they colour the lower half of a frame with bytes from behind it. When each chroma row comes twice,
// every pixel gets its own chroma.
std::vector<std::uint8_t> withChromaRowsTwice(int width, int height,
                                              const std::vector<std::uint8_t>& frame) {
  const auto chroma = frame.begin() + static_cast<std::ptrdiff_t>(byteCount(width, height, 1));
  std::vector<std::uint8_t> doubled(frame.begin(), chroma);
  doubled.reserve(Tarn::semiPlanarToRgbExtents(width, height).src.end());
  for (int y = 0; y < height; ++y) {
    const auto row = chroma + static_cast<std::ptrdiff_t>(byteCount(width, y / 2, 1));
    doubled.insert(doubled.end(), row, row + width);
  }
  return doubled;
}

}  // namespace

std::size_t rawFrameBytes(int width, int height) {
  return Tarn::frameExtent(TN_PIX_FMT_NV12, width, height).end();
}

Picture decodeRawFrame(RawFormat format, int width, int height, const std::vector<std::uint8_t>& frame) {
  Picture picture{width, height, PixelLayout::kRgb, {}};
  if (format == RawFormat::kI420) {
    picture.bytes.resize(Tarn::planarToRgbExtents(width, height).dst.end());
    checked::yuv420f_to_rgb({frame.data(), frame.size()}, width, height,
                            {picture.bytes.data(), picture.bytes.size()});
    return picture;
  }
  const std::vector<std::uint8_t> source = withChromaRowsTwice(width, height, frame);
  // The kernels write one row more than the picture has.
  picture.bytes.resize(Tarn::semiPlanarToRgbExtents(width, height).dst.end());
  const auto convert =
      format == RawFormat::kNv12 ? checked::nv12_to_rgb_fast_asm : checked::yuv420sp_to_rgb_fast_asm;
  convert({source.data(), source.size()}, width, height, {picture.bytes.data(), picture.bytes.size()});
  picture.bytes.resize(byteCount(width, height, 3));
  return picture;
}

}  // namespace tarnkit
