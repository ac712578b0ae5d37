// The tool's commands. Each function adds its command with its options to the command line.
#ifndef TN_KITS_APPS_COMMANDS_COMMAND_H_
#define TN_KITS_APPS_COMMANDS_COMMAND_H_

#include "apps/commands/command_line.h"

namespace tarnkit {

void addTrackCommand(CommandLine& tool);         // track.cpp
void addRunCommand(CommandLine& tool);           // run.cpp
void addTensorCommand(CommandLine& tool);        // tensor.cpp
void addConvertCommand(CommandLine& tool);       // convert.cpp
void addPrepareCommand(CommandLine& tool);       // prepare.cpp
void addWarpCommand(CommandLine& tool);          // warp.cpp
void addLayersCommand(CommandLine& tool);        // layers.cpp
void addExportConfigCommand(CommandLine& tool);  // export_config.cpp
void addScoreCommand(CommandLine& tool);         // score.cpp
void addSampleCommand(CommandLine& tool);        // sample.cpp

}  // namespace tarnkit

#endif  // TN_KITS_APPS_COMMANDS_COMMAND_H_
