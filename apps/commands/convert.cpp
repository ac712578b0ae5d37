// tarnkit convert: one picture, or one raw frame, through the pixel kernels to a PNG file.
#include <functional>
#include <map>
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

struct ConvertOptions {
  PictureInput input;
  std::string output;
  std::vector<Operation> operations;
};

Picture checkedCut(const Picture& picture, const std::string& text, const Rectangle& rectangle) {
  if (!isInside(rectangle, picture))
    throw Failure("--cut", text + ": is not inside the picture, which is " +
                               sizeText({picture.width, picture.height}) + " at that point");
  return cut(picture, rectangle);
}

// Each occurrence of these options adds an operation.
void addOperations(Options options, std::vector<Operation>& operations) {
  const auto add = [&](const char* name, const std::map<std::string, Operation>& choices,
                       const char* help) {
    options
        .addChoice(
            name, choices, [&operations](const Operation& choice) { operations.push_back(choice); },
            help)
        .repeats();
  };
  add("--to", {{"rgb", toRgb}, {"gray", toGray}, {"planar", toPlanar}},
      "rgb; gray; or planar: the planes of red, green and blue, which come below one another in "
      "the output but are turned, mirrored and cut one by one");
  add("--rotate",
      {{"90", [](const Picture& picture) { return turn(picture, Turn::kClockwise); }},
       {"-90", [](const Picture& picture) { return turn(picture, Turn::kAnticlockwise); }}},
      "A quarter turn: 90 is clockwise");
  add("--flip",
      {{"h", [](const Picture& picture) { return mirror(picture, Mirror::kHorizontal); }},
       {"v", [](const Picture& picture) { return mirror(picture, Mirror::kVertical); }}},
      "h swaps left and right, v top and bottom");
  const auto take_cut = [&operations](const std::string& text) {
    const std::vector<int> at = parseIntegers("--cut", text, 4, ",", "X,Y,WIDTH,HEIGHT");
    const Rectangle rectangle = {at[0], at[1], at[2], at[3]};
    operations.push_back(
        [text, rectangle](const Picture& picture) { return checkedCut(picture, text, rectangle); });
  };
  options
      .addText("--cut", take_cut,
               "Keeps WIDTH x HEIGHT pixels, of which the first is at column X, row Y (from 0)")
      .typeName("X,Y,W,H")
      .repeats();
}

int convert(const ConvertOptions& options) {
  requireDistinctFiles({options.input.path}, {options.output});
  Picture picture = readInput(options.input);
  for (const Operation& operation : options.operations) picture = operation(picture);
  writePicture(options.output, picture);
  return 0;
}

}  // namespace

void addConvertCommand(CommandLine& tool) {
  auto [options, values] = tool.add(
      "convert", "Turn, mirror, cut and recolour one picture or raw frame",
      "The arithmetic is that of the library's kernels, to the byte. Raw frames are taken as BT.601, "
      "full\n"
      "range; results outside 0 to 255 wrap around, so strong colours can come out shifted. Grey is\n"
      "rounded down. JPEG pictures come upright, however the camera was held.\n\n"
      "Examples: tarnkit convert photo.jpg thumb.png --cut 100,50,320,240 --rotate 90 --to gray\n"
      "          tarnkit convert camera.yuv frame.png --format nv12 --frame 1920x1080",
      convert);
  addPictureInput(options, values.input);
  options.add("OUT.png", values.output, "PNG file to write; - writes standard output").required();
  addOperations(options.group("Operations, as often as wanted, in the order given"), values.operations);
}

}  // namespace tarnkit
