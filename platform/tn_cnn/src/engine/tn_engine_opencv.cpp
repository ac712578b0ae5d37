// The engine that runs networks with OpenCV's dnn module, on the CPU.
//
// Layer fusion is off. Fused layers have no times and weights of their own, and since fusion multiplies
// weights together, a layer's rounding would depend on its neighbours.
#include <algorithm>
#include <map>
#include <numeric>
#include <opencv2/dnn.hpp>
#include <sstream>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "platform/tn_cnn/src/engine/tn_engine.h"
#include "platform/tn_cnn/src/engine/tn_onnx_outline.h"
#include "platform/tn_cnn/src/engine/tn_opencv_layers.h"
#include "platform/tn_cnn/src/engine/tn_opencv_settings.h"
#include "platform/tn_cnn/src/tn_config_text.h"
#include "tn_core.h"

namespace TarnCPU {
namespace {

using cv::dnn::MatShape;

// The most elements of one blob, 1 GiB as floats: the engine counts with 32 bits in places.
constexpr std::int64_t kMostBlobElements = std::int64_t{1} << 28;

struct Layer {
  std::string name;         // as shown
  std::string engine_name;  // as OpenCV has it
  int id = 0;               // OpenCV's number
  std::string type;         // as shown
  std::size_t parameters = 0;
  bool has_weights = false;
  WeightPrecision precision = WeightPrecision::kF32;
};

using Precisions = std::map<std::string, WeightPrecision>;  // by the engine's name of the layer

// WeightRounding is needed even if no layer is rounded: it gives each layer its own copy of the weights.
// Some layers change their weights when they are made, and with shared memory that would change another
// layer's weights too.
cv::dnn::Net importModel(const ModelFile& model, const Precisions& rounded) {
  const WeightRounding rounding(rounded);
  const char* const bytes = reinterpret_cast<const char*>(model.bytes.data());
  cv::dnn::Net net = cv::dnn::readNetFromONNX(bytes, model.bytes.size());
  net.setPreferableBackend(cv::dnn::DNN_BACKEND_OPENCV);
  net.setPreferableTarget(cv::dnn::DNN_TARGET_CPU);
  net.enableFusion(false);
  // Constants and some other layers are made only when they are asked for.
  for (const std::string& name : net.getLayerNames()) net.getLayer(net.getLayerId(name));
  return net;
}

// Removes every stretch of `text` that begins with `first` and ends with the next `last`.
std::string without(std::string_view text, std::string_view first, std::string_view last) {
  std::string rest;
  for (;;) {
    const std::size_t begin = text.find(first);
    const std::size_t end =
        begin == std::string_view::npos ? begin : text.find(last, begin + first.size());
    rest += text.substr(0, end == std::string_view::npos ? end : begin);
    if (end == std::string_view::npos) return rest;
    text.remove_prefix(end + last.size());
  }
}

// Removes OpenCV's source positions from a message. The importer wraps a layer's fault into its own:
//   > Node [Conv@ai.onnx]:(onnx_node!a) parse error: OpenCV(4.6.0) ./modules/dnn/src/dnn.cpp:7: error:
//   (-215:Assertion failed) group > 0 in function 'f'
//   >
std::string withoutPlaces(const std::string& fault) {
  std::string text = without(fault, "OpenCV(", ": error: ");
  text = without(text, "(-", ") ");
  text = without(text, " in function '", "'");
  text = without(text, "onnx_node", "!");
  std::string plain;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    const char* const marks = " >:";
    const std::size_t begin = line.find_first_not_of(marks), end = line.find_last_not_of(marks);
    if (begin == std::string::npos) continue;
    plain += (plain.empty() ? "" : ": ") + line.substr(begin, end + 1 - begin);
  }
  return plain.empty() ? fault : plain;
}

// Runs `body`; an exception of OpenCV leaves it as a std::runtime_error without source positions.
template <class Body>
auto plainFaults(const Body& body) {
  try {
    return body();
  } catch (const cv::Exception& fault) {
    throw std::runtime_error(withoutPlaces(fault.err));
  }
}

// The importer calls node "conv1" "onnx_node!conv1"; users know it without the mark.
std::string withoutMark(const std::string& engine_name) {
  const std::size_t end = engine_name.find('!');
  return engine_name.rfind("onnx_node", 0) == 0 && end != std::string::npos ? engine_name.substr(end + 1)
                                                                            : engine_name;
}

// Matrix products of newer OpenCVs have types of their own. Users know them as those of older ones.
bool isMatrixProduct(const std::string& type) { return type == "Gemm" || type == "MatMul"; }

std::vector<Layer> listLayers(const cv::dnn::Net& net) {
  std::vector<Layer> layers;
  std::map<std::string, int> uses;
  for (const std::string& engine_name : net.getLayerNames()) {
    Layer layer;
    layer.engine_name = engine_name;
    layer.name = withoutMark(engine_name);
    ++uses[layer.name];
    layer.id = net.getLayerId(engine_name);
    const cv::Ptr<cv::dnn::Layer> made = net.getLayer(layer.id);
    layer.type = isMatrixProduct(made->type) ? "InnerProduct" : made->type;
    if (made->type == "CumSum")
      throw std::runtime_error("has a CumSum, with which the engine overruns memory");
    for (const cv::Mat& blob : made->blobs) {
      layer.parameters += blob.total();
      layer.has_weights |= blob.depth() == CV_32F && canRoundWeights(made->type);
    }
    layers.push_back(std::move(layer));
  }
  for (Layer& layer : layers)
    if (layer.name.empty() || uses[layer.name] != 1) layer.name = layer.engine_name;
  return layers;
}

// Copies the precisions into the layers, and logs those that do not apply.
void applyPrecisions(const LayerInferenceConfig& config, const std::string& path,
                     std::vector<Layer>& layers) {
  const auto log = [&](const std::string& name, const char* fault) {
    Tarn::_LogError("Tarn", "%s: the inference config names layer %s, which %s", path.c_str(),
                    quoteName(name).c_str(), fault);
  };
  for (const auto& [name, precision] : config.get_precisions()) {
    const auto is_named = [&wanted = name](const Layer& layer) { return layer.name == wanted; };
    const auto layer = std::find_if(layers.begin(), layers.end(), is_named);
    if (layer == layers.end())
      log(name, "the network does not have");
    else if (layer->has_weights)
      layer->precision = precision;
    else if (precision != WeightPrecision::kF32)
      log(name, "has no weights to round");
  }
}

Precisions roundedLayers(const std::vector<Layer>& layers) {
  Precisions precisions;
  for (const Layer& layer : layers)
    if (layer.precision != WeightPrecision::kF32) precisions[layer.engine_name] = layer.precision;
  return precisions;
}

std::size_t elementsOf(const MatShape& shape) {
  return std::accumulate(shape.begin(), shape.end(), std::size_t{1}, [](std::size_t product, int size) {
    return product * static_cast<std::size_t>(std::max(size, 0));
  });
}

// The shape in which an input is fed: the declared one if the tensor has as many elements.
MatShape shapeToFeed(const Mat& blob, const std::vector<int>& declared) {
  const bool is_closed = !declared.empty() && *std::min_element(declared.begin(), declared.end()) > 0;
  if (is_closed && elementsOf(declared) == blob.total()) return declared;
  return {1, blob.c, blob.h, blob.w};
}

// A copy of a blob of the engine.
Mat tensorOf(const cv::Mat& blob) {
  cv::Mat floats = blob;
  if (blob.depth() != CV_32F) blob.convertTo(floats, CV_32F);
  std::vector<int> sizes(floats.size.p, floats.size.p + floats.dims);
  while (sizes.size() > 3 && sizes.front() == 1) sizes.erase(sizes.begin());
  while (sizes.size() > 3) {
    sizes[1] *= sizes[0];
    sizes.erase(sizes.begin());
  }
  while (sizes.size() < 3) sizes.insert(sizes.begin(), 1);
  Mat tensor(sizes[2], sizes[1], sizes[0]);
  if (floats.total() == 0) return tensor;
  if (!floats.isContinuous()) floats = floats.clone();
  std::copy_n(floats.ptr<float>(), floats.total(), static_cast<float*>(tensor.data));
  return tensor;
}

// For convolutions and matrix products: elements of the output times terms of each sum.
std::int64_t multiplyAdds(const cv::dnn::Layer& layer, const std::vector<MatShape>& in,
                          const std::vector<MatShape>& out) {
  if (in.empty() || out.empty() || in[0].empty() || out[0].empty()) return 0;
  const auto terms = [&] {
    return layer.blobs[0].total() / static_cast<std::size_t>(std::max(layer.blobs[0].size[0], 1));
  };
  std::size_t count = 0;
  if (layer.type == "Convolution" && !layer.blobs.empty())
    count = elementsOf(out[0]) * terms();
  else if (layer.type == "Deconvolution" && !layer.blobs.empty())
    count = elementsOf(in[0]) * terms();
  else if (layer.type == "InnerProduct")
    count =
        elementsOf(out[0]) * (layer.blobs.empty() ? static_cast<std::size_t>(in[0].back()) : terms());
  else if (isMatrixProduct(layer.type))  // their weights may be transposed
    count = elementsOf(in[0]) * static_cast<std::size_t>(out[0].back());
  return static_cast<std::int64_t>(count);
}

class OpenCvNetwork final : public EngineNetwork {
 public:
  OpenCvNetwork(const cv::dnn::Net& net, std::vector<Layer> layers, std::vector<OnnxInput> inputs)
      : net_(net), layers_(std::move(layers)), inputs_(std::move(inputs)) {
    for (const int id : net_.getUnconnectedOutLayers())
      for (std::size_t i = 0; i < layers_.size(); ++i)
        if (layers_[i].id == id) outputs_.push_back(static_cast<int>(i) + 1);
  }

