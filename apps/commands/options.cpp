// Options that several commands have, and checks of their values.
#include "apps/commands/options.h"

#include <charconv>
#include <cstring>

#include "apps/support/failure.h"

namespace tarnkit {

std::vector<int> parseIntegers(const std::string& option, const std::string& text, std::size_t count,
                               const char* separators, const std::string& form) {
  std::vector<int> values(count);
  const char *at = text.data(), *const end = text.data() + text.size();
  for (int& value : values) {
    const auto [stop, error] = std::from_chars(at, end, value);
    const bool is_last = &value == &values.back();
    const bool is_followed = is_last ? stop == end : stop != end && std::strchr(separators, *stop);
    if (error != std::errc() || !is_followed)
      throw UsageError(option,
                       std::string("'").append(text).append("' is not of the form ").append(form));
    at = stop + 1;
  }
  return values;
}

void addColourOptions(Options tensor, ColourChoice& choice, const std::string& default_scale) {
  using Tarn::ChannelOrder, Tarn::YuvRange, Tarn::YuvStandard;
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
  tensor
      .addFloats("--mean", choice.mean, 3,
                 "The tensor holds (colour - mean) * scale, with colours from 0 to 255, in the order of "
                 "its planes (default: 0,0,0)")
      .typeName("R,G,B");
  tensor.addFloats("--scale", choice.scale, 3, "See --mean (default: " + default_scale + ")")
      .typeName("R,G,B");
}

void addTrackerOptions(Options options, TrackerOptions& values, const std::string& fps_help) {
  Tarn::TarnBoundingBoxesTrackerParams& params = values.params;
  Options tracking = options.group("Tracking");
  tracking.addChoice(
      "--filter", values.filter,
      std::map<std::string, Filter>{{"kalman", Filter::kKalman}, {"one-euro", Filter::kOneEuro}},
      "What smooths each track: kalman (a motion model; the default) or one-euro "
      "(a low-pass filter that follows fast movement)");
  tracking.add("--fps", values.fps, fps_help);
  const auto add = [&](const char* name, auto& value, const char* help) {
    tracking.add(name, value, help).showDefault();
  };
  add("--iou-threshold", params.iouThreshold,
      "A detection can only continue a track that it overlaps by more than this, 0 to 1");
  add("--max-confidence", params.maxConfidence,
      "A track gains 1 a frame in which it is seen, up to this, and loses 1 otherwise: the more, the "
      "longer it lives on unseen");
  add("--valid-threshold", params.validThreshold,
      "Tracks start at this confidence, and are reported at it and above");
  add("--lost-threshold", params.lostThreshold, "Tracks end at this confidence");
  add("--process-noise", params.processNoise, "Kalman: how freely boxes change their motion");
  add("--measurement-noise", params.measurementNoise, "Kalman: how far detections are off");
  add("--min-cutoff", params.minCutoff, "One-Euro: cut-off frequency of a box at rest, Hz");
  add("--beta", params.beta, "One-Euro: rise of the cut-off with speed");
  add("--d-cutoff", params.dCutoff, "One-Euro: cut-off frequency of the speed, Hz");
}

void requireSize(const std::string& option, const Size& size, int largest, Sides sides) {
  if (size.width < 1 || size.height < 1 || size.width > largest || size.height > largest)
    throw Failure(option,
                  sizeText(size) + ": width and height must be from 1 to " + std::to_string(largest));
  if (sides == Sides::kEven && (size.width % 2 != 0 || size.height % 2 != 0))
    throw Failure(option, sizeText(size) + ": width and height must be even");
}

void requireShare(const std::string& option, double value) {
  if (!(value >= 0.0 && value <= 1.0)) throw Failure(option, "must be from 0 to 1");
}

void requirePositive(const std::string& option, std::int64_t count) {
  if (count < 1) throw Failure(option, std::to_string(count) + ": must be 1 or more");
}

}  // namespace tarnkit
