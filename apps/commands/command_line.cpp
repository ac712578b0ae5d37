// The command line on the parser CLI11.
#include "apps/commands/command_line.h"

#include <CLI/CLI.hpp>
#include <cstdint>

#include "apps/output/output_file.h"

namespace tarnkit {

Option Option::required() {
  option_->required();
  return *this;
}

Option Option::typeName(const std::string& name) {
  option_->type_name(name);
  return *this;
}

Option Option::showDefault() {
  option_->capture_default_str();
  return *this;
}

Option Option::needs(const Option& other) {
  option_->needs(other.option_);
  return *this;
}

Option Option::check(const FindFault& find_fault, const std::string& form) {
  option_->check(find_fault, form);
  return *this;
}

Option Option::repeats() {
  option_->trigger_on_parse();
  return *this;
}

Option Options::finished(CLI::Option* option) const {
  if (!group_.empty()) option->group(group_);
  return Option(option);
}

template <class Value>
Option Options::add(const std::string& name, Value& value, const std::string& help) {
  return finished(command_->add_option(name, value, help));
}
template Option Options::add(const std::string&, std::string&, const std::string&);
template Option Options::add(const std::string&, int&, const std::string&);
template Option Options::add(const std::string&, std::int64_t&, const std::string&);
template Option Options::add(const std::string&, std::uint32_t&, const std::string&);
template Option Options::add(const std::string&, float&, const std::string&);
template Option Options::add(const std::string&, double&, const std::string&);
template Option Options::add(const std::string&, std::optional<std::int64_t>&, const std::string&);
template Option Options::add(const std::string&, std::optional<int>&, const std::string&);

// An empty text is 0 for a float; an optional float of the parser's own would be left without a value.
Option Options::add(const std::string& name, std::optional<float>& value, const std::string& help) {
  return finished(command_->add_option_function<float>(
      name, [&value](const float& given) { value = given; }, help));
}

Option Options::addFlag(const std::string& name, bool& value, const std::string& help) {
  return finished(command_->add_flag(name, value, help));
}

Option Options::addFloats(const std::string& name, std::vector<float>& values, int count,
                          const std::string& help) {
  return finished(command_->add_option(name, values, help)->delimiter(',')->expected(count));
}

Option Options::addText(const std::string& name, const TakeText& take, const std::string& help) {
  return finished(command_->add_option_function<std::string>(name, take, help));
}

Option Options::addName(const std::string& name, const std::vector<std::string>& names,
                        const TakeText& take, const std::string& help) {
  return finished(
      command_->add_option_function<std::string>(name, take, help)->check(CLI::IsMember(names)));
}

struct CommandLine::Impl {
  struct Command {
    CLI::App* parser;
    std::function<int()> run;
  };
  CLI::App tool;
  std::vector<Command> commands;

  explicit Impl(const std::string& about) : tool(about, "tarnkit") {}

  // Null if none was named.
  const Command* chosen() const {
    for (const Command& command : commands)
      if (command.parser->parsed()) return &command;
    return nullptr;
  }

  // The parser misses a command before it looks at the words that it took for none.
  std::string faultOf(const CLI::ParseError& error) const {
    const std::vector<std::string> unknown = tool.remaining();
    if (chosen() != nullptr || unknown.empty()) return error.what();
    const bool is_option = unknown.front().rfind('-', 0) == 0;
    return "'" + unknown.front() + "' is not " + (is_option ? "an option" : "a command");
  }

  [[noreturn]] void refuse(const std::string& fault) const {
    const Command* const command = chosen();
    throw UsageError(fault + " (see 'tarnkit" + (command ? " " + command->parser->get_name() : "") +
                     " --help')");
  }

  void print(const CLI::ParseError& asked) const {
    const bool is_version = dynamic_cast<const CLI::CallForVersion*>(&asked) != nullptr;
    const Command* const command = chosen();
    OutputFile out("-");
    out.write(is_version ? std::string(asked.what()) + "\n"
              : command  ? command->parser->help("tarnkit")
                         : tool.help());
    out.close();
  }
};

CommandLine::CommandLine(const std::string& about, const std::string& footer,
                         const std::function<std::string()>& version)
    : impl_(std::make_unique<Impl>(about)) {
  CLI::App& tool = impl_->tool;
  tool.footer(footer);
  tool.set_version_flag("--version", version);
  tool.require_subcommand(1);
  // On Windows the parser would take paths that begin with a slash for options.
  tool.allow_windows_style_options(false);
}

CommandLine::~CommandLine() = default;

Options CommandLine::addCommand(const std::string& name, const std::string& about,
                                const std::string& footer, const std::function<int()>& command) {
  CLI::App* const parser = impl_->tool.add_subcommand(name, about);
  parser->footer(footer);
  impl_->commands.push_back({parser, command});
  return Options(parser);
}

int CommandLine::run(int argument_count, const char* const* arguments) {
  try {
    impl_->tool.parse(argument_count, arguments);
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() != static_cast<int>(CLI::ExitCodes::Success))
      impl_->refuse(impl_->faultOf(error));
    impl_->print(error);
    return 0;
  } catch (const UsageError& error) {
    impl_->refuse(error.what());
  }
  return impl_->chosen()->run();
}

}  // namespace tarnkit
