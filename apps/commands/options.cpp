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

void addTensorOptions(Options options, TensorOptions& values, TensorReader reader) {
  using namespace Tarn;
  const bool is_file = reader == TensorReader::kFile;
  Options tensor = options.group("Tensor");
  addSize(tensor, "--size", values.size,
          is_file ? "Size of the tensor (default: 640x640)"
                  : "Size of the tensors (default: the network's, else 640x640)");
  tensor.addChoice(
      "--fit", values.fit,
      std::map<std::string, Fit>{{"stretch", Fit::kStretch},
                                 {"letterbox", Fit::kLetterbox},
                                 {"letterbox-top-left", Fit::kLetterboxTopLeft},
                                 {"crop", Fit::kCrop}},
      std::string(
          "stretch: each axis by itself; letterbox: one scale, between bars; letterbox-top-left: bars "
          "to the right and below; crop: one scale, the middle of it (default: letterbox") +
          (is_file ? ")" : "; without a network stretch)"));
  tensor.addFlag("--never-enlarge", values.never_enlarge, "Letterboxes: a small frame keeps its pixels");
  tensor
      .add("--short-side", values.short_side,
           "Crops: scale the shorter side to this before the cut (default: what just covers)")
      .typeName("N");
  const auto add_colours = [&](const char* name, std::vector<float>& colours, const char* help) {
    tensor.addFloats(name, colours, 3, help).typeName("A,B,C");
  };
  add_colours("--bar", values.bar,
              "Colour of what the frame does not cover, 0 to 255 (default: 114,114,114)");
  tensor.addChoice(
      "--resampling", values.resampling,
      std::map<std::string, Resampling>{{"nearest", Resampling::kNearest},
                                        {"bilinear", Resampling::kBilinear},
                                        {"antialiased", Resampling::kAntialiased},
                                        {"opencv-linear", Resampling::kOpencvLinear},
                                        {"pillow-bilinear", Resampling::kPillowBilinear},
                                        {"pillow-bicubic", Resampling::kPillowBicubic},
                                        {"pillow-box", Resampling::kPillowBox}},
      "How pixels between pixels are found; opencv-... and pillow-... give the bytes of those libraries "
      "(default: bilinear)");
  tensor.addChoice("--pillow", values.pillow, std::map<std::string, int>{{"12", 12}, {"13", 13}},
                   "Whose order of passes pillow-... has: versions to 12 or from 13 on (default: 12)");
  if (is_file) {
    tensor.addChoice("--layout", values.layout,
                     std::map<std::string, TensorLayout>{{"nchw", TensorLayout::kNchw},
                                                         {"nhwc", TensorLayout::kNhwc}},
                     "Channel by channel or pixel by pixel (default: nchw)");
    tensor.addChoice("--type", values.type,
                     std::map<std::string, ElementType>{{"f32", ElementType::kFloat32},
                                                        {"f16", ElementType::kFloat16},
                                                        {"bf16", ElementType::kBfloat16},
                                                        {"u8", ElementType::kUint8},
                                                        {"i8", ElementType::kInt8}},
                     "Type of the elements; NumPy sees bf16 as uint16 (default: f32)");
    tensor.add("--step", values.step,
               "u8 and i8 hold element / step + zero point, rounded; u8 without it keeps 0 to 255");
    tensor.add("--zero-point", values.zero_point, "See --step (default: 0)");
  }
  tensor.addChoice(
      "--order", values.order,
      std::map<std::string, TensorColour>{
          {"rgb", TensorColour::kRgb}, {"bgr", TensorColour::kBgr}, {"gray", TensorColour::kGray}},
      "The tensor's channels (default: rgb)");
  tensor
      .add(
          "--divisor", values.divisor,
          std::string("An element is ((colour / divisor - mean) / deviation) * scale, with colours from "
                      "0 to 255 (default: 1") +
              (is_file ? ")" : "; for a network 255, unless a part of this is given)"))
      .typeName("D");
  add_colours("--mean", values.mean, "See --divisor; in the order of channels (default: 0,0,0)");
  add_colours("--deviation", values.deviation, "See --divisor (default: 1,1,1)");
  add_colours("--scale", values.scale, "See --divisor (default: 1,1,1)");
  const auto take_region = [&values](const std::string& text) {
    const std::vector<int> at = parseIntegers("--region", text, 4, ",", "X,Y,WIDTH,HEIGHT");
    values.region = {at[0], at[1], at[2], at[3]};
    if (at[2] == 0 && at[3] == 0) throw Failure("--region", text + ": has no pixels");
  };
  tensor
      .addText("--region", take_region,
               "Only this part of the frame, in pixels of the upright picture; what reaches outside is "
               "cut off")
      .typeName("X,Y,W,H");
  tensor.add("--orientation", values.orientation,
             "What turns the stored picture upright, by EXIF's number, 1 to 8 (default: what the file "
             "says)");
  tensor.addChoice("--matrix", values.colour.standard,
                   std::map<std::string, YuvStandard>{{"bt601", YuvStandard::kBt601},
                                                      {"bt709", YuvStandard::kBt709},
                                                      {"bt2020", YuvStandard::kBt2020}},
                   "Standard of YUV colours (default: as the video says, else bt601 for fewer than 720 "
                   "lines and bt709 from there on)");
  tensor.addChoice(
      "--range", values.colour.range,
      std::map<std::string, YuvRange>{{"full", YuvRange::kFull}, {"limited", YuvRange::kLimited}},
      "Range of YUV samples (default: as the video says, else limited)");
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

void checkTensorOptions(const TensorOptions& options) {
  if (options.size) requireSize("--size", *options.size, kLargestTensor, Sides::kAny);
  if (options.orientation && (*options.orientation < 1 || *options.orientation > 8))
    throw Failure("--orientation", std::to_string(*options.orientation) + ": must be from 1 to 8");
}

void requireShare(const std::string& option, double value) {
  if (!(value >= 0.0 && value <= 1.0)) throw Failure(option, "must be from 0 to 1");
}

void requirePositive(const std::string& option, std::int64_t count) {
  if (count < 1) throw Failure(option, std::to_string(count) + ": must be 1 or more");
}

}  // namespace tarnkit
