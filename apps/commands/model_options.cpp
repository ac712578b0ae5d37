// The options of commands that run a model file on zeros, and its loading.
#include "apps/commands/model_options.h"

#include <algorithm>
#include <cstdint>
#include <vector>

#include "apps/commands/options.h"
#include "apps/networks/config_file.h"
#include "apps/support/failure.h"
#include "apps/support/size.h"

namespace tarnkit {
namespace {

// A quarter of a gigabyte of floats: more than any picture, less than what ends in an error of memory.
constexpr std::int64_t kMostElements = std::int64_t{1} << 26;

TensorSize declaredInput(const std::string& model, const TarnCPU::TarnNet& net) {
  const char* const advice = "; give it with --input";
  std::vector<int> shape = net.get_input_shape(0);
  if (shape.empty()) throw Failure(model, std::string("does not say what size its input has") + advice);
  const std::string shown = shapeText(shape);
  if (*std::min_element(shape.begin(), shape.end()) < 1)
    throw Failure(model, "leaves the size of its input open, " + shown + advice);
  while (shape.size() > 3 && shape.front() == 1) shape.erase(shape.begin());
  if (shape.size() > 3)
    throw Failure(model, "takes an input of " + shown + ", which is more than one picture" + advice);
  shape.insert(shape.begin(), 3 - shape.size(), 1);
  return {shape[0], shape[1], shape[2]};
}

TensorSize resolveInput(const ModelOptions& options, const TarnCPU::TarnNet& net) {
  const TensorSize size = options.input ? *options.input : declaredInput(options.model, net);
  std::int64_t elements = 1;
  for (const int side : {size.channels, size.height, size.width}) {
    if (side >= 1 && elements * side <= kMostElements) {
      elements *= side;
      continue;
    }
    throw Failure("--input", shapeText({size.channels, size.height, size.width}) +
                                 ": sizes must be 1 or more, and all in all " +
                                 std::to_string(kMostElements) + " values at most");
  }
  return size;
}

}  // namespace

void addModelOptions(Options options, ModelOptions& values) {
  options.add("MODEL", values.model, "ONNX file of the network").required();
  const auto take_input = [&values](const std::string& text) {
    const std::vector<int> sides =
        parseIntegers("--input", text, 3, "xX", "CHANNELSxHEIGHTxWIDTH, 3x224x224 for instance");
    values.input = TensorSize{sides[0], sides[1], sides[2]};
  };
  options
      .addText("--input", take_input, "Size of the network's input; by default what the model file says")
      .typeName("CxHxW");
  options.add("--config", values.config, "Inference config to build the network with").typeName("FILE");
}

LoadedModel loadModel(const ModelOptions& options, const CapturedLog& log) {
  const TarnCPU::LayerInferenceConfig config = readConfigFile(options.config);
  TarnCPU::KRNetLoader loader;
  LoadedModel model;
  if (loader.LoadFile(options.model.c_str(), false))
    model.net.load_tarn_net_with_inference_config(loader, &config);
  if (model.net.empty()) throw Failure(log.reason(options.model + ": cannot be loaded"));
  const TensorSize size = resolveInput(options, model.net);
  model.zeros = TarnCPU::Mat(size.width, size.height, size.channels);
  std::fill_n(static_cast<float*>(model.zeros.data), model.zeros.total(), 0.0f);
  return model;
}

}  // namespace tarnkit
