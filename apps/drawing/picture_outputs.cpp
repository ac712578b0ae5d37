// Annotated video, contact sheet and trajectories, from the same pictures.
#include "apps/drawing/picture_outputs.h"

#include <utility>

#include "apps/pictures/picture_file.h"

namespace tarnkit {
namespace {

// Frames that a path must have to be plotted.
constexpr std::int64_t kShortestTrajectory = 10;

}  // namespace

PictureOutputs::PictureOutputs(const PicturePaths& files, const VideoInfo& info, LabelNames label_name)
    : files_(files), label_name_(std::move(label_name)), to_bgr_(info.width, info.height, info.colour) {
  if (!files_.video.empty()) video_.emplace(files_.video, info);
}

void PictureOutputs::add(std::int64_t number, const _TN_Image& frame,
                         const std::vector<Tarn::TarnIdentifiedBox>& boxes) {
  trails_.add(number, boxes, frame.width, frame.height);
  cv::Mat picture = to_bgr_.convert(frame);
  if (!files_.trajectories.empty()) {
    trajectories_.add(boxes, frame.width, frame.height);
    picture.copyTo(last_);
  }
  drawTracks(picture, boxes, label_name_, trails_);
  if (video_) video_->write(picture);
  if (!files_.contact_sheet.empty()) sheet_.add(number, picture);
}

void PictureOutputs::close() {
  if (video_) video_->close();
  if (last_.empty() && sheet_.frames().empty()) return;
  if (!files_.contact_sheet.empty()) writePng(files_.contact_sheet, sheet_.compose());
  if (!files_.trajectories.empty())
    writePng(files_.trajectories, drawTrajectories(last_, trajectories_, kShortestTrajectory));
}

}  // namespace tarnkit
