// Texts of inference configs: any bytes give valid settings, each fault gives one log line with its
// place, and settings written as text read back.
#include <string>

#include "fuzz/fuzz_input.h"
#include "platform/tn_cnn/src/tn_config_text.h"
#include "tests/support/log_lines.h"
#include "tn_cnn.h"

namespace {

using TarnCPU::LayerInferenceConfig;

std::string textOf(const LayerInferenceConfig& config) {
  std::string text = std::string(TarnCPU::kConfigFormat) + "\n";
  if (config.get_num_threads() > 0) text += "threads " + std::to_string(config.get_num_threads()) + "\n";
  for (const auto& [layer, precision] : config.get_precisions())
    text += "layer " + TarnCPU::quoteName(layer) + " " + TarnCPU::to_string(precision) + "\n";
  return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  tn_test::LogLines log;
  const LayerInferenceConfig config = LayerInferenceConfig::from_text({data, data + size}, "settings");
  for (const std::string& line : log.take()) {
    FUZZ_CHECK(line.rfind("settings:", 0) == 0);
    FUZZ_CHECK(line.find('\n') == std::string::npos);
  }
  FUZZ_CHECK(config.get_num_threads() >= 0 &&
             config.get_num_threads() <= LayerInferenceConfig::kMostThreads);
  const LayerInferenceConfig again = LayerInferenceConfig::from_text(textOf(config), "written");
  FUZZ_CHECK(log.take().empty());
  FUZZ_CHECK(again.get_precisions() == config.get_precisions() &&
             again.get_num_threads() == config.get_num_threads());
  return 0;
}
