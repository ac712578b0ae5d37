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

// Initialisers of a model may serve several layers, so the result has memory of its own.
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

// A recurrent layer. It knows its outputs as "h" and "c" only, while runs ask for blobs by the layer's
// name; this one takes any other name for its first output.
class Addressable final : public cv::dnn::Layer {
 public:
  explicit Addressable(cv::Ptr<cv::dnn::Layer> layer) : layer_(std::move(layer)) {
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
  bool getMemoryShapes(const std::vector<cv::dnn::MatShape>& in, int outputs,
                       std::vector<cv::dnn::MatShape>& out,
                       std::vector<cv::dnn::MatShape>& inner) const override {
    return layer_->getMemoryShapes(in, outputs, out, inner);
  }

 private:
  cv::Ptr<cv::dnn::Layer> layer_;
};

template <class Made>
cv::Ptr<cv::dnn::Layer> makeAddressable(cv::dnn::LayerParams& params) {
  const cv::Ptr<cv::dnn::Layer> layer = makeRounded<Made>(params);
  if (current_precisions == nullptr) return layer;
  return cv::makePtr<Addressable>(layer);
}

struct Kind {
  const char* type;
  cv::dnn::LayerFactory::Constructor make;
};

constexpr Kind kKinds[] = {
    {"BatchNorm", makeRounded<cv::dnn::BatchNormLayer>},
    {"ChannelsPReLU", makeRounded<cv::dnn::ChannelsPReLULayer>},
    {"Const", makeRounded<cv::dnn::ConstLayer>},
    {"Convolution", makeRounded<cv::dnn::ConvolutionLayer>},
    {"Deconvolution", makeRounded<cv::dnn::DeconvolutionLayer>},
    {"GRU", makeAddressable<cv::dnn::GRULayer>},
    {"InnerProduct", makeRounded<cv::dnn::InnerProductLayer>},
    {"LSTM", makeAddressable<cv::dnn::LSTMLayer>},
    {"PReLU", makeRounded<cv::dnn::ChannelsPReLULayer>},
    {"Scale", makeRounded<cv::dnn::ScaleLayer>},
    {"Shift", makeRounded<cv::dnn::ShiftLayer>},
};

void put(const Kind& kind) {
  try {
    cv::dnn::LayerFactory::registerLayer(kind.type, kind.make);
  } catch (const cv::Exception&) {
    // It is there: OpenCV may run out of memory after it has put a maker in.
  }
}

// Names are short enough for strings without memory of their own, so this cannot fail.
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
