// What the reader and the writer share of FFmpeg: owners of its objects and its error texts.
#ifndef TN_KITS_APPS_VIDEO_FFMPEG_H_
#define TN_KITS_APPS_VIDEO_FFMPEG_H_

#if defined(__GNUC__)
// FFmpeg's inline functions are C and convert as C does.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wconversion"
#pragma GCC diagnostic ignored "-Wsign-conversion"
#pragma GCC diagnostic ignored "-Wold-style-cast"
#endif
extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
#include <libswscale/swscale.h>
}
#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif

#include <memory>
#include <string>

namespace tarnkit {

struct FfmpegDelete {
  void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
  void operator()(AVFrame* frame) const { av_frame_free(&frame); }
  void operator()(AVPacket* packet) const { av_packet_free(&packet); }
  void operator()(SwsContext* context) const { sws_freeContext(context); }
};

template <class T>
using FfmpegPointer = std::unique_ptr<T, FfmpegDelete>;

// Passes an object fresh from FFmpeg on; throws std::bad_alloc for null, the only way these fail.
template <class T>
FfmpegPointer<T> owned(T* object) {
  if (object == nullptr) throw std::bad_alloc();
  return FfmpegPointer<T>(object);
}

inline std::string ffmpegErrorText(int error) {
  char text[AV_ERROR_MAX_STRING_SIZE] = {};
  av_strerror(error, text, sizeof(text));
  return text;
}

}  // namespace tarnkit

#endif  // TN_KITS_APPS_VIDEO_FFMPEG_H_