  int lastLayer() const override { return static_cast<int>(layers_.size()); }
  int inputCount() const override { return static_cast<int>(inputs_.size()); }
  std::vector<int> inputShape(int index) const override {
    return inputs_[static_cast<std::size_t>(index)].shape;
  }

  RunResult run(const RunRequest& request) override {
    return plainFaults([&] { return runQuietly(request); });
  }

 private:
  RunResult runQuietly(const RunRequest& request) {
    const QuietOpenCv quiet;
    const OpenCvThreads threads(request.threads);
    RunResult result;
    result.threads = std::max(1, cv::getNumThreads());
    if (unfinished_) startOver();
    unfinished_ = true;
    const std::vector<MatShape> shapes = feed(request);
    checkSizes(shapes);

    const std::vector<int> kept = keptLayers(request);
    std::vector<cv::String> names;
    for (const int index : kept) names.push_back(layer(index).engine_name);
    std::vector<cv::Mat> blobs;
    net_.forward(blobs, names);
    for (std::size_t i = 0; i < kept.size(); ++i) result.blobs[kept[i]] = tensorOf(blobs.at(i));
    if (request.report) result.layers = reports(request.last, shapes);
    unfinished_ = false;
    return result;
  }

  // A run that failed while OpenCV set up its buffers leaves the network half set up, and OpenCV would
  // not notice in the next run. A change of fusion makes it set up all layers again, and a changed input
  // shape that input.
  void startOver() {
    net_.enableFusion(true);
    net_.enableFusion(false);
    float value = 0.0f;
    for (const OnnxInput& input : inputs_) setInput(cv::Mat(MatShape{1}, CV_32F, &value), input);
  }

