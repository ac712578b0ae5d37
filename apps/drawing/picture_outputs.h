// The outputs of a run that show pictures: annotated video, contact sheet, trajectories.
#ifndef TN_KITS_APPS_DRAWING_PICTURE_OUTPUTS_H_
#define TN_KITS_APPS_DRAWING_PICTURE_OUTPUTS_H_

#include <cstdint>
#include <opencv2/core.hpp>
#include <optional>
#include <string>
#include <vector>

#include "apps/drawing/contact_sheet.h"
#include "apps/drawing/draw_tracks.h"
#include "apps/drawing/paths.h"
#include "apps/video/picture_converter.h"
#include "apps/video/video_writer.h"
#include "tn_boxtracker.h"
#include "tn_image.h"

namespace tarnkit {

struct PicturePaths {
  std::string video, contact_sheet, trajectories;  // empty: not wanted
  bool any() const { return !video.empty() || !contact_sheet.empty() || !trajectories.empty(); }
};

class PictureOutputs {
 public:
  // Opens the video. Throws Failure, as every method does.
  PictureOutputs(const PicturePaths& files, const VideoInfo& info, LabelNames label_name);

  void add(std::int64_t number, const _TN_Image& frame,
           const std::vector<Tarn::TarnIdentifiedBox>& boxes);

  // Finishes the video and writes the others, which need at least one frame.
  void close();

 private:
  PicturePaths files_;
  LabelNames label_name_;
  Nv12ToBgr to_bgr_;
  std::optional<VideoWriter> video_;
  Trails trails_;
  Trajectories trajectories_;
  ContactSheet sheet_;
  cv::Mat last_;
};

}  // namespace tarnkit

#endif  // TN_KITS_APPS_DRAWING_PICTURE_OUTPUTS_H_
