// Boxes found by a network: any one-stage detector in an ONNX file, or the built-in one.
#ifndef TN_KITS_APPS_DETECTORS_NETWORK_DETECTOR_H_
#define TN_KITS_APPS_DETECTORS_NETWORK_DETECTOR_H_

#include <optional>
#include <string>
#include <vector>

#include "apps/detectors/detector.h"
#include "tn_cnn.h"

namespace tarnkit {

struct NetworkOptions {
  std::string model;    // empty for the built-in network
  std::string labels;   // file of the classes' names; empty for none
  std::string config;   // file of an inference config; empty for none
  double score = 0.25;  // least score of a box
  double nms = 0.45;    // most overlap of two boxes of one class
};

// Of a network with several outputs, the one of its last layer is taken.
class NetworkDetector final : public Detector {
 public:
  // Throws Failure for files that cannot be used. Lines of the config that cannot be applied are
  // reported on standard error and passed over.
  explicit NetworkDetector(const NetworkOptions& options);

  // As the model file declares its input.
  std::optional<TensorNeed> tensorNeed() const override { return need_; }

  // Throws Failure if the network does not run on such a tensor.
  void runNetwork(const DetectorInput& input) override;

  // Throws Failure, naming the shape, if the network's output is no table of boxes, and if it has not as
  // many classes as there are labels.
  std::vector<Tarn::TarnBoundingBox2D> detect(const DetectorInput& input) override;

  std::string labelName(int label) const override;

 private:
  [[noreturn]] void refuseOutput();

  NetworkOptions options_;
  std::string name_;  // of the model, for messages
  std::vector<std::string> labels_;
  TarnCPU::TarnNet net_;
  TensorNeed need_ = {0, 0};
  std::optional<TarnCPU::TarnNetExtractor> extractor_;
  TarnCPU::Mat output_;
};

}  // namespace tarnkit

#endif  // TN_KITS_APPS_DETECTORS_NETWORK_DETECTOR_H_
