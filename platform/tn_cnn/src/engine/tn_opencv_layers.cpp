// Registers makers of layers with OpenCV that round weights first.
#include "platform/tn_cnn/src/engine/tn_opencv_layers.h"

#include <algorithm>
#include <iterator>
#include <opencv2/dnn.hpp>
#include <opencv2/dnn/all_layers.hpp>
#include <utility>
#include <vector>

#include "platform/tn_cnn/src/engine/tn_weight_rounding.h"

namespace TarnCPU {
namespace {

thread_local const std::map<std::string, WeightPrecision>* current_precisions = nullptr;

std::mutex& registryMutex() {
  static std::mutex mutex;
  return mutex;
}

// Several layers may share an initialiser of the model, so the result is always a copy.
cv::Mat rounded(const cv::Mat& weights, WeightPrecision precision) {
  cv::Mat result = weights.clone();
  if (weights.depth() != CV_32F || precision == WeightPrecision::kF32) return result;
  float* const values = result.ptr<float>();
  std::transform(values, values + result.total() * static_cast<std::size_t>(result.channels()), values,
                 [precision](float value) { return roundWeight(value, precision); });
  return result;
}

template <class Made>
cv::Ptr<cv::dnn::Layer> makeRounded(cv::dnn::LayerParams& params) {
  if (current_precisions != nullptr) {
    const auto found = current_precisions->find(params.name);
    const WeightPrecision precision =
        found == current_precisions->end() ? WeightPrecision::kF32 : found->second;
    for (cv::Mat& weights : params.blobs) weights = rounded(weights, precision);
  }
  return Made::create(params);
}

using Shapes = std::vector<cv::dnn::MatShape>;

// OpenCV's recurrent layers know their outputs as "h" and "c" only, but runs ask for a blob by the name
// of its layer. Here any other name is that of the first output.
class Recurrent final : public cv::dnn::Layer {
 public:
  explicit Recurrent(cv::Ptr<cv::dnn::Layer> layer) : layer_(std::move(layer)) {
    blobs = layer_->blobs;
    name = layer_->name;
    type = layer_->type;
    preferableTarget = layer_->preferableTarget;
  }

  int outputNameToIndex(const cv::String& output) override {
    return std::max(layer_->outputNameToIndex(output), 0);
  }
  void finalize(cv::InputArrayOfArrays in, cv::OutputArrayOfArrays out) override {
    layer_->finalize(in, out);
  }
  void forward(cv::InputArrayOfArrays in, cv::OutputArrayOfArrays out,
               cv::OutputArrayOfArrays inner) override {
    layer_->forward(in, out, inner);
  }
  bool getMemoryShapes(const Shapes& in, int outputs, Shapes& out, Shapes& inner) const override {
    return layer_->getMemoryShapes(in, outputs, out, inner);
  }
  bool updateMemoryShapes(const Shapes& in) override { return layer_->updateMemoryShapes(in); }

 private:
  cv::Ptr<cv::dnn::Layer> layer_;
};

template <class Made>
cv::Ptr<cv::dnn::Layer> makeRecurrent(cv::dnn::LayerParams& params) {
  const cv::Ptr<cv::dnn::Layer> layer = makeRounded<Made>(params);
  if (current_precisions == nullptr) return layer;
  return cv::makePtr<Recurrent>(layer);
}

// The types of layers that have weights.
constexpr struct Kind {
  const char* type;
  cv::dnn::LayerFactory::Constructor make;
} kKinds[] = {
    {"BatchNorm", makeRounded<cv::dnn::BatchNormLayer>},
    {"ChannelsPReLU", makeRounded<cv::dnn::ChannelsPReLULayer>},
    {"Compare", makeRounded<cv::dnn::CompareLayer>},
    {"Const", makeRounded<cv::dnn::ConstLayer>},
    {"Convolution", makeRounded<cv::dnn::ConvolutionLayer>},
    {"Deconvolution", makeRounded<cv::dnn::DeconvolutionLayer>},
    {"GRU", makeRecurrent<cv::dnn::GRULayer>},
    {"InnerProduct", makeRounded<cv::dnn::InnerProductLayer>},
    {"LSTM", makeRecurrent<cv::dnn::LSTMLayer>},
    {"PReLU", makeRounded<cv::dnn::ChannelsPReLULayer>},
    {"Scale", makeRounded<cv::dnn::ScaleLayer>},
    {"Shift", makeRounded<cv::dnn::ShiftLayer>},
#if CV_VERSION_MAJOR > 4 || CV_VERSION_MINOR >= 9
    {"Gemm", makeRounded<cv::dnn::GemmLayer>},
    {"MatMul", makeRounded<cv::dnn::MatMulLayer>},
#endif
};

void put(const Kind& kind) {
  try {
    cv::dnn::LayerFactory::registerLayer(kind.type, kind.make);
  } catch (const cv::Exception&) {
    // It is registered already: an earlier call may have run out of memory after that.
  }
}

// Names this short need no memory as strings, so this cannot fail.
void takeOut(const Kind* end) {
  for (const Kind* kind = kKinds; kind != end; ++kind)
    cv::dnn::LayerFactory::unregisterLayer(kind->type);
}

}  // namespace

bool canRoundWeights(const std::string& layer_type) {
  return std::any_of(std::begin(kKinds), std::end(kKinds),
                     [&](const Kind& kind) { return layer_type == kind.type; });
}

WeightRounding::WeightRounding(const std::map<std::string, WeightPrecision>& precisions)
    : lock_(registryMutex()) {
  const Kind* kind = kKinds;
  try {
    for (; kind != std::end(kKinds); ++kind) put(*kind);
  } catch (...) {
    takeOut(kind);
    throw;
  }
  current_precisions = &precisions;
}

WeightRounding::~WeightRounding() {
  takeOut(std::end(kKinds));
  current_precisions = nullptr;
}

}  // namespace TarnCPU
