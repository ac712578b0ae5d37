// A video through the whole pipeline, frame by frame.
#include "apps/pipeline/pipeline.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <system_error>

#include "apps/detections/mot_text.h"
#include "apps/support/failure.h"
#include "apps/support/interrupt.h"

namespace tarnkit {
namespace {

enum Stage : std::size_t { kDecode, kTensor, kNetwork, kDetect, kTrack, kDraw };

void makeFolder(const std::string& folder) {
  std::error_code error;
  std::filesystem::create_directories(folder, error);
  if (error) throw Failure(folder, "cannot be made: " + error.message());
}

}  // namespace

Tarn::TensorSpec tensorSpec(const TensorOptions& wanted, const Detector& detector) {
  Tarn::TensorSpec base;
  const std::optional<TensorNeed> need = detector.tensorNeed();
  if (!need) {
    base.fit = Tarn::Fit::kStretch;
    return specOf(wanted, base);
  }
  // Networks mostly take colours from 0 to 1. Who says a part of it says all.
  if (!wanted.normalises()) base.divisor = 255;
  Tarn::TensorSpec spec = specOf(wanted, base);
  if (spec.colour == Tarn::TensorColour::kGray)
    throw Failure("--order", "the network takes three channels");
  if (need->width > 0) spec.width = need->width;
  if (need->height > 0) spec.height = need->height;
  const std::string size = sizeText({spec.width, spec.height});
  if (wanted.size && sizeText(*wanted.size) != size)
    throw Failure("--size", "the network takes " + size);
  if (spec.width > kLargestTensor || spec.height > kLargestTensor)
    throw Failure("--detector", "the network takes " + size + ", and sides must be at most " +
                                    std::to_string(kLargestTensor));
  return spec;
}

Pipeline::Pipeline(FrameSource& frames, Detector& detector, const PipelineOptions& options)
    : frames_(frames),
      detector_(detector),
      options_(options),
      has_network_(detector.tensorNeed().has_value()),
      times_({"decode", "tensor", "network", "detect", "track", "draw and encode"}),
      has_frame_(takeFrame()),
      info_(frames.info()) {
  if (has_network_ && info_.orientation == 0 && !options_.orientation)
    throw Failure("--orientation", "is needed: the video is turned by no right angle");
  applyTrackerParams(options_.tracker, static_cast<float>(info_.fps()));
  preprocessor_ = makePreprocessor(options_.spec);
  if (!options_.tensors.empty()) makeFolder(options_.tensors);
  if (!options_.tracks.empty()) track_file_.emplace(options_.tracks);
  if (options_.pictures.any())
    pictures_.emplace(options_.pictures, info_,
                      [this](int label) { return detector_.labelName(label); });
  tracker_ = makeFrameTracker(options_.tracker.filter, info_.width, info_.height);
}

bool Pipeline::takeFrame() {
  if (interruptSignal() != 0 || (options_.frames && done_ >= *options_.frames)) return false;
  times_.start();
  if (!frames_.next(frame_)) return false;
  times_.finish(kDecode);
  return true;
}

void Pipeline::writeTensor() const {
  char name[32];
  std::snprintf(name, sizeof(name), "%06lld.npy", static_cast<long long>(done_));
  writeFile((std::filesystem::path(options_.tensors) / name).string(), npyHeaderOf(options_.spec),
            tensor_.data(), tensor_.size());
}

bool Pipeline::step() {
  if (!has_frame_ && !takeFrame()) return false;
  has_frame_ = false;
  ++done_;
  times_.start();
  Tarn::FrameView view = frames_.view();
  options_.colour.applyTo(view);
  view.orientation = options_.orientation.value_or(std::max(info_.orientation, 1));
  const Tarn::Placement placement =
      preprocess(*preprocessor_, view, options_.region, tensor_, "frame " + std::to_string(done_));
  times_.finish(kTensor);
  if (!options_.tensors.empty()) writeTensor();

  const DetectorInput input = {
      done_,
      frame_,
      {0, TN_PIX_FMT_CHW_F32, options_.spec.width, options_.spec.height, 0, tensor_.data()},
      placement,
      view};
  times_.start();
  if (has_network_) {
    detector_.runNetwork(input);
    times_.finish(kNetwork);
  }
  const std::vector<Tarn::TarnBoundingBox2D> detections = detector_.detect(input);
  times_.finish(kDetect);
  tracks_ = tracker_->track(done_, detections);
  times_.finish(kTrack);

  detections_ += static_cast<std::int64_t>(detections.size());
  for (const Tarn::TarnIdentifiedBox& box : tracks_) {
    const std::size_t index = static_cast<std::size_t>(box.id);
    if (index >= seen_.size()) seen_.resize(index + 1);
    if (!seen_[index]) ++identities_;
    seen_[index] = true;
  }
  if (track_file_)
    track_file_->writeComplete(motLines(done_, toPixels(tracks_, info_.width, info_.height)));
  if (pictures_) {
    times_.start();
    pictures_->add(done_, frame_, tracks_);
    times_.finish(kDraw);
  }
  return true;
}

void Pipeline::close() {
  if (track_file_) track_file_->close();
  if (pictures_) pictures_->close();
}

std::int64_t Pipeline::framesExpected() const {
  const std::int64_t whole = info_.frames_expected;
  return options_.frames && (whole == 0 || *options_.frames < whole) ? *options_.frames : whole;
}

// How much of the work on a frame is the network's and how much is done around it.
std::string Pipeline::networkShare() const {
  const double network = times_.median(kNetwork);
  const double around = times_.median(kTensor) + times_.median(kDetect) + times_.median(kTrack);
  if (network <= 0.0) return {};
  char line[128];
  std::snprintf(line, sizeof(line), "network %.1f %%, tensor, detect and track %.1f %% of their sum\n",
                100.0 * network / (network + around), 100.0 * around / (network + around));
  return line;
}

std::string Pipeline::summary(std::int64_t damaged_packets) const {
  std::string text = "frames " + std::to_string(done_) + ", detections " + std::to_string(detections_) +
                     ", tracks " + std::to_string(identities_);
  if (damaged_packets > 0) text += ", damaged packets passed over " + std::to_string(damaged_packets);
  return text + "\n" + times_.table() + networkShare();
}

}  // namespace tarnkit
