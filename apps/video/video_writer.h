// Pictures to an MP4 file.
#ifndef TN_KITS_APPS_VIDEO_VIDEO_WRITER_H_
#define TN_KITS_APPS_VIDEO_VIDEO_WRITER_H_

#include <memory>
#include <opencv2/core.hpp>
#include <string>

#include "apps/video/frame_source.h"

namespace tarnkit {

// Writes H.264 (or MPEG-4 Part 2 where FFmpeg has no H.264 encoder) into a fragmented MP4: each frame
// is a fragment of its own, so that a file that could not be finished, on a full disk for instance,
// plays up to the last frame that reached it.
class VideoWriter {
 public:
  // The file is replaced. info: size, frame rate and colour. Throws Failure.
  VideoWriter(const std::string& path, const VideoInfo& info);
  // Finishes the file as far as possible if close() was not called; never throws.
  ~VideoWriter();
  VideoWriter(const VideoWriter&) = delete;
  VideoWriter& operator=(const VideoWriter&) = delete;

  // bgr: 8 bits, 3 channels, of the size given. Throws Failure.
  void write(const cv::Mat& bgr);

  // Writes what the encoder still holds and the index. Throws Failure.
  void close();

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace tarnkit

#endif  // TN_KITS_APPS_VIDEO_VIDEO_WRITER_H_
