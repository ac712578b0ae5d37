// What finds the boxes in a frame.
#ifndef TN_KITS_APPS_DETECTORS_DETECTOR_H_
#define TN_KITS_APPS_DETECTORS_DETECTOR_H_

#include <cstdint>
#include <string>
#include <vector>

#include "tn_boxtracker.h"
#include "tn_image.h"

namespace tarnkit {

struct DetectorInput {
  std::int64_t number;      // frames are counted from 1
  const _TN_Image& frame;   // packed NV12
  const _TN_Image& tensor;  // the same picture as TN_PIX_FMT_CHW_F32, at the size asked for
};

class Detector {
 public:
  virtual ~Detector() = default;
  Detector() = default;
  Detector(const Detector&) = delete;
  Detector& operator=(const Detector&) = delete;

  // Boxes as fractions of the frame.
  virtual std::vector<Tarn::TarnBoundingBox2D> detect(const DetectorInput& input) = 0;

  // What a box's label stands for, to be written beside the box.
  virtual std::string labelName(int label) const = 0;
};

}  // namespace tarnkit

#endif  // TN_KITS_APPS_DETECTORS_DETECTOR_H_
