// The options that say how a tensor's values come from a video's samples.
#include "apps/commands/colour_options.h"

#include <map>
#include <vector>

namespace tarnkit {

using Tarn::ChannelOrder;
using Tarn::YuvRange;
using Tarn::YuvStandard;

void addColourOptions(Options tensor, ColourChoice& choice, const std::string& default_scale) {
  static const std::map<std::string, YuvStandard> standards = {
      {"bt601", YuvStandard::kBt601}, {"bt709", YuvStandard::kBt709}, {"bt2020", YuvStandard::kBt2020}};
  static const std::map<std::string, YuvRange> ranges = {{"full", YuvRange::kFull},
                                                         {"limited", YuvRange::kLimited}};
  static const std::map<std::string, ChannelOrder> orders = {{"rgb", ChannelOrder::kRgb},
                                                             {"bgr", ChannelOrder::kBgr}};
  tensor.addChoice("--matrix", choice.standard, standards,
                   "Standard of the video's colours (default: as the video says, else bt601 for fewer "
                   "than 720 lines and bt709 from there on)");
  tensor.addChoice("--range", choice.range, ranges,
                   "Range of the video's samples (default: as the video says, else limited)");
  tensor.addChoice("--order", choice.order, orders, "Order of the tensor's planes (default: rgb)");
  const auto add = [&](const char* name, std::vector<float>& values, const std::string& help) {
    tensor.addFloats(name, values, 3, help).typeName("R,G,B");
  };
  add("--mean", choice.mean,
      "The tensor holds (colour - mean) * scale, with colours from 0 to 255, in the order of its planes "
      "(default: 0,0,0)");
  add("--scale", choice.scale, "See --mean (default: " + default_scale + ")");
}

}  // namespace tarnkit