  void setInput(const cv::Mat& blob, const OnnxInput& input) {
    net_.setInput(blob, inputs_.size() > 1 ? input.name : "");
  }

  const Layer& layer(int index) const { return layers_[static_cast<std::size_t>(index) - 1]; }

  std::vector<MatShape> feed(const RunRequest& request) {
    std::vector<MatShape> shapes;
    for (const auto& [index, blob] : request.inputs) {
      const OnnxInput& declared = inputs_[static_cast<std::size_t>(index)];
      shapes.push_back(shapeToFeed(blob, declared.shape));
      setInput(cv::Mat(shapes.back(), CV_32F, blob.data), declared);
    }
    return shapes;
  }

  // OpenCV multiplies the sizes of a blob without a check for overflow.
  void checkSizes(const std::vector<MatShape>& input_shapes) {
    if (input_shapes == checked_) return;
    std::vector<int> ids;
    std::vector<std::vector<MatShape>> in, out;
    net_.getLayersShapes(input_shapes, ids, in, out);
    for (const std::vector<MatShape>& blobs : out)
      for (const MatShape& blob : blobs) {
        std::int64_t elements = 1;
        for (const int size : blob) {
          elements *= std::max(size, 1);
          if (elements > kMostBlobElements)
            throw std::runtime_error("a blob would have more than " + std::to_string(kMostBlobElements) +
                                     " elements");
        }
      }
    checked_ = input_shapes;
  }

