// A network of the library as a detector: loaded, run, its output decoded.
#include "apps/detectors/network_detector.h"

#include <algorithm>
#include <cstddef>

#include "apps/detectors/box_decoding.h"
#include "apps/detectors/label_names.h"
#include "apps/detectors/models/blob_detector.h"
#include "apps/networks/config_file.h"
#include "apps/support/captured_log.h"
#include "apps/support/failure.h"
#include "apps/support/size.h"
#include "tn_checked.h"

namespace tarnkit {
namespace {

constexpr char kBuiltIn[] = "built-in network";

TarnCPU::TarnNet loadNetwork(const NetworkOptions& options) {
  const CapturedLog log;
  const TarnCPU::LayerInferenceConfig config = readConfigFile(options.config);
  TarnCPU::KRNetLoader loader;
  const bool loaded = options.model.empty() ? loader.LoadMemory(kBlobDetector, kBlobDetectorSize, false)
                                            : loader.LoadFile(options.model.c_str(), false);
  if (!loaded) throw Failure(log.reason(options.model + ": cannot be loaded"));
  TarnCPU::TarnNet net;
  net.load_tarn_net_with_inference_config(loader, &config);
  if (net.empty()) throw Failure(log.reason(options.model + ": cannot be built"));
  log.pass();
  return net;
}

TensorNeed needOf(const TarnCPU::TarnNet& net, const std::string& name) {
  if (net.get_input_count() != 1)
    throw Failure(name, "takes " + std::to_string(net.get_input_count()) + " inputs, not one picture");
  const std::vector<int> shape = net.get_input_shape(0);
  if (shape.empty()) return {0, 0};
  const auto is_or_open = [](int size, int wanted) { return size == wanted || size < 0; };
  if (shape.size() != 4 || !is_or_open(shape[0], 1) || !is_or_open(shape[1], 3))
    throw Failure(name, "takes a tensor of " + shapeText(shape) + ", not 1x3xHEIGHTxWIDTH");
  return {std::max(shape[3], 0), std::max(shape[2], 0)};
}

// The last of the layers that it is told about.
class LastLayer final : public TarnCPU::Statistician {
 public:
  void on_layer(const TarnCPU::LayerReport& report) override { report_ = report; }
  const TarnCPU::LayerReport& report() const { return report_; }

 private:
  TarnCPU::LayerReport report_;
};

}  // namespace

NetworkDetector::NetworkDetector(const NetworkOptions& options)
    : options_(options), name_(options.model.empty() ? kBuiltIn : options.model) {
  if (!options.labels.empty())
    labels_ = readLabelNames(options.labels);
  else if (options.model.empty())
    labels_ = {"red", "green", "blue"};
  net_ = loadNetwork(options);
  need_ = needOf(net_, name_);
  extractor_.emplace(net_.create_extractor());
  extractor_->set_light_mode(true);
}

void NetworkDetector::runNetwork(const DetectorInput& input) {
  const _TN_Image& tensor = input.tensor;
  const std::size_t bytes = Tarn::tensorExtent(tensor.width, tensor.height, 3).end();
  const TarnCPU::Mat view =
      Tarn::checked::from_float_array({static_cast<const float*>(tensor.data), bytes}, tensor.width,
                                      tensor.height, 3, TarnCPU::TensorShape::CHW, nullptr);
  const CapturedLog log;
  if (extractor_->input(0, view) != 0 ||
      extractor_->extract(extractor_->get_last_layer_index(), output_) != 0)
    throw Failure(log.reason() + "; its tensor was " + shapeText({1, 3, tensor.height, tensor.width}));
}

std::vector<Tarn::TarnBoundingBox2D> NetworkDetector::detect(const DetectorInput& input) {
  const std::optional<BoxOutput> boxes =
      readLayout(output_.c, output_.h, output_.w, static_cast<const float*>(output_.data));
  if (!boxes) refuseOutput();
  if (!labels_.empty() && labels_.size() != static_cast<std::size_t>(boxes->classes))
    throw Failure(options_.labels, "has " + std::to_string(labels_.size()) + " labels for the " +
                                       std::to_string(boxes->classes) + " classes of " + name_);
  return ontoPicture(suppressDuplicates(decodeBoxes(*boxes, static_cast<float>(options_.score)),
                                        static_cast<float>(options_.nms)),
                     input.placement, input.view);
}

void NetworkDetector::refuseOutput() {
  // The tensor's three sizes are not what the network calls its shape; the layer's report is.
  LastLayer last;
  const CapturedLog log;
  if (extractor_->extract(extractor_->get_last_layer_index(), output_, &last) != 0)
    throw Failure(log.reason());
  throw Failure(name_, "the output of its last layer (" + last.report().name + ") is " +
                           shapeText(last.report().output_shape) +
                           ", neither N x (4 + 1 + classes) nor (4 + classes) x N");
}

std::string NetworkDetector::labelName(int label) const {
  const std::size_t index = static_cast<std::size_t>(label);
  return index < labels_.size() ? labels_[index] : "class " + std::to_string(label);
}

}  // namespace tarnkit
