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

using Shapes = std::vector<cv::dnn::MatShape>;

// What a kind of layer does not check by itself. Null where something does not fit.
using Fault = const char*;
using Check = Fault (*)(const cv::dnn::LayerParams& params, const Shapes& in);

Fault anyInputs(const cv::dnn::LayerParams&, const Shapes&) { return nullptr; }

Fault kernelOfTheirRank(const cv::dnn::LayerParams& params, const Shapes& in) {
  const bool fits = !params.has("kernel_size") ||
                    in[0].size() == static_cast<std::size_t>(params.get("kernel_size").size()) + 2;
  return fits ? nullptr : "has an input of another rank than its kernel";
}

// Weights may flow in as well.
Fault kernelAndWeights(const cv::dnn::LayerParams& params, const Shapes& in) {
  if (in.size() > 1 &&
      (in[1].size() != in[0].size() || *std::min_element(in[1].begin(), in[1].end()) < 1))
    return "has weights of another rank than its input, or without elements";
  return kernelOfTheirRank(params, in);
}

Fault parameterPerChannel(const cv::dnn::LayerParams& params, const Shapes& in) {
  if (in[0].size() < 2) return "has an input without channels";
  const int channels = in[0][1];
  const auto fits = [channels](const cv::Mat& blob) {
    return channels <= 0 || blob.total() == static_cast<std::size_t>(channels);
  };
  return std::all_of(params.blobs.begin(), params.blobs.end(), fits)
             ? nullptr
             : "has not as many parameters as its input has channels";
}

Fault inputsOfOneRank(const cv::dnn::LayerParams&, const Shapes& in) {
  const auto fits = [&](const cv::dnn::MatShape& shape) { return shape.size() == in[0].size(); };
  return std::all_of(in.begin(), in.end(), fits) ? nullptr : "has inputs of different ranks";
}

// The importer takes the difference of the ranks for the axis.
Fault axisOfTheInput(const cv::dnn::LayerParams& params, const Shapes& in) {
  const int axis = params.get<int>("axis", 0);
  const std::size_t rank = in[0].size();
  const bool fits = axis >= 0 && static_cast<std::size_t>(axis) < std::max<std::size_t>(rank, 1) &&
                    (in.size() < 2 || in[1].size() <= rank);
  return fits ? nullptr : "has a second operand of more dimensions than its first";
}

// A layer that looks at what flows in before the engine's layer does.
//
// Recurrent layers know their outputs as "h" and "c" only, while runs ask for blobs by the layer's name;
// here any other name is that of the first output.
class Guarded final : public cv::dnn::Layer {
 public:
  Guarded(cv::Ptr<cv::dnn::Layer> layer, const cv::dnn::LayerParams& params, Check check)
      : layer_(std::move(layer)), params_(params), check_(check) {
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
    const Fault fault = in.empty() ? "has no input that is not constant" : check_(params_, in);
    // One of OpenCV's own, to which its importer adds the node.
    if (fault != nullptr)
      throw cv::Exception(cv::Error::StsBadArg, "layer '" + name + "' " + fault, "", "", 0);
    return layer_->getMemoryShapes(in, outputs, out, inner);
  }
  bool updateMemoryShapes(const Shapes& in) override { return layer_->updateMemoryShapes(in); }

 private:
  cv::Ptr<cv::dnn::Layer> layer_;
  cv::dnn::LayerParams params_;
  Check check_;
};

template <class Made, Check check>
cv::Ptr<cv::dnn::Layer> makeGuarded(cv::dnn::LayerParams& params) {
  const cv::Ptr<cv::dnn::Layer> layer = makeRounded<Made>(params);
  if (current_precisions == nullptr) return layer;
  return cv::makePtr<Guarded>(layer, params, check);
}

struct Kind {
  const char* type;
  cv::dnn::LayerFactory::Constructor make;
  bool has_weights;
};

constexpr Kind kKinds[] = {
    {"BatchNorm", makeGuarded<cv::dnn::BatchNormLayer, parameterPerChannel>, true},
    {"ChannelsPReLU", makeRounded<cv::dnn::ChannelsPReLULayer>, true},
    {"Compare", makeGuarded<cv::dnn::CompareLayer, axisOfTheInput>, true},
    {"Const", makeRounded<cv::dnn::ConstLayer>, true},
    {"Convolution", makeGuarded<cv::dnn::ConvolutionLayer, kernelAndWeights>, true},
    {"Deconvolution", makeGuarded<cv::dnn::DeconvolutionLayer, kernelAndWeights>, true},
    {"Eltwise", makeGuarded<cv::dnn::EltwiseLayer, inputsOfOneRank>, false},
    {"GRU", makeGuarded<cv::dnn::GRULayer, anyInputs>, true},
    {"InnerProduct", makeGuarded<cv::dnn::InnerProductLayer, anyInputs>, true},
    {"LSTM", makeGuarded<cv::dnn::LSTMLayer, anyInputs>, true},
    {"PReLU", makeRounded<cv::dnn::ChannelsPReLULayer>, true},
    {"Pooling", makeGuarded<cv::dnn::PoolingLayer, kernelOfTheirRank>, false},
    {"Scale", makeGuarded<cv::dnn::ScaleLayer, axisOfTheInput>, true},
    {"Shift", makeRounded<cv::dnn::ShiftLayer>, true},
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
                     [&](const Kind& kind) { return kind.has_weights && layer_type == kind.type; });
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
