// The options of commands that run a model file on zeros.
#ifndef TN_KITS_APPS_COMMANDS_MODEL_OPTIONS_H_
#define TN_KITS_APPS_COMMANDS_MODEL_OPTIONS_H_

#include <CLI/CLI.hpp>
#include <optional>
#include <string>

#include "tn_cnn.h"

namespace tarnkit {

struct TensorSize {
  int channels = 0, height = 0, width = 0;
};

struct ModelOptions {
  std::string model, config;
  std::optional<TensorSize> input;
};
void addModelOptions(CLI::App& app, ModelOptions& options);

// The size of the network's input: as asked for, else as the model declares it. Throws Failure for a
// size that cannot work, and if nobody says it.
TensorSize resolveInput(const ModelOptions& options, const TarnCPU::TarnNet& net);

}  // namespace tarnkit

#endif  // TN_KITS_APPS_COMMANDS_MODEL_OPTIONS_H_
