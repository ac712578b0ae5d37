// The command line as the commands describe it. Only command_line.cpp includes the parser's header: it
// takes seconds to compile, and would do so once for each command.
#ifndef TN_KITS_APPS_COMMANDS_COMMAND_LINE_H_
#define TN_KITS_APPS_COMMANDS_COMMAND_LINE_H_

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace tarnkit {

// Wrong usage, exit status 2. Those who parse a value throw it without naming the command.
class UsageError : public std::runtime_error {
 public:
  explicit UsageError(const std::string& fault) : std::runtime_error(fault) {}
  UsageError(const std::string& option, const std::string& fault) : UsageError(option + ": " + fault) {}
};

using TakeText = std::function<void(const std::string&)>;
// What is wrong with a value; empty if nothing is.
using FindFault = std::function<std::string(const std::string&)>;

// A handle to one option of a command, which these complete.
class Option {
 public:
  explicit Option(CLI::Option* option) : option_(option) {}

  Option required();
  // What the help calls the value: "FILE" for instance.
  Option typeName(const std::string& name);
  // The help shows the value that the variable has now.
  Option showDefault();
  // It may only come together with the other one.
  Option needs(const Option& other);
  // form: shown in the help.
  Option check(const FindFault& find_fault, const std::string& form = {});
  // The value is taken each time that the option comes, in the order of the command line.
  Option repeats();

 private:
  CLI::Option* option_;
};

// A handle to the options of one command. A name without dashes is an argument told by its place. Values
// go into variables that must outlive the parsing.
class Options {
 public:
  explicit Options(CLI::App* command, std::string group = {})
      : command_(command), group_(std::move(group)) {}

  // Options added through what this returns are listed under a heading of their own.
  Options group(const std::string& heading) const { return Options(command_, heading); }

  // Value: std::string, int, std::int64_t, std::uint32_t, float, double or an optional int or
  // std::int64_t.
  template <class Value>
  Option add(const std::string& name, Value& value, const std::string& help);
  Option add(const std::string& name, std::optional<float>& value, const std::string& help);

  // True when it is there; it takes no value.
  Option addFlag(const std::string& name, bool& value, const std::string& help);

  // As many numbers, with commas between them.
  Option addFloats(const std::string& name, std::vector<float>& values, int count,
                   const std::string& help);

  // take: parses the text, and throws UsageError if it cannot.
  Option addText(const std::string& name, const TakeText& take, const std::string& help);

  // One of the names; the parser lists them for a wrong one.
  template <class Value, class Take>
  Option addChoice(const std::string& name, const std::map<std::string, Value>& choices,
                   const Take& take, const std::string& help) {
    std::vector<std::string> names;
    for (const auto& choice : choices) names.push_back(choice.first);
    return addName(
        name, names, [choices, take](const std::string& text) { take(choices.at(text)); }, help);
  }
  template <class Target, class Value>
  Option addChoice(const std::string& name, Target& target, const std::map<std::string, Value>& choices,
                   const std::string& help) {
    return addChoice(
        name, choices, [&target](const Value& value) { target = value; }, help);
  }

 private:
  Option addName(const std::string& name, const std::vector<std::string>& names, const TakeText& take,
                 const std::string& help);
  Option finished(CLI::Option* option) const;

  CLI::App* command_;
  std::string group_;
};

class CommandLine {
 public:
  CommandLine(const std::string& about, const std::string& footer,
              const std::function<std::string()>& version);
  CommandLine(const CommandLine&) = delete;
  CommandLine& operator=(const CommandLine&) = delete;
  ~CommandLine();

  template <class Values>
  struct Described {
    Options options;
    Values& values;  // what run() gets
  };
  // Adds a command. command: returns the exit status, throws Failure.
  template <class Values>
  Described<Values> add(const std::string& name, const std::string& about, const std::string& footer,
                        int (*command)(const Values&)) {
    const auto values = std::make_shared<Values>();
    return {addCommand(name, about, footer, [values, command] { return command(*values); }), *values};
  }

  // Runs the command that the arguments name, or prints the help or version that they ask for. Returns
  // the exit status; throws UsageError, with the command named, and what the command throws.
  int run(int argument_count, const char* const* arguments);

 private:
  Options addCommand(const std::string& name, const std::string& about, const std::string& footer,
                     const std::function<int()>& command);

  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace tarnkit

#endif  // TN_KITS_APPS_COMMANDS_COMMAND_LINE_H_
