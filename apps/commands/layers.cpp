// tarnkit layers: what each layer of a network takes.
#include <cstdint>
#include <string>

#include "apps/commands/command.h"
#include "apps/commands/model_options.h"
#include "apps/commands/options.h"
#include "apps/networks/layer_times.h"
#include "apps/output/output_file.h"
#include "apps/support/captured_log.h"
#include "apps/support/failure.h"
#include "apps/support/interrupt.h"
#include "tn_cnn.h"

namespace tarnkit {
namespace {

struct LayersOptions {
  ModelOptions model;
  std::int64_t runs = 10;
};

int layers(const LayersOptions& options) {
  requirePositive("--runs", options.runs);
  LayerTimes times;
  {
    const CapturedLog log;
    const LoadedModel model = loadModel(options.model, log);
    TarnCPU::TarnNetExtractor extractor = model.net.create_extractor();
    extractor.set_light_mode(true);
    const int last = extractor.get_last_layer_index();
    // Loading cannot be cut short in between, so until here the first signal ends the program.
    catchInterrupts();
    // The first run also allocates, so it does not count.
    for (std::int64_t run = 0; run <= options.runs && interruptSignal() == 0; ++run) {
      TarnCPU::Mat output;
      if (extractor.input(0, model.zeros) != 0 ||
          extractor.extract(last, output, run == 0 ? nullptr : &times) != 0)
        throw Failure(log.reason(options.model.model + ": cannot be run"));
    }
    log.pass();
  }
  OutputFile out("-");
  out.write(times.table());
  out.close();
  return exitStatus();
}

}  // namespace

void addLayersCommand(CommandLine& tool) {
  auto [options, values] = tool.add(
      "layers", "Show what each layer of a network takes",
      "Times are medians over the runs, on zeros. Without a config that says otherwise, the network\n"
      "gets as many threads as the machine has processors.\n\n"
      "Example: tarnkit layers net.onnx --input 3x224x224",
      layers);
  addModelOptions(options, values.model);
  options.add("--runs", values.runs, "How often to run the network, after once to warm up")
      .showDefault();
}

}  // namespace tarnkit
