// Pixel formats and sizes by FFmpeg's scaler.
#include "apps/video/picture_converter.h"

#include <cstddef>

#include "apps/support/failure.h"

namespace tarnkit {
namespace {

int coefficientsOf(Tarn::YuvStandard standard) {
  switch (standard) {
    case Tarn::YuvStandard::kBt709:
      return SWS_CS_ITU709;
    case Tarn::YuvStandard::kBt2020:
      return SWS_CS_BT2020;
    case Tarn::YuvStandard::kBt601:
      break;
  }
  return SWS_CS_ITU601;
}

}  // namespace

bool isRgb(AVPixelFormat format) {
  const AVPixFmtDescriptor* const description = av_pix_fmt_desc_get(format);
  return description != nullptr &&
         (description->flags & (AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_PAL)) != 0;
}

PictureConverter::PictureConverter(const PictureFormat& from, const PictureFormat& to,
                                   const YuvColour& colour)
    : context_(owned(sws_alloc_context())), result_(owned(av_frame_alloc())), from_height_(from.height) {
  // The ranges go in before the context is set up: it picks its routines by them, and its defaults
  // would squeeze full-range samples into the limited range.
  const int yuv_range = colour.range == Tarn::YuvRange::kFull ? 1 : 0;
  const int from_range = isRgb(from.pixels) ? 1 : yuv_range;
  const int to_range = isRgb(to.pixels) ? 1 : yuv_range;
  SwsContext* const context = context_.get();
  av_opt_set_int(context, "srcw", from.width, 0);
  av_opt_set_int(context, "srch", from.height, 0);
  av_opt_set_int(context, "src_format", from.pixels, 0);
  av_opt_set_int(context, "src_range", from_range, 0);
  av_opt_set_int(context, "dstw", to.width, 0);
  av_opt_set_int(context, "dsth", to.height, 0);
  av_opt_set_int(context, "dst_format", to.pixels, 0);
  av_opt_set_int(context, "dst_range", to_range, 0);
  av_opt_set_int(context, "sws_flags", SWS_BILINEAR | SWS_ACCURATE_RND, 0);
  if (sws_init_context(context, nullptr, nullptr) < 0)
    throw Failure("pictures in the format " + std::string(av_get_pix_fmt_name(from.pixels)) +
                  " cannot be converted");
  if (isRgb(from.pixels) != isRgb(to.pixels)) {
    constexpr int kUnchanged = 1 << 16;
    const int* const coefficients = sws_getCoefficients(coefficientsOf(colour.standard));
    sws_setColorspaceDetails(context, coefficients, from_range, coefficients, to_range, 0, kUnchanged,
                             kUnchanged);
  }
  result_->format = to.pixels;
  result_->width = to.width;
  result_->height = to.height;
  if (av_frame_get_buffer(result_.get(), 0) < 0) throw std::bad_alloc();
}

AVFrame* PictureConverter::convert(const std::uint8_t* const planes[], const int strides[]) {
  // An encoder may still hold the last result; then this one gets memory of its own.
  if (av_frame_make_writable(result_.get()) < 0) throw std::bad_alloc();
  sws_scale(context_.get(), planes, strides, 0, from_height_, result_->data, result_->linesize);
  return result_.get();
}

Nv12ToBgr::Nv12ToBgr(int width, int height, const YuvColour& colour)
    : converter_({AV_PIX_FMT_NV12, width, height}, {AV_PIX_FMT_BGR24, width, height}, colour) {}

cv::Mat Nv12ToBgr::convert(const _TN_Image& frame) {
  const std::uint8_t* const luma = static_cast<const std::uint8_t*>(frame.data);
  const std::uint8_t* const planes[4] = {
      luma, luma + static_cast<std::ptrdiff_t>(frame.width) * frame.height, nullptr, nullptr};
  const int strides[4] = {frame.width, frame.width, 0, 0};
  AVFrame* const bgr = converter_.convert(planes, strides);
  return cv::Mat(frame.height, frame.width, CV_8UC3, bgr->data[0],
                 static_cast<std::size_t>(bgr->linesize[0]));
}

}  // namespace tarnkit
