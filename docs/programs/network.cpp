// Runs a network as it is and with the weights of one layer rounded, and lists what ran.
// usage: network MODEL.onnx
#include <tn_cnn.h>

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace {

class Layers : public TarnCPU::Statistician {
 public:
  void on_layer(const TarnCPU::LayerReport& report) override {
    std::printf("%d %-16s %-13s %4d parameter bytes, %s\n", report.index, report.name.c_str(),
                report.type.c_str(), static_cast<int>(report.parameter_bytes),
                TarnCPU::to_string(report.precision));
  }
};

TarnCPU::Mat run(const TarnCPU::KRNetLoader& model, const TarnCPU::LayerInferenceConfig& config,
                 TarnCPU::Statistician* stats) {
  TarnCPU::TarnNet net;
  net.load_tarn_net_with_inference_config(model, &config);
  const std::vector<int> shape = net.get_input_shape(0);  // batch, channels, rows, columns
  if (shape.size() != 4) return {};
  TarnCPU::Mat input(shape[3], shape[2], shape[1]), output;
  for (std::size_t i = 0; i < input.total(); ++i)
    static_cast<float*>(input.data)[i] = static_cast<float>(i % 7) / 7.0f;
  TarnCPU::TarnNetExtractor extractor = net.create_extractor();
  if (extractor.input(0, input) == 0) extractor.extract(extractor.get_last_layer_index(), output, stats);
  return output;
}

}  // namespace

int main(int argc, char** argv) {
  TarnCPU::KRNetLoader model;
  if (argc != 2 || !model.LoadFile(argv[1], false)) return 1;  // the reason is in the log

  const auto config = TarnCPU::LayerInferenceConfig::from_text(
      "tarn-inference-config 1\n"
      "threads 1\n"
      "layer conv1 bf16\n");
  Layers layers;
  const TarnCPU::Mat exact = run(model, TarnCPU::LayerInferenceConfig(), nullptr);
  const TarnCPU::Mat rounded = run(model, config, &layers);
  if (exact.empty() || rounded.empty() || exact.total() != rounded.total()) return 1;
  float apart = 0, largest = 0;
  for (std::size_t i = 0; i < exact.total(); ++i) {
    const float value = static_cast<const float*>(exact.data)[i];
    apart = std::max(apart, std::abs(value - static_cast<const float*>(rounded.data)[i]));
    largest = std::max(largest, std::abs(value));
  }
  std::printf("%d outputs; rounding moved them by up to %.1f %% of the largest\n", exact.w,
              100.0 * static_cast<double>(apart / largest));
}
