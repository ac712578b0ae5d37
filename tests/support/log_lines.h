// Keeps the lines that the library logs, in place of standard error.
#ifndef TN_KITS_TESTS_SUPPORT_LOG_LINES_H_
#define TN_KITS_TESTS_SUPPORT_LOG_LINES_H_

#include <string>
#include <utility>
#include <vector>

#include "tn_core.h"

namespace tn_test {

class LogLines {
 public:
  enum class What {
    kErrors,       // the messages of error lines
    kWholeOfEach,  // all lines as "E/tag: message", or V/ for verbose ones, which are asked for
  };
  explicit LogLines(What what = What::kErrors) : what_(what) {
    Tarn::setVerboseLogging(what == What::kWholeOfEach);
    Tarn::setLogSink(keep, this);
  }
  LogLines(const LogLines&) = delete;
  LogLines& operator=(const LogLines&) = delete;
  ~LogLines() {
    Tarn::setLogSink(nullptr);
    Tarn::setVerboseLogging(false);
  }

  // The lines since the last call.
  std::vector<std::string> take() { return std::exchange(lines_, {}); }

 private:
  static void keep(Tarn::LogLevel level, const char* tag, const char* message, void* self) {
    LogLines& log = *static_cast<LogLines*>(self);
    const bool error = level == Tarn::LogLevel::kError;
    if (log.what_ == What::kWholeOfEach)
      log.lines_.push_back(std::string(error ? "E/" : "V/") + tag + ": " + message);
    else if (error)
      log.lines_.emplace_back(message);
  }

  What what_;
  std::vector<std::string> lines_;
};

}  // namespace tn_test

#endif  // TN_KITS_TESTS_SUPPORT_LOG_LINES_H_
