// The input of commands that take one picture or one raw frame.
#include "apps/commands/picture_input.h"

#include <map>

#include "apps/pictures/picture_file.h"
#include "apps/support/failure.h"
#include "apps/support/input_file.h"

namespace tarnkit {

void addPictureInput(Options options, PictureInput& input) {
  static const std::map<std::string, RawFormat> formats = {
      {"nv12", RawFormat::kNv12}, {"nv21", RawFormat::kNv21}, {"i420", RawFormat::kI420}};
  options.add("IN", input.path, "PNG or JPEG, or one raw frame; - reads standard input").required();
  Option format = options.addChoice("--format", input.format, formats,
                                    "IN is a raw 4:2:0 frame with chroma as UVUV... (nv12), VUVU... "
                                    "(nv21) or a U and a V plane (i420)");
  Option frame = addSize(options, "--frame", input.frame, "Size of the raw frame, both even");
  format.needs(frame);
  frame.needs(format);
}

std::vector<std::uint8_t> readRawBytes(const std::string& path, std::size_t expected,
                                       const Size& frame) {
  // One byte more shows that there are more.
  std::vector<std::uint8_t> bytes = readFile(path, expected + 1);
  if (bytes.size() != expected)
    throw Failure(inputName(path),
                  "has " +
                      (bytes.size() < expected ? "only " + std::to_string(bytes.size()) + " of"
                                               : std::string("more than")) +
                      " the " + std::to_string(expected) + " bytes of one frame of " + sizeText(frame));
  return bytes;
}

std::vector<std::uint8_t> readRawInput(const PictureInput& input) {
  const auto [width, height] = input.frame;
  requireSize("--frame", input.frame, kLargestPictureSide, Sides::kEven);
  return readRawBytes(input.path, rawFrameBytes(width, height), input.frame);
}

Picture readInput(const PictureInput& input) {
  if (!input.format) return readPicture(input.path);
  return decodeRawFrame(*input.format, input.frame.width, input.frame.height, readRawInput(input));
}

}  // namespace tarnkit
