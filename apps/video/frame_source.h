// Where the frames of a pipeline come from.
#ifndef TN_KITS_APPS_VIDEO_FRAME_SOURCE_H_
#define TN_KITS_APPS_VIDEO_FRAME_SOURCE_H_

#include <cstdint>

#include "apps/video/picture_converter.h"
#include "tn_image.h"
#include "tn_preprocess.h"

namespace tarnkit {

struct VideoInfo {
  int width, height;             // of the frames handed out: even
  int rate_num, rate_den;        // frames a second as a fraction; 25 / 1 where the file does not say
  std::int64_t frames_expected;  // what the file claims, 0 if it does not
  YuvColour colour;              // of the frames handed out
  int orientation = 1;           // what turns them upright, EXIF's number; 0: by no right angle

  double fps() const { return static_cast<double>(rate_num) / rate_den; }
};

class FrameSource {
 public:
  virtual ~FrameSource() = default;
  FrameSource() = default;
  FrameSource(const FrameSource&) = delete;
  FrameSource& operator=(const FrameSource&) = delete;

  // Takes the first frame if next() has not yet, and throws as it does for that frame.
  virtual const VideoInfo& info() = 0;

  // The next frame, packed TN_PIX_FMT_NV12, valid until the next call; false if there is none.
  virtual bool next(_TN_Image& frame) = 0;
  // The same frame as it was decoded where a view can show that, as stored, with its colour.
  virtual Tarn::FrameView view() const = 0;
};

}  // namespace tarnkit

#endif  // TN_KITS_APPS_VIDEO_FRAME_SOURCE_H_
