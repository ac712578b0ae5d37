// The tool's commands: each adds its options to the command line and says what to run when chosen.
#ifndef TN_KITS_APPS_COMMANDS_COMMAND_H_
#define TN_KITS_APPS_COMMANDS_COMMAND_H_

#include <CLI/CLI.hpp>
#include <functional>

namespace tarnkit {

struct Command {
  CLI::App* options;
  std::function<int()> run;  // returns the exit status; throws Failure
};

Command makeTrackCommand(CLI::App& tool);         // track.cpp
Command makeRunCommand(CLI::App& tool);           // run.cpp
Command makeTensorCommand(CLI::App& tool);        // tensor.cpp
Command makeConvertCommand(CLI::App& tool);       // convert.cpp
Command makePrepareCommand(CLI::App& tool);       // prepare.cpp
Command makeWarpCommand(CLI::App& tool);          // warp.cpp
Command makeLayersCommand(CLI::App& tool);        // layers.cpp
Command makeExportConfigCommand(CLI::App& tool);  // export_config.cpp
Command makeScoreCommand(CLI::App& tool);         // score.cpp
Command makeSampleCommand(CLI::App& tool);        // sample.cpp

}  // namespace tarnkit

#endif  // TN_KITS_APPS_COMMANDS_COMMAND_H_
