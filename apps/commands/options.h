// Options that several commands have, and checks of their values.
//
// A value of the wrong form is wrong usage, a UsageError. A value of the right form that cannot work (a
// size of 0, a parameter that the library refuses) is bad input, a Failure.
#ifndef TN_KITS_APPS_COMMANDS_OPTIONS_H_
#define TN_KITS_APPS_COMMANDS_OPTIONS_H_

#include <cstdint>
#include <string>
#include <vector>

#include "apps/commands/command_line.h"
#include "apps/support/size.h"
#include "apps/tensor/tensor_options.h"
#include "apps/tracking/frame_tracker.h"

namespace tarnkit {

// `count` integers with one of the separators between them. form: what the user is told was expected.
std::vector<int> parseIntegers(const std::string& option, const std::string& text, std::size_t count,
                               const char* separators, const std::string& form);

// WIDTHxHEIGHT. Target: a Size, or an optional one.
template <class Target>
Option addSize(Options options, const std::string& name, Target& size, const std::string& help) {
  const auto take = [&size, name](const std::string& text) {
    const std::vector<int> sides =
        parseIntegers(name, text, 2, "xX", "WIDTHxHEIGHT, 640x480 for instance");
    size = Size{sides[0], sides[1]};
  };
  return options.addText(name, take, help).typeName("WxH");
}

// Who reads a tensor: networks fix its type and layout.
enum class TensorReader { kFile, kDetector };
// Under a heading of their own.
void addTensorOptions(Options options, TensorOptions& values, TensorReader reader);

// For --filter, --fps and the trackers' parameters, under a heading of their own.
void addTrackerOptions(Options options, TrackerOptions& values, const std::string& fps_help);

enum class Sides { kAny, kEven };
// Throws Failure for a size or an orientation that no tensor has.
void checkTensorOptions(const TensorOptions& options);
// Throws Failure unless both sides are from 1 to `largest`, and even if asked for.
void requireSize(const std::string& option, const Size& size, int largest, Sides sides);

// Throws Failure unless the value is from 0 to 1; NaN is not.
void requireShare(const std::string& option, double value);

// Throws Failure for a count below 1.
void requirePositive(const std::string& option, std::int64_t count);

}  // namespace tarnkit

#endif  // TN_KITS_APPS_COMMANDS_OPTIONS_H_
