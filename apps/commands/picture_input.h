// The input of commands that take one picture or one raw frame.
#ifndef TN_KITS_APPS_COMMANDS_PICTURE_INPUT_H_
#define TN_KITS_APPS_COMMANDS_PICTURE_INPUT_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "apps/commands/options.h"
#include "apps/pictures/picture.h"
#include "apps/pictures/raw_frame.h"

namespace tarnkit {

struct PictureInput {
  std::string path;
  std::optional<RawFormat> format;  // of a raw frame; none for a picture file
  Size frame;                       // of a raw frame
};
// IN, --format and --frame.
void addPictureInput(Options options, PictureInput& input);

// The picture, in colours where the input is a raw frame. Throws Failure.
Picture readInput(const PictureInput& input);

// The bytes of the raw frame that `input` names: all that such a frame has. Throws Failure.
std::vector<std::uint8_t> readRawInput(const PictureInput& input);

// The bytes of a file that holds one raw frame of such a size and nothing else. Throws Failure.
std::vector<std::uint8_t> readRawBytes(const std::string& path, std::size_t expected, const Size& frame);

}  // namespace tarnkit

#endif  // TN_KITS_APPS_COMMANDS_PICTURE_INPUT_H_
