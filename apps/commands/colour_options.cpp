#include "apps/commands/colour_options.h"

#include <cmath>
#include <map>
#include <string>

#include "apps/commands/options.h"
#include "apps/support/failure.h"

namespace tarnkit {

void addColourOptions(CLI::App& app, ColourOptions& options, const std::string& default_scale) {
  using Tarn::ChannelOrder;
  using Tarn::YuvRange;
  using Tarn::YuvStandard;
  const std::string group = "Tensor";
  addChoice(app, "--matrix", options.standard,
            std::map<std::string, YuvStandard>{{"bt601", YuvStandard::kBt601},
                                               {"bt709", YuvStandard::kBt709},
                                               {"bt2020", YuvStandard::kBt2020}},
            "Standard of the video's colours (default: as the video says, else bt601 for fewer than 720 "
            "lines and bt709 from there on)")
      ->group(group);
  addChoice(app, "--range", options.range,
            std::map<std::string, YuvRange>{{"full", YuvRange::kFull}, {"limited", YuvRange::kLimited}},
            "Range of the video's samples (default: as the video says, else limited)")
      ->group(group);
  addChoice(
      app, "--order", options.order,
      std::map<std::string, ChannelOrder>{{"rgb", ChannelOrder::kRgb}, {"bgr", ChannelOrder::kBgr}},
      "Order of the tensor's planes (default: rgb)")
      ->group(group);
  const auto add = [&](const char* name, std::vector<float>& values, const std::string& help) {
    app.add_option(name, values, help)->delimiter(',')->expected(3)->type_name("R,G,B")->group(group);
  };
  add("--mean", options.mean,
      "The tensor holds (colour - mean) * scale, with colours from 0 to 255, in the order of its planes "
      "(default: 0,0,0)");
  add("--scale", options.scale, "See --mean (default: " + default_scale + ")");
}

Tarn::YuvToRgbOptions resolveColour(const ColourOptions& options, const YuvColour& video,
                                    float default_scale) {
  Tarn::YuvToRgbOptions resolved;
  resolved.standard = options.standard.value_or(video.standard);
  resolved.range = options.range.value_or(video.range);
  resolved.channel_order = options.order;
  for (std::size_t channel = 0; channel < 3; ++channel) {
    resolved.mean[channel] = options.mean[channel];
    resolved.scale[channel] = options.scale.empty() ? default_scale : options.scale[channel];
    if (!std::isfinite(options.mean[channel])) throw Failure("--mean", "values must be finite");
    if (!std::isfinite(resolved.scale[channel])) throw Failure("--scale", "values must be finite");
  }
  return resolved;
}

}  // namespace tarnkit
