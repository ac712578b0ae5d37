// Standard input and named pipes for FFmpeg, read so that an interrupt ends the wait for bytes.
#ifndef TN_KITS_APPS_VIDEO_PIPE_INPUT_H_
#define TN_KITS_APPS_VIDEO_PIPE_INPUT_H_

#include <memory>
#include <string>

#include "apps/video/ffmpeg.h"

namespace tarnkit {

struct ClosePipe {
  void operator()(AVIOContext* context) const;
};
using PipeInput = std::unique_ptr<AVIOContext, ClosePipe>;

// path: "-" for standard input, or a file. Reads of what is returned end with AVERROR_EXIT soon after
// an interrupt was noted, however long the writer pauses; FFmpeg's own reader would stay in the wait.
// Null if FFmpeg is to open the path itself: for all other files, which never make it wait, and on
// Windows, where one cannot wait for a pipe with a time limit. Throws Failure if opening fails.
PipeInput openPipe(const std::string& path);

}  // namespace tarnkit

#endif  // TN_KITS_APPS_VIDEO_PIPE_INPUT_H_
