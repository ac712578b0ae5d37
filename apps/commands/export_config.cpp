// tarnkit export-config: the inference config of a network, to be edited and fed back.
#include <string>

#include "apps/commands/command.h"
#include "apps/commands/model_options.h"
#include "apps/output/output_file.h"
#include "apps/support/captured_log.h"
#include "apps/support/failure.h"
#include "tn_cnn.h"

namespace tarnkit {
namespace {

struct ExportConfigOptions {
  ModelOptions model;
  std::string output;
};

int exportConfig(const ExportConfigOptions& options) {
  requireDistinctFiles({options.model.model, options.model.config}, {options.output});
  const CapturedLog log;
  const LoadedModel model = loadModel(options.model, log);

  // What the library's own export does, but for its file: the text waits in memory, so that the output
  // is only touched once there is something to write.
  TarnCPU::TarnNetExtractor extractor = model.net.create_extractor();
  extractor.set_num_threads(1);
  extractor.set_light_mode(true);
  TarnCPU::ConfigPrinter printer;
  TarnCPU::Mat output;
  printer.add_header();
  if (extractor.input(0, model.zeros) != 0 ||
      extractor.extract(extractor.get_last_layer_index(), output, &printer) != 0)
    throw Failure(log.reason(options.model.model + ": cannot be run"));
  printer.add_tail();
  OutputFile out(options.output);
  out.write(printer.get_config_string());
  out.close();
  log.pass();
  return 0;
}

}  // namespace

void addExportConfigCommand(CommandLine& tool) {
  auto [options, values] = tool.add(
      "export-config", "Write down how a network runs, to be edited and fed back",
      "The network runs once, on zeros and one thread. The text has a line for each layer, with the\n"
      "precision of its weights, which can be changed, and what the layer was measured at.\n\n"
      "Example: tarnkit export-config net.onnx --input 3x224x224 -o net.txt",
      exportConfig);
  addModelOptions(options, values.model);
  options.add("-o,--output", values.output, "File to write; - writes standard output")
      .required()
      .typeName("OUT.txt");
}

}  // namespace tarnkit
