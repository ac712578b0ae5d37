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
  LogLines() { Tarn::setLogSink(keep, this); }
  LogLines(const LogLines&) = delete;
  LogLines& operator=(const LogLines&) = delete;
  ~LogLines() { Tarn::setLogSink(nullptr); }

  // The error lines since the last call.
  std::vector<std::string> take() { return std::exchange(lines_, {}); }

 private:
  static void keep(Tarn::LogLevel level, const char*, const char* message, void* self) {
    if (level == Tarn::LogLevel::kError) static_cast<LogLines*>(self)->lines_.emplace_back(message);
  }

  std::vector<std::string> lines_;
};

}  // namespace tn_test

#endif  // TN_KITS_TESTS_SUPPORT_LOG_LINES_H_
