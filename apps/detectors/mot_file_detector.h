// Boxes that were found before, from a MOTChallenge text file.
#ifndef TN_KITS_APPS_DETECTORS_MOT_FILE_DETECTOR_H_
#define TN_KITS_APPS_DETECTORS_MOT_FILE_DETECTOR_H_

#include "apps/detections/mot_text.h"
#include "apps/detectors/detector.h"

namespace tarnkit {

// The file's line for frame n belongs to the n-th frame of the video, its boxes are in that frame's
// pixels. Throws Failure as readMotFrames does.
class MotFileDetector final : public Detector {
 public:
  explicit MotFileDetector(const std::string& path) : frames_(readMotFrames(path)) {}

  std::vector<Tarn::TarnBoundingBox2D> detect(const DetectorInput& input) override {
    const auto boxes = frames_.find(input.number);
    if (boxes == frames_.end()) return {};
    return toFractions(boxes->second, input.frame.width, input.frame.height);
  }

  std::string labelName(int) const override { return "object"; }

 private:
  MotFrames frames_;
};

}  // namespace tarnkit

#endif  // TN_KITS_APPS_DETECTORS_MOT_FILE_DETECTOR_H_
