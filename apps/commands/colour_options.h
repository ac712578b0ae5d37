// The options that say how a tensor's values come from a video's samples.
#ifndef TN_KITS_APPS_COMMANDS_COLOUR_OPTIONS_H_
#define TN_KITS_APPS_COMMANDS_COLOUR_OPTIONS_H_

#include <CLI/CLI.hpp>
#include <optional>
#include <vector>

#include "apps/video/picture_converter.h"
#include "tn_colormatrix.h"

namespace tarnkit {

struct ColourOptions {
  std::optional<Tarn::YuvStandard> standard;
  std::optional<Tarn::YuvRange> range;
  Tarn::ChannelOrder order = Tarn::ChannelOrder::kRgb;
  std::vector<float> mean = {0.0f, 0.0f, 0.0f};
  std::vector<float> scale;  // empty if not given
};
// default_scale: what the help says it is.
void addColourOptions(CLI::App& app, ColourOptions& options, const std::string& default_scale = "1,1,1");
// What was not given comes from the video's colour; a scale that was not is `default_scale`. Throws
// Failure for a mean or scale that is not finite.
Tarn::YuvToRgbOptions resolveColour(const ColourOptions& options, const YuvColour& video,
                                    float default_scale = 1.0f);

}  // namespace tarnkit

#endif  // TN_KITS_APPS_COMMANDS_COLOUR_OPTIONS_H_
