#include "apps/commands/options.h"

#include <charconv>
#include <map>

#include "apps/support/failure.h"

namespace tarnkit {
namespace {

Size parseSize(const std::string& option, const std::string& text) {
  Size size;
  const char* const end = text.data() + text.size();
  const auto width = std::from_chars(text.data(), end, size.width);
  if (width.ec == std::errc() && width.ptr != end && (*width.ptr == 'x' || *width.ptr == 'X')) {
    const auto height = std::from_chars(width.ptr + 1, end, size.height);
    if (height.ec == std::errc() && height.ptr == end) return size;
  }
  throw CLI::ValidationError(option,
                             "'" + text + "' is not of the form WIDTHxHEIGHT, 640x480 for instance");
}

}  // namespace

CLI::Option* addSizeOption(CLI::App& app, const std::string& name, Size& size, const std::string& help) {
  return app
      .add_option_function<std::string>(
          name, [&size, name](const std::string& text) { size = parseSize(name, text); }, help)
      ->type_name("WxH");
}

std::array<int, 4> parseFourIntegers(const std::string& option, const std::string& text,
                                     const char* form) {
  std::array<int, 4> values = {};
  const char *at = text.data(), *const end = text.data() + text.size();
  for (int& value : values) {
    const auto [stop, error] = std::from_chars(at, end, value);
    const bool last = &value == &values.back();
    if (error != std::errc() || (last ? stop != end : stop == end || *stop != ','))
      throw CLI::ValidationError(option, "'" + text + "' is not of the form " + form);
    at = stop + 1;
  }
  return values;
}

void requireSize(const std::string& option, const Size& size, int largest, Sides sides) {
  const std::string shown = std::to_string(size.width) + "x" + std::to_string(size.height);
  if (size.width < 1 || size.height < 1 || size.width > largest || size.height > largest)
    throw Failure(option, shown + ": width and height must be from 1 to " + std::to_string(largest));
  if (sides == Sides::kEven && (size.width % 2 != 0 || size.height % 2 != 0))
    throw Failure(option, shown + ": width and height must be even");
}

void requireShare(const std::string& option, double value) {
  if (!(value >= 0.0 && value <= 1.0)) throw Failure(option, "must be from 0 to 1");
}

void requirePositive(const std::string& option, std::int64_t count) {
  if (count < 1) throw Failure(option, std::to_string(count) + ": must be 1 or more");
}

void addTrackerOptions(CLI::App& app, TrackerOptions& options, const std::string& fps_help) {
  Tarn::TarnBoundingBoxesTrackerParams& params = options.params;
  const std::string group = "Tracking";
  addChoice(app, "--filter", options.filter,
            std::map<std::string, Filter>{{"kalman", Filter::kKalman}, {"one-euro", Filter::kOneEuro}},
            "What smooths each track: kalman (a motion model; the default) or one-euro "
            "(a low-pass filter that follows fast movement)")
      ->group(group);
  options.fps = app.add_option("--fps", params.fps, fps_help)->group(group);
  const auto add = [&](const char* name, auto& value, const char* help) {
    app.add_option(name, value, help)->capture_default_str()->group(group);
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

void applyTrackerParams(const TrackerOptions& options) {
  try {
    Tarn::setTrackerParams(options.params);
  } catch (const std::invalid_argument& refusal) {
    throw Failure("tracker parameters", refusal.what());
  }
}

}  // namespace tarnkit
