// tarnkit convert: one picture, or one raw frame, through the pixel kernels to a PNG file.
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "apps/commands/command.h"
#include "apps/commands/options.h"
#include "apps/commands/picture_input.h"
#include "apps/output/output_file.h"
#include "apps/pictures/operations.h"
#include "apps/pictures/picture_file.h"
#include "apps/support/failure.h"

namespace tarnkit {
namespace {

using Operation = std::function<Picture(const Picture&)>;

constexpr char kOperationGroup[] = "Operations, as often as wanted, in the order given";

struct ConvertOptions {
  PictureInput input;
  std::string output;
  std::vector<Operation> operations;
};

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
           const auto [x, y, width, height] = parseFourIntegers("--cut", text, "X,Y,WIDTH,HEIGHT");
           const Rectangle rectangle = {x, y, width, height};
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
  requireDistinctFiles({options.input.path}, {options.output});
  Picture picture = readInput(options.input);
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
  addPictureInput(*app, options->input);
  app->add_option("OUT.png", options->output, "PNG file to write; - writes standard output")->required();
  addOperations(*app, *options);
  return {app, [options] { return convert(*options); }};
}

}  // namespace tarnkit
