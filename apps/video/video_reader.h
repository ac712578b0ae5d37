// Any video that FFmpeg reads, as packed 4:2:0 frames.
#ifndef TN_KITS_APPS_VIDEO_VIDEO_READER_H_
#define TN_KITS_APPS_VIDEO_VIDEO_READER_H_

#include <cstdint>
#include <memory>
#include <string>

#include "apps/video/frame_source.h"

namespace tarnkit {

// Decodes the best video stream of a file in order.
//
// Frames come as TN_PIX_FMT_NV12, upright as stored (a rotation tag is not applied). An odd last
// column or row is cut off, which moves no sample, where scaling would blur them all. Later frames of
// another size are scaled to the first one's. 4:2:0 sources of 8 bits keep their sample values;
// everything else is converted to 8 bits and 4:2:0, RGB by the colour below in the limited range, grey
// with neutral chroma in the full range.
//
// Colour: matrix and range as the stream is tagged. Untagged it is BT.601 for fewer than 720 lines
// and BT.709 from there on, limited range.
class VideoReader final : public FrameSource {
 public:
  // path: a file, a URL, or "-" for standard input. Throws Failure naming the path if it cannot be
  // opened or is no video, or if an interrupt was noted before that was known.
  explicit VideoReader(const std::string& path);
  ~VideoReader() override;

  const VideoInfo& info() override;

  // False also when reading fails midway, or when an interrupt was noted while reading. Damaged packets
  // are passed over. Throws Failure in place of the first frame if there is none that can be decoded or
  // an interrupt was noted before it.
  bool next(_TN_Image& frame) override;

  // The decoder's own frame, odd columns and rows included, where the library has its format and
  // colours; else the packed one.
  Tarn::FrameView view() const override;

  // Throws Failure if what looked like the end was a fault of reading: all frames up to it were handed
  // out, and may be made use of before.
  void requireWhole() const;

  // Packets so far that could not be decoded.
  std::int64_t damagedPackets() const;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace tarnkit

#endif  // TN_KITS_APPS_VIDEO_VIDEO_READER_H_
