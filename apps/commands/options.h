// Options that several commands have.
//
// A value of the wrong form is a usage error, reported by the parser. A value of the right form that
// cannot work (a size of 0, a parameter that the library refuses) is bad input: a Failure.
#ifndef TN_KITS_APPS_COMMANDS_OPTIONS_H_
#define TN_KITS_APPS_COMMANDS_OPTIONS_H_

#include <CLI/CLI.hpp>
#include <array>
#include <map>
#include <string>
#include <vector>

#include "apps/tracking/frame_tracker.h"
#include "tn_boxtracker.h"

namespace tarnkit {

struct Size {
  int width = 0, height = 0;
};

CLI::Option* addSizeOption(CLI::App& app, const std::string& name, Size& size, const std::string& help);

// A choice by name; the parser lists the names for a wrong one.
template <class Target, class Value>
CLI::Option* addChoice(CLI::App& app, const std::string& name, Target& target,
                       const std::map<std::string, Value>& choices, const std::string& help) {
  std::vector<std::string> names;
  for (const auto& choice : choices) names.push_back(choice.first);
  return app
      .add_option_function<std::string>(
          name, [&target, choices](const std::string& text) { target = choices.at(text); }, help)
      ->check(CLI::IsMember(names));
}

// "1,2,3,4", the value of `option`; `form` tells the user what was expected, "L,T,R,B" for instance.
std::array<int, 4> parseFourIntegers(const std::string& option, const std::string& text,
                                     const char* form);

enum class Sides { kAny, kEven };
// Throws Failure unless both sides are from 1 to `largest`, and even if asked for.
void requireSize(const std::string& option, const Size& size, int largest, Sides sides);

// Throws Failure unless the value is from 0 to 1; no number is not.
void requireShare(const std::string& option, double value);

// Throws Failure for a count below 1.
void requirePositive(const std::string& option, std::int64_t count);

struct TrackerOptions {
  Filter filter = Filter::kKalman;
  Tarn::TarnBoundingBoxesTrackerParams params = Tarn::getTrackerParams();
  CLI::Option* fps = nullptr;  // to ask whether it was given
};
void addTrackerOptions(CLI::App& app, TrackerOptions& options, const std::string& fps_help);
// Hands the parameters to the library; throws Failure with the reason if it refuses them.
void applyTrackerParams(const TrackerOptions& options);

}  // namespace tarnkit

#endif  // TN_KITS_APPS_COMMANDS_OPTIONS_H_
