// What finds the boxes in a frame.
#ifndef TN_KITS_APPS_DETECTORS_DETECTOR_H_
#define TN_KITS_APPS_DETECTORS_DETECTOR_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tn_boxtracker.h"
#include "tn_image.h"
#include "tn_preprocess.h"

namespace tarnkit {

struct DetectorInput {
  std::int64_t number;          // frames are counted from 1
  const _TN_Image& frame;       // packed NV12
  _TN_Image tensor;             // the same picture as TN_PIX_FMT_CHW_F32, with one channel or three
  Tarn::Placement placement;    // where in the tensor
  const Tarn::FrameView& view;  // that the tensor was made of
};

// The tensor that a detector reads; 0 leaves a side to the caller.
struct TensorNeed {
  int width, height;
};

class Detector {
 public:
  virtual ~Detector() = default;
  Detector() = default;
  Detector(const Detector&) = delete;
  Detector& operator=(const Detector&) = delete;

  // Nothing for detectors that do not look at the tensor. The picture keeps its shape in the others'.
  virtual std::optional<TensorNeed> tensorNeed() const { return std::nullopt; }

  // The share of the work that is a network's, apart so that it can be timed: for those that need a
  // tensor, to be called before detect, with the same input.
  virtual void runNetwork(const DetectorInput&) {}

  // Boxes as fractions of the frame.
  virtual std::vector<Tarn::TarnBoundingBox2D> detect(const DetectorInput& input) = 0;

  // What a box's label stands for, to be written beside the box.
  virtual std::string labelName(int label) const = 0;
};

}  // namespace tarnkit

#endif  // TN_KITS_APPS_DETECTORS_DETECTOR_H_
