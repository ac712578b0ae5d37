// tarnkit: the library's trackers, tensors and pixel kernels at the command line.
//
// Exit status: 0 done; 1 bad input or an output that cannot be written, with one line on standard error;
// 2 wrong usage; 128 + the signal's number after an interrupt.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <new>
#include <string>
#include <vector>

#include "apps/commands/command.h"
#include "apps/output/output_file.h"
#include "apps/support/failure.h"
#include "apps/support/interrupt.h"
#include "apps/support/version.h"

#if defined(TARNKIT_MEDIA)
#include <opencv2/core.hpp>
#include <opencv2/core/utils/logger.hpp>

#include "apps/video/ffmpeg.h"
#endif

namespace tarnkit {
namespace {

constexpr int kBadInput = 1, kWrongUsage = 2;

// The libraries' own messages would come on top of ours.
void silenceLibraries() {
#if defined(TARNKIT_MEDIA)
  av_log_set_level(AV_LOG_QUIET);
  cv::utils::logging::setLogLevel(cv::utils::logging::LOG_LEVEL_SILENT);
  cv::redirectError([](int, const char*, const char*, const char*, int, void*) { return 0; });
#endif
}

int report(const std::string& fault, int status) {
  std::fprintf(stderr, "tarnkit: %s\n", onOneLine(fault).c_str());
  return interruptSignal() != 0 ? exitStatus() : status;
}

// The parser misses a command before it looks at the words that it took for none.
std::string faultOf(const CLI::ParseError& error, const CLI::App& tool) {
  const std::vector<std::string> unknown = tool.remaining();
  if (!tool.get_subcommands().empty() || unknown.empty()) return error.what();
  const bool is_option = unknown.front().rfind('-', 0) == 0;
  return "'" + unknown.front() + "' is not " + (is_option ? "an option" : "a command");
}

std::vector<Command> makeCommands(CLI::App& tool) {
  std::vector<Command> commands;
  for (const auto make :
       {makeTrackCommand, makeScoreCommand, makeLayersCommand, makeExportConfigCommand})
    commands.push_back(make(tool));
#if defined(TARNKIT_MEDIA)
  for (const auto make : {makeRunCommand, makeTensorCommand, makeConvertCommand, makePrepareCommand,
                          makeWarpCommand, makeSampleCommand})
    commands.push_back(make(tool));
#endif
  return commands;
}

int parseAndRun(int argument_count, char** arguments) {
  CLI::App tool("Follow objects through videos, turn frames into network input, and convert pictures.",
                "tarnkit");
  tool.footer(
      "Run 'tarnkit COMMAND --help' for a command's options.\n\n"
      "Exit status: 0 done; 1 bad input, a full disk or a closed pipe, with one line on standard "
      "error;\n"
      "2 wrong usage; 128 + the signal's number after Ctrl-C, which finishes the frame and the files.");
  tool.set_version_flag("--version", versionText);
  tool.require_subcommand(1);
  // On Windows the parser would take paths that begin with a slash for options.
  tool.allow_windows_style_options(false);
  const std::vector<Command> commands = makeCommands(tool);
  try {
    tool.parse(argument_count, arguments);
  } catch (const CLI::ParseError& error) {
    const CLI::App* asked = &tool;
    for (const Command& command : commands)
      if (command.options->parsed()) asked = command.options;
    if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) {
      OutputFile out("-");
      const bool version = dynamic_cast<const CLI::CallForVersion*>(&error) != nullptr;
      out.write(version          ? std::string(error.what()) + "\n"
                : asked == &tool ? tool.help()
                                 : asked->help("tarnkit"));
      out.close();
      return 0;
    }
    const std::string command = asked == &tool ? "" : " " + asked->get_name();
    return report(faultOf(error, tool) + " (see 'tarnkit" + command + " --help')", kWrongUsage);
  }
  for (const Command& command : commands)
    if (command.options->parsed()) return command.run();
  return kWrongUsage;
}

int runTool(int argument_count, char** arguments) {
  turnWriteSignalsIntoErrors();
  silenceLibraries();
  try {
    return parseAndRun(argument_count, arguments);
  } catch (const std::bad_alloc&) {
    return report("out of memory", kBadInput);
  } catch (const std::exception& error) {
    return report(error.what(), kBadInput);
  } catch (...) {
    return report("unknown fault", kBadInput);
  }
}

}  // namespace
}  // namespace tarnkit

int main(int argument_count, char** arguments) { return tarnkit::runTool(argument_count, arguments); }
