// The options of commands that run a model file on zeros.
#ifndef TN_KITS_APPS_COMMANDS_MODEL_OPTIONS_H_
#define TN_KITS_APPS_COMMANDS_MODEL_OPTIONS_H_

#include <optional>
#include <string>

#include "apps/commands/command_line.h"
#include "apps/support/captured_log.h"
#include "tn_cnn.h"

namespace tarnkit {

struct TensorSize {
  int channels = 0, height = 0, width = 0;
};

struct ModelOptions {
  std::string model, config;
  std::optional<TensorSize> input;
};
void addModelOptions(Options options, ModelOptions& values);

struct LoadedModel {
  TarnCPU::TarnNet net;
  TarnCPU::Mat zeros;  // its input, of the size that was asked for, else of the one that it declares
};

// Throws Failure if the files cannot be read or built, for a size that cannot work, and if nobody says
// it. log: catches what the library logs.
LoadedModel loadModel(const ModelOptions& options, const CapturedLog& log);

}  // namespace tarnkit

#endif  // TN_KITS_APPS_COMMANDS_MODEL_OPTIONS_H_
