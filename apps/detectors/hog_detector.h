// People on foot, found by OpenCV's built-in detector: histograms of oriented gradients, weighed by a
// linear classifier. Needs no model file.
#ifndef TN_KITS_APPS_DETECTORS_HOG_DETECTOR_H_
#define TN_KITS_APPS_DETECTORS_HOG_DETECTOR_H_

#include <opencv2/objdetect.hpp>

#include "apps/detectors/detector.h"

namespace tarnkit {

struct HogOptions {
  double threshold = 0.5;    // least score of a detection
  int smallest_person = 64;  // pixels from head to foot; smaller ones are not found
};

class HogDetector final : public Detector {
 public:
  explicit HogDetector(const HogOptions& options);
  std::vector<Tarn::TarnBoundingBox2D> detect(const DetectorInput& input) override;
  std::string labelName(int) const override { return "person"; }

 private:
  HogOptions options_;
  cv::HOGDescriptor hog_;
};

// Drops every box that overlaps a better one by more than `overlap` of the smaller one's area. The
// result is ordered from best to worst.
std::vector<Tarn::TarnBoundingBox2D> keepBest(std::vector<Tarn::TarnBoundingBox2D> boxes, float overlap);

}  // namespace tarnkit

#endif  // TN_KITS_APPS_DETECTORS_HOG_DETECTOR_H_
