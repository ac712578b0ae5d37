// Drives the network library through one run; all the work is done there.
#include "tool_export_inference_config.h"

#include <cstddef>
#include <cstdio>
#include <string>
#include <vector>

#include "common/tn_check.h"

// Callers match crash reports by this place, which therefore stays although the code moves.
#define TN_EXPORT_SOURCE "tarnkit/src/cpu_x86/tool_export_inference_config_cpu_x86"

namespace TarnCPU {

ToolExportInferenceConfig::ToolExportInferenceConfig() = default;
ToolExportInferenceConfig::~ToolExportInferenceConfig() {}

ToolExportInferenceConfig& ToolExportInferenceConfig::operator=(const ToolExportInferenceConfig&) =
    default;

// The order of these calls is a promise to network libraries that callers bring themselves, and so is
// that of the releases, which the order of the declarations gives.
void ToolExportInferenceConfig::exportConfig(std::string model_path, int dim_a, int dim_b, int dim_c,
                                             std::string config_path,
                                             const LayerInferenceConfig* layer_config) {
  KRNetLoader loader;
  TN_CHECK_AT(loader.LoadFile(model_path.c_str(), false), "false && \"Cann't load model file\"",
              TN_EXPORT_SOURCE, 27);

  TarnNet net;
  net.load_tarn_net_with_inference_config(loader, layer_config);

  const std::vector<float> zeros(static_cast<std::size_t>(dim_a) * static_cast<std::size_t>(dim_b) *
                                 static_cast<std::size_t>(dim_c));
  // A tensor's sizes go from the innermost outwards.
  const Mat input = Mat::from_float_array(zeros.data(), dim_c, dim_b, dim_a, TensorShape::CHW, nullptr);

  TarnNetExtractor extractor = net.create_extractor();
  extractor.set_num_threads(1);
  extractor.set_light_mode(true);
  extractor.input(0, input);
  const int last_layer = extractor.get_last_layer_index();

  ConfigPrinter printer;
  Mat output;
  printer.add_header();
  // Should this or the input fail, the log says so, and the text has no layers.
  extractor.extract(last_layer, output, &printer);
  printer.add_tail();

  const std::string text = printer.get_config_string();
  saveToFile(config_path, text);
}

void ToolExportInferenceConfig::saveToFile(const std::string& path, const std::string& text) {
  std::FILE* const file = std::fopen(path.c_str(), "w");
  TN_CHECK_AT(file != nullptr, "false && \"Cann't load file\"", TN_EXPORT_SOURCE, 12);
  std::fprintf(file, "%s", text.c_str());
  std::fclose(file);
}

}  // namespace TarnCPU
