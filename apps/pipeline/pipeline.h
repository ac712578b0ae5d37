// A video through the whole pipeline: tensor, detector, tracker, outputs.
#ifndef TN_KITS_APPS_PIPELINE_PIPELINE_H_
#define TN_KITS_APPS_PIPELINE_PIPELINE_H_

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "apps/detectors/detector.h"
#include "apps/drawing/picture_outputs.h"
#include "apps/output/output_file.h"
#include "apps/output/stage_times.h"
#include "apps/support/size.h"
#include "apps/tensor/tensor_options.h"
#include "apps/tracking/frame_tracker.h"
#include "apps/video/frame_source.h"
#include "tn_boxtracker.h"

namespace tarnkit {

struct PipelineOptions {
  std::optional<std::int64_t> frames;  // stop after this many
  Tarn::TensorSpec spec;               // of the tensors: three or one channels of floats, NCHW
  Tarn::Region region;                 // of the frames
  std::optional<int> orientation;      // of the tensors' frames; what is drawn is as stored
  ColourChoice colour;
  TrackerOptions tracker;
  // Outputs; those without a name are not made.
  std::string tracks;   // MOTChallenge text; "-" is standard output
  std::string tensors;  // folder for NumPy files
  PicturePaths pictures;
};

// The tensors: of the size that the detector's network takes, else of the one that was asked for, else
// 640x640. Networks see colours / 255 and the frame in its own shape between bars, other detectors'
// tensors are stretched, unless something else was asked for. Throws Failure if the network takes
// another size or not as many channels, and if no tensor can have such a size.
Tarn::TensorSpec tensorSpec(const TensorOptions& wanted, const Detector& detector);

// One at a time: the trackers' parameters and clock are the process's.
//
// Each frame's tensor is written before the detector gets it; the frame's tracks are written before its
// picture. Whatever is thrown, the outputs keep all frames before that one, whole.
class Pipeline {
 public:
  // Takes the first frame, on which the outputs depend, and opens the outputs. Throws Failure, as step()
  // and close() do. frames and detector must outlive this.
  Pipeline(FrameSource& frames, Detector& detector, const PipelineOptions& options);
  Pipeline(const Pipeline&) = delete;
  Pipeline& operator=(const Pipeline&) = delete;

  // Takes the next frame through all stages. False if there is none: at the end of the video, after as
  // many frames as were asked for, and after an interrupt.
  bool step();

  // Finishes the outputs.
  void close();

  // The tracks of the last frame.
  const std::vector<Tarn::TarnIdentifiedBox>& tracks() const { return tracks_; }
  std::int64_t framesDone() const { return done_; }
  // As far as the video says, else 0.
  std::int64_t framesExpected() const;

  // Counts of frames, detections and tracks, then the time that each stage takes.
  std::string summary(std::int64_t damaged_packets = 0) const;

 private:
  bool takeFrame();
  void writeTensor() const;
  std::string networkShare() const;

  FrameSource& frames_;
  Detector& detector_;
  PipelineOptions options_;
  bool has_network_;
  StageTimes times_;
  std::int64_t done_ = 0, detections_ = 0, identities_ = 0;
  std::vector<bool> seen_;  // identities, which are numbered from 1 on
  _TN_Image frame_ = {};
  bool has_frame_;  // `frame_` waits for step()
  const VideoInfo& info_;
  std::unique_ptr<Tarn::Preprocessor> preprocessor_;
  std::vector<unsigned char> tensor_;
  std::optional<OutputFile> track_file_;
  std::optional<PictureOutputs> pictures_;
  std::unique_ptr<FrameTracker> tracker_;
  std::vector<Tarn::TarnIdentifiedBox> tracks_;
};

}  // namespace tarnkit

#endif  // TN_KITS_APPS_PIPELINE_PIPELINE_H_
