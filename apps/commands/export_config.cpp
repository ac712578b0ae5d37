// tarnkit export-config: the inference config of a network, to be edited and fed back.
#include <filesystem>
#include <memory>
#include <random>
#include <string>
#include <system_error>
#include <vector>

#include "apps/commands/command.h"
#include "apps/commands/model_options.h"
#include "apps/networks/config_file.h"
#include "apps/output/output_file.h"
#include "apps/support/captured_log.h"
#include "apps/support/failure.h"
#include "apps/support/input_file.h"
#include "tool_export_inference_config.h"

namespace tarnkit {
namespace {

struct ExportConfigOptions {
  ModelOptions model;
  std::string output;
};

// A file of the system's folder for such, gone with the object. The library writes to it, so that the
// output is only touched once there is something to write.
class ScratchFile {
 public:
  ScratchFile() {
    std::random_device random;
    const std::string name = "tarnkit-" + std::to_string(random()) + "-" + std::to_string(random());
    path_ = (std::filesystem::temp_directory_path() / name).string();
    // The library would end the program if it could not open it.
    OutputFile(path_).close();
  }
  ScratchFile(const ScratchFile&) = delete;
  ScratchFile& operator=(const ScratchFile&) = delete;
  ~ScratchFile() {
    std::error_code ignored;
    std::filesystem::remove(path_, ignored);
  }

  const std::string& path() const { return path_; }
  std::string content() const {
    constexpr std::size_t kMostBytes = std::size_t{1} << 30;
    const std::vector<unsigned char> bytes = readFile(path_, kMostBytes);
    return std::string(bytes.begin(), bytes.end());
  }

 private:
  std::string path_;
};

// The network as the export will build it; the log's faults are the caller's to report.
TarnCPU::TarnNet loadNetwork(const std::string& model) {
  TarnCPU::KRNetLoader loader;
  TarnCPU::TarnNet net;
  if (loader.LoadFile(model.c_str(), false)) net.load_tarn_net_with_inference_config(loader, nullptr);
  return net;
}

int exportConfig(const ExportConfigOptions& options) {
  const ModelOptions& model = options.model;
  requireDistinctFiles({model.model, model.config}, {options.output});
  const CapturedLog log;
  const TarnCPU::LayerInferenceConfig config = readConfigFile(model.config);
  const TarnCPU::TarnNet net = loadNetwork(model.model);
  if (net.empty()) throw Failure(log.reason(model.model + ": cannot be loaded"));
  const TensorSize input = resolveInput(model, net);

  const ScratchFile scratch;
  TarnCPU::ToolExportInferenceConfig().exportConfig(model.model, input.channels, input.height,
                                                    input.width, scratch.path(), &config);
  const std::string text = scratch.content();
  if (text.find("\nlayer ") == std::string::npos)
    throw Failure(log.reason(model.model + ": cannot be run"));
  // The library does not check its writing.
  if (text.find("\n# total: ") == std::string::npos)
    throw Failure(scratch.path(), "was not written whole");
  OutputFile out(options.output);
  out.write(text);
  out.close();
  log.pass();
  return 0;
}

}  // namespace

Command makeExportConfigCommand(CLI::App& tool) {
  const auto options = std::make_shared<ExportConfigOptions>();
  CLI::App* const app =
      tool.add_subcommand("export-config", "Write down how a network runs, to be edited and fed back");
  app->footer(
      "The network runs once, on zeros and one thread. The text has a line for each layer, with the\n"
      "precision of its weights, which can be changed, and what the layer was measured at.\n\n"
      "Example: tarnkit export-config net.onnx --input 3x224x224 -o net.txt");
  addModelOptions(*app, options->model);
  app->add_option("-o,--output", options->output, "File to write; - writes standard output")
      ->required()
      ->type_name("OUT.txt");
  return {app, [options] { return exportConfig(*options); }};
}

}  // namespace tarnkit
