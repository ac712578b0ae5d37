/// \file
/// FFmpeg's frames as views for tn_preprocess.h, without copies.
///
/// Header-only and optional: a program that includes it has FFmpeg's headers and links libavutil; the
/// library itself does neither. All functions may run on several threads at once.
#ifndef TN_PREPROCESS_FFMPEG_H_
#define TN_PREPROCESS_FFMPEG_H_

extern "C" {
#include <libavutil/frame.h>
#include <libavutil/pixdesc.h>
}

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>

#include "tn_preprocess.h"

namespace Tarn {

/// FrameView::orientation for a display matrix, as frames carry it (AV_FRAME_DATA_DISPLAYMATRIX) and
/// streams do: FFmpeg before 6.1 keeps a file's matrix at the stream only. Moves and an even scale do
/// not count. Errors: std::invalid_argument for other angles than right ones, skewed or stretched
/// pictures, and perspective.
inline int orientationOf(const std::int32_t matrix[9]) {
  const std::int64_t a = matrix[0], b = matrix[1], c = matrix[3], d = matrix[4];
  const bool is_turned = a == 0 && d == 0;
  const std::int64_t x = is_turned ? b : a, y = is_turned ? c : d;
  const bool is_right = (is_turned || (b == 0 && c == 0)) && x != 0 && (x == y || x == -y);
  if (!is_right || matrix[2] != 0 || matrix[5] != 0)
    throw std::invalid_argument("side_data: the display matrix does more than right angles and mirrors");
  static constexpr int kNumbers[2][2][2] = {{{1, 4}, {2, 3}}, {{5, 6}, {8, 7}}};
  return kNumbers[is_turned][x < 0][y < 0];
}

/// A view of a frame's pixels; the frame must outlive its use.
///
/// Formats: YUV420P, YUV422P, YUV444P (the J forms too), NV12, NV21, YUV420P10LE, P010LE, YUYV422,
/// UYVY422, RGB24, BGR24, RGBA, BGRA, RGB0, BGR0, GRAY8; frames in a graphics card's memory are none of
/// these.
///
/// - matrix: by `colorspace`, BT709, BT2020_NCL, BT470BG and SMPTE170M; unspecified, BT.601 below 720
///   rows and BT.709 from there on. range: full for J formats and AVCOL_RANGE_JPEG, else limited; grey
///   is always full, as for FFmpeg itself. siting: by `chroma_location`, left, center and topleft;
///   unspecified, left, and in the full range centre.
/// - cropping that a decoder was told not to do (`crop_left` and so on): the view begins at the first
///   visible pixel. Where that would be in the midst of a chroma sample, the view begins one pixel
///   before, and odd_crop takes the visible region, to be given to `run`.
/// - orientation: by the frame's display matrix, see orientationOf.
/// - bytes: to the end of the buffer that holds the plane; of a frame without buffers of its own,
///   linesize times rows.
///
/// odd_crop: set to the region to be shown, all 0 where that is the whole view.
/// Errors: std::invalid_argument for what is none of the above, beginning with the name of the frame's
/// field; for an odd crop when odd_crop is null.
inline FrameView frameView(const AVFrame& frame, Region* odd_crop = nullptr) {
  // pixel: bytes from pixel to pixel in the first plane; chroma: from sample to sample in the others.
  // across, down: pixels that share a chroma sample.
  struct Format {
    int pixels;
    FrameFormat format;
    int planes, pixel, chroma, across, down;
  };
  static constexpr Format kFormats[] = {
      {AV_PIX_FMT_YUV420P, FrameFormat::kI420, 3, 1, 1, 2, 2},
      {AV_PIX_FMT_YUVJ420P, FrameFormat::kI420, 3, 1, 1, 2, 2},
      {AV_PIX_FMT_NV12, FrameFormat::kNv12, 2, 1, 2, 2, 2},
      {AV_PIX_FMT_NV21, FrameFormat::kNv21, 2, 1, 2, 2, 2},
      {AV_PIX_FMT_YUV422P, FrameFormat::kI422, 3, 1, 1, 2, 1},
      {AV_PIX_FMT_YUVJ422P, FrameFormat::kI422, 3, 1, 1, 2, 1},
      {AV_PIX_FMT_YUV444P, FrameFormat::kI444, 3, 1, 1, 1, 1},
      {AV_PIX_FMT_YUVJ444P, FrameFormat::kI444, 3, 1, 1, 1, 1},
      {AV_PIX_FMT_YUV420P10LE, FrameFormat::kI010, 3, 2, 2, 2, 2},
      {AV_PIX_FMT_P010LE, FrameFormat::kP010, 2, 2, 4, 2, 2},
      {AV_PIX_FMT_YUYV422, FrameFormat::kYuyv, 1, 2, 0, 2, 1},
      {AV_PIX_FMT_UYVY422, FrameFormat::kUyvy, 1, 2, 0, 2, 1},
      {AV_PIX_FMT_RGB24, FrameFormat::kRgb, 1, 3, 0, 1, 1},
      {AV_PIX_FMT_BGR24, FrameFormat::kBgr, 1, 3, 0, 1, 1},
      {AV_PIX_FMT_RGBA, FrameFormat::kRgba, 1, 4, 0, 1, 1},
      {AV_PIX_FMT_RGB0, FrameFormat::kRgba, 1, 4, 0, 1, 1},
      {AV_PIX_FMT_BGRA, FrameFormat::kBgra, 1, 4, 0, 1, 1},
      {AV_PIX_FMT_BGR0, FrameFormat::kBgra, 1, 4, 0, 1, 1},
      {AV_PIX_FMT_GRAY8, FrameFormat::kGray, 1, 1, 0, 1, 1},
  };
  const auto refuse = [](const char* field, const std::string& fault) {
    throw std::invalid_argument(std::string(field) + ": " + fault);
  };
  const Format* found = nullptr;
  for (const Format& format : kFormats)
    if (format.pixels == frame.format) found = &format;
  if (found == nullptr) {
    const char* const name = av_get_pix_fmt_name(static_cast<AVPixelFormat>(frame.format));
    throw std::invalid_argument("format: no view shows frames of the format " +
                                std::string(name != nullptr ? name : "that the frame names"));
  }
  if (frame.width < 1) refuse("width", "is not above 0");
  if (frame.height < 1) refuse("height", "is not above 0");
  for (int i = 0; i < found->planes; ++i)
    if (frame.data[i] == nullptr) refuse("data", "plane " + std::to_string(i) + " is null");
  const std::size_t width = static_cast<std::size_t>(frame.width),
                    height = static_cast<std::size_t>(frame.height);
  if (frame.crop_left >= width || frame.crop_right >= width - frame.crop_left)
    refuse("crop_left", "with crop_right leaves no column");
  if (frame.crop_top >= height || frame.crop_bottom >= height - frame.crop_top)
    refuse("crop_top", "with crop_bottom leaves no row");
  const int odd_x = static_cast<int>(frame.crop_left) % found->across,
            odd_y = static_cast<int>(frame.crop_top) % found->down;
  if (odd_crop == nullptr && odd_x != 0)
    refuse("crop_left", "begins in the midst of a chroma sample; odd_crop takes the region");
  if (odd_crop == nullptr && odd_y != 0)
    refuse("crop_top", "begins in the midst of a chroma sample; odd_crop takes the region");
  const int left = static_cast<int>(frame.crop_left) - odd_x,
            top = static_cast<int>(frame.crop_top) - odd_y;

  FrameView view;
  view.format = found->format;
  view.width = frame.width - left - static_cast<int>(frame.crop_right);
  view.height = frame.height - top - static_cast<int>(frame.crop_bottom);

  const bool is_yuv = found->planes > 1 || found->across > 1;
  const bool is_full = frame.color_range == AVCOL_RANGE_JPEG || frame.format == AV_PIX_FMT_YUVJ420P ||
                       frame.format == AV_PIX_FMT_YUVJ422P || frame.format == AV_PIX_FMT_YUVJ444P;
  view.range = is_full || !is_yuv ? YuvRange::kFull : YuvRange::kLimited;
  if (is_yuv) {
    switch (frame.colorspace) {
      case AVCOL_SPC_BT709:
        view.matrix = YuvMatrix::kBt709;
        break;
      case AVCOL_SPC_BT470BG:
      case AVCOL_SPC_SMPTE170M:
        view.matrix = YuvMatrix::kBt601;
        break;
      case AVCOL_SPC_BT2020_NCL:
        view.matrix = YuvMatrix::kBt2020;
        break;
      case AVCOL_SPC_UNSPECIFIED:
        view.matrix = view.height - odd_y < 720 ? YuvMatrix::kBt601 : YuvMatrix::kBt709;
        break;
      default:
        refuse("colorspace", std::to_string(static_cast<int>(frame.colorspace)) +
                                 " is none of BT709, BT2020_NCL, BT470BG and SMPTE170M");
    }
  }
  if (found->across > 1) {
    switch (frame.chroma_location) {
      case AVCHROMA_LOC_UNSPECIFIED:
        view.siting = is_full ? ChromaSiting::kCentre : ChromaSiting::kLeft;
        break;
      case AVCHROMA_LOC_LEFT:
        view.siting = ChromaSiting::kLeft;
        break;
      case AVCHROMA_LOC_CENTER:
        view.siting = ChromaSiting::kCentre;
        break;
      case AVCHROMA_LOC_TOPLEFT:
        view.siting = ChromaSiting::kTopLeft;
        break;
      default:
        refuse("chroma_location", std::to_string(static_cast<int>(frame.chroma_location)) +
                                      " is none of left, center and topleft");
    }
  }
  if (const AVFrameSideData* const matrix =
          av_frame_get_side_data(&frame, AV_FRAME_DATA_DISPLAYMATRIX)) {
    if (static_cast<std::size_t>(matrix->size) < 9 * sizeof(std::int32_t))
      refuse("side_data", "the display matrix is cut short");
    view.orientation = orientationOf(reinterpret_cast<const std::int32_t*>(matrix->data));
  }

  for (int i = 0; i < found->planes; ++i) {
    const int across = i == 0 ? 1 : found->across, down = i == 0 ? 1 : found->down;
    const std::ptrdiff_t stride = frame.linesize[i];
    const std::ptrdiff_t rows = (frame.height + down - 1) / down;
    const std::ptrdiff_t shown = (view.height + down - 1) / down;
    const std::uint8_t* const first =
        frame.data[i] + top / down * stride +
        static_cast<std::ptrdiff_t>(left / across) * (i == 0 ? found->pixel : found->chroma);
    // As numbers: pointers into different buffers have no order, and a frame may be damaged.
    const auto number = [](const std::uint8_t* at) { return reinterpret_cast<std::uintptr_t>(at); };
    const std::uintptr_t data = number(frame.data[i]);
    const std::uintptr_t lowest =
        number(first) + static_cast<std::uintptr_t>(stride < 0 ? (shown - 1) * stride : 0);
    std::uintptr_t begin = 0,
                   end = data + static_cast<std::uintptr_t>(stride < 0 ? -stride : rows * stride);
    for (const AVBufferRef* const buffer : frame.buf) {
      if (buffer == nullptr) continue;
      const std::uintptr_t from = number(buffer->data), size = static_cast<std::size_t>(buffer->size);
      if (data < from || data - from >= size) continue;
      begin = from;
      end = from + size;
    }
    view.planes[i] = first;
    view.strides[i] = stride;
    view.bytes[i] = begin <= lowest && lowest < end ? end - lowest : 0;
  }
  if (odd_crop != nullptr) {
    *odd_crop = {};
    if (odd_x != 0 || odd_y != 0) {
      const int number = view.orientation, w = view.width - odd_x, h = view.height - odd_y;
      const bool is_turned = number >= 5;
      // Mirrored axes have the cut-off pixel behind them, where the region need not name it.
      const int x = number == 2 || number == 3 || number == 7 || number == 8 ? 0 : odd_x;
      const int y = number == 3 || number == 4 || number == 6 || number == 7 ? 0 : odd_y;
      *odd_crop = is_turned ? Region{y, x, h, w} : Region{x, y, w, h};
    }
  }
  return view;
}

}  // namespace Tarn

#endif  // TN_PREPROCESS_FFMPEG_H_
