// The options that say how a tensor's values come from a video's samples.
#ifndef TN_KITS_APPS_COMMANDS_COLOUR_OPTIONS_H_
#define TN_KITS_APPS_COMMANDS_COLOUR_OPTIONS_H_

#include <string>

#include "apps/commands/command_line.h"
#include "apps/tensor/colour_choice.h"

namespace tarnkit {

// tensor: the options are listed with its others. default_scale: what the help says it is.
void addColourOptions(Options tensor, ColourChoice& choice, const std::string& default_scale = "1,1,1");

}  // namespace tarnkit

#endif  // TN_KITS_APPS_COMMANDS_COLOUR_OPTIONS_H_
