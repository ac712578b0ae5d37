// Pictures from one pixel format to another.
#ifndef TN_KITS_APPS_VIDEO_PICTURE_CONVERTER_H_
#define TN_KITS_APPS_VIDEO_PICTURE_CONVERTER_H_

#include <opencv2/core.hpp>

#include "apps/tensor/colour_choice.h"
#include "apps/video/ffmpeg.h"
#include "tn_image.h"

namespace tarnkit {

struct PictureFormat {
  AVPixelFormat pixels;
  int width, height;
};

// Whether a format holds RGB, directly or through a palette, rather than luma and chroma.
bool isRgb(AVPixelFormat format);

// Converts between two formats. YUV samples on either side are read and written as `colour` says, so
// YUV to YUV keeps the sample values. Sizes may differ; the picture is then resampled.
class PictureConverter {
 public:
  PictureConverter(const PictureFormat& from, const PictureFormat& to, const YuvColour& colour);

  // planes, strides: of a picture of the first format. The result, a picture of the second format
  // with padded rows, is valid until the next call.
  AVFrame* convert(const std::uint8_t* const planes[], const int strides[]);

 private:
  FfmpegPointer<SwsContext> context_;
  FfmpegPointer<AVFrame> result_;
  int from_height_;
};

// Turns the packed NV12 frames of a VideoReader into pictures to draw on.
class Nv12ToBgr {
 public:
  Nv12ToBgr(int width, int height, const YuvColour& colour);
  // The picture shares the converter's memory and is valid until the next call; it may be drawn on.
  cv::Mat convert(const _TN_Image& frame);

 private:
  PictureConverter converter_;
};

}  // namespace tarnkit

#endif  // TN_KITS_APPS_VIDEO_PICTURE_CONVERTER_H_