  std::vector<int> keptLayers(const RunRequest& request) const {
    std::vector<int> kept;
    if (request.keep_all) {
      kept.resize(static_cast<std::size_t>(request.last));
      std::iota(kept.begin(), kept.end(), 1);
      return kept;
    }
    for (const int output : outputs_)
      if (output < request.last) kept.push_back(output);
    kept.push_back(request.last);
    return kept;
  }

  std::vector<LayerReport> reports(int last, const std::vector<MatShape>& input_shapes) {
    std::vector<double> ticks;
    net_.getPerfProfile(ticks);
    std::vector<int> ids;
    std::vector<std::vector<MatShape>> in, out;
    net_.getLayersShapes(input_shapes, ids, in, out);
    std::map<int, std::size_t> place;
    for (std::size_t i = 0; i < ids.size(); ++i) place[ids[i]] = i;

    std::vector<LayerReport> all;
    for (int index = 1; index <= last; ++index) {
      const Layer& described = layer(index);
      LayerReport report;
      report.index = index;
      report.name = described.name;
      report.type = described.type;
      report.has_weights = described.has_weights;
      report.precision = described.precision;
      const std::size_t parameter = described.precision == WeightPrecision::kF32 ? 4 : 2;
      report.parameter_bytes = static_cast<std::int64_t>(described.parameters * parameter);
      const std::size_t timed = static_cast<std::size_t>(described.id) - 1;
      if (timed < ticks.size()) report.milliseconds = ticks[timed] * 1000.0 / cv::getTickFrequency();
      const auto found = place.find(described.id);
      if (found != place.end() && !out[found->second].empty()) {
        report.output_shape = out[found->second][0];
        report.multiply_adds =
            multiplyAdds(*net_.getLayer(described.id), in[found->second], out[found->second]);
      }
      all.push_back(std::move(report));
    }
    return all;
  }

  cv::dnn::Net net_;
  std::vector<Layer> layers_;
  std::vector<OnnxInput> inputs_;
  std::vector<MatShape> checked_;  // input shapes that passed checkSizes last
  std::vector<int> outputs_;       // layers whose blobs no layer takes, ascending
  bool unfinished_ = false;        // the last run began and failed
};

}  // namespace

std::unique_ptr<EngineNetwork> buildNetwork(const ModelFile& model, const LayerInferenceConfig& config) {
  const QuietOpenCv quiet;
  std::vector<OnnxInput> inputs = outlineOnnx(model.bytes);
  if (inputs.empty()) throw std::runtime_error("has no inputs");
  return plainFaults([&] {
    cv::dnn::Net net = importModel(model, {});
    std::vector<Layer> layers = listLayers(net);
    if (layers.empty()) throw std::runtime_error("has no layers");
    applyPrecisions(config, model.path, layers);
    const Precisions rounded = roundedLayers(layers);
    if (!rounded.empty()) net = importModel(model, rounded);
    return std::make_unique<OpenCvNetwork>(net, std::move(layers), std::move(inputs));
  });
}

}  // namespace TarnCPU
