#include "apps/video/ffmpeg.h"

namespace tarnkit {

std::string ffmpegErrorText(int error) {
  char text[AV_ERROR_MAX_STRING_SIZE] = {};
  av_strerror(error, text, sizeof(text));
  return text;
}

}  // namespace tarnkit
