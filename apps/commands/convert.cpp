// tarnkit convert: one picture, or one raw frame, through the pixel kernels to a PNG file.
#include <charconv>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "apps/commands/command.h"
#include "apps/commands/options.h"
#include "apps/output/output_file.h"
#include "apps/pictures/operations.h"
#include "apps/pictures/picture_file.h"
#include "apps/pictures/raw_frame.h"
#include "apps/support/failure.h"
#include "apps/support/input_file.h"

namespace tarnkit {
namespace {

using Operation = std::function<Picture(const Picture&)>;

constexpr char kOperationGroup[] = "Operations, as often as wanted, in the order given";

struct ConvertOptions {
  std::string input, output;
  std::optional<RawFormat> format;
  Size frame;
  std::vector<Operation> operations;
};

const std::map<std::string, RawFormat>& rawFormats() {
  static const std::map<std::string, RawFormat> formats = {
      {"nv12", RawFormat::kNv12}, {"nv21", RawFormat::kNv21}, {"i420", RawFormat::kI420}};
  return formats;
}

Picture readRawFrame(const ConvertOptions& options) {
  const auto [width, height] = options.frame;
  requireSize("--frame", options.frame, kLargestPictureSide, Sides::kEven);
  const std::size_t expected = rawFrameBytes(width, height);
  // One byte more shows that there are more.
  const std::vector<std::uint8_t> bytes = readFile(options.input, expected + 1);
  if (bytes.size() != expected)
    throw Failure(inputName(options.input),
                  "has " +
                      (bytes.size() < expected ? "only " + std::to_string(bytes.size()) + " of"
                                               : std::string("more than")) +
                      " the " + std::to_string(expected) + " bytes of one frame of " +
                      std::to_string(width) + "x" + std::to_string(height));
  return decodeRawFrame(*options.format, width, height, bytes);
}

Rectangle parseRectangle(const std::string& text) {
  Rectangle rectangle;
  const char *at = text.data(), *const end = text.data() + text.size();
  for (int* const value : {&rectangle.x, &rectangle.y, &rectangle.width, &rectangle.height}) {
    const auto [stop, error] = std::from_chars(at, end, *value);
    const bool last = value == &rectangle.height;
    if (error != std::errc() || (last ? stop != end : stop == end || *stop != ','))
      throw CLI::ValidationError("--cut", "'" + text + "' is not of the form X,Y,WIDTH,HEIGHT");
    at = stop + 1;
  }
  return rectangle;
}

Picture checkedCut(const Picture& picture, const std::string& text, const Rectangle& rectangle) {
  if (!isInside(rectangle, picture))
    throw Failure("--cut", text + ": is not inside the picture, which is " +
                               std::to_string(picture.width) + "x" + std::to_string(picture.height) +
                               " at that point");
  return cut(picture, rectangle);
}

// An option whose every occurrence adds an operation, so that they take place in the order given.
void addOperation(CLI::App& app, ConvertOptions& options, const std::string& name,
                  const std::map<std::string, Operation>& choices, const std::string& help) {
  std::vector<std::string> names;
  for (const auto& choice : choices) names.push_back(choice.first);
  app.add_option_function<std::string>(
         name,
         [&options, choices](const std::string& text) {
           options.operations.push_back(choices.at(text));
         },
         help)
      ->check(CLI::IsMember(names))
      ->trigger_on_parse()
      ->group(kOperationGroup);
}

void addOperations(CLI::App& app, ConvertOptions& options) {
  addOperation(
      app, options, "--to", {{"rgb", toRgb}, {"gray", toGray}, {"planar", toPlanar}},
      "rgb; gray; or planar: the planes of red, green and blue, which come below one another in "
      "the output but are turned, mirrored and cut one by one");
  addOperation(app, options, "--rotate",
               {{"90", [](const Picture& picture) { return turn(picture, Turn::kClockwise); }},
                {"-90", [](const Picture& picture) { return turn(picture, Turn::kAnticlockwise); }}},
               "A quarter turn: 90 is clockwise");
  addOperation(app, options, "--flip",
               {{"h", [](const Picture& picture) { return mirror(picture, Mirror::kHorizontal); }},
                {"v", [](const Picture& picture) { return mirror(picture, Mirror::kVertical); }}},
               "h swaps left and right, v top and bottom");
  app.add_option_function<std::string>(
         "--cut",
         [&options](const std::string& text) {
           const Rectangle rectangle = parseRectangle(text);
           options.operations.push_back([text, rectangle](const Picture& picture) {
             return checkedCut(picture, text, rectangle);
           });
         },
         "Keeps WIDTH x HEIGHT pixels, of which the first is at column X, row Y (from 0)")
      ->type_name("X,Y,W,H")
      ->trigger_on_parse()
      ->group(kOperationGroup);
}

int convert(const ConvertOptions& options) {
  requireDistinctFiles({options.input}, {options.output});
  Picture picture = options.format ? readRawFrame(options) : readPicture(options.input);
  for (const Operation& operation : options.operations) picture = operation(picture);
  writePicture(options.output, picture);
  return 0;
}

}  // namespace

Command makeConvertCommand(CLI::App& tool) {
  const auto options = std::make_shared<ConvertOptions>();
  CLI::App* const app =
      tool.add_subcommand("convert", "Turn, mirror, cut and recolour one picture or raw frame");
  app->footer(
      "The arithmetic is that of the library's kernels, to the byte. Raw frames are taken as BT.601, "
      "full\n"
      "range; results outside 0 to 255 wrap around, so strong colours can come out shifted. Grey is\n"
      "rounded down.\n\n"
      "Examples: tarnkit convert photo.jpg thumb.png --cut 100,50,320,240 --rotate 90 --to gray\n"
      "          tarnkit convert camera.yuv frame.png --format nv12 --frame 1920x1080");
  app->add_option("IN", options->input, "PNG or JPEG, or one raw frame; - reads standard input")
      ->required();
  app->add_option("OUT.png", options->output, "PNG file to write; - writes standard output")->required();
  CLI::Option* const format = addChoice(*app, "--format", options->format, rawFormats(),
                                        "IN is a raw 4:2:0 frame with chroma as UVUV... (nv12), VUVU... "
                                        "(nv21) or a U and a V plane (i420)");
  CLI::Option* const frame =
      addSizeOption(*app, "--frame", options->frame, "Size of the raw frame, both even");
  format->needs(frame);
  frame->needs(format);
  addOperations(*app, *options);
  return {app, [options] { return convert(*options); }};
}

}  // namespace tarnkit
