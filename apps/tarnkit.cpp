// tarnkit: the library's trackers, tensors and pixel kernels at the command line.
//
// Exit status: 0 done; 1 bad input or an output that cannot be written, with one line on standard error;
// 2 wrong usage; 128 + the signal's number after an interrupt.
#include <cstdio>
#include <exception>
#include <new>
#include <string>

#include "apps/commands/command.h"
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

void addCommands(CommandLine& tool) {
  addTrackCommand(tool);
  addScoreCommand(tool);
  addLayersCommand(tool);
  addExportConfigCommand(tool);
#if defined(TARNKIT_MEDIA)
  addRunCommand(tool);
  addTensorCommand(tool);
  addConvertCommand(tool);
  addPrepareCommand(tool);
  addWarpCommand(tool);
  addSampleCommand(tool);
#endif
}

int runTool(int argument_count, const char* const* arguments) {
  turnWriteSignalsIntoErrors();
  silenceLibraries();
  try {
    CommandLine tool(
        "Follow objects through videos, turn frames into network input, and convert pictures.",
        "Run 'tarnkit COMMAND --help' for a command's options.\n\n"
        "Exit status: 0 done; 1 bad input, a full disk or a closed pipe, with one line on standard "
        "error;\n"
        "2 wrong usage; 128 + the signal's number after Ctrl-C, which finishes the frame and the files.",
        versionText);
    addCommands(tool);
    return tool.run(argument_count, arguments);
  } catch (const UsageError& error) {
    return report(error.what(), kWrongUsage);
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
