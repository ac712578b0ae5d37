// Log lines: formatted, filtered, and delivered one at a time.
#include "tn_core.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>
#include <string>

namespace Tarn {
namespace {

// Never destroyed: other libraries may log while the process shuts down.
struct Logger {
  std::mutex mutex;
  LogSink sink = nullptr;
  void* user = nullptr;
  std::atomic<bool> verbose{false};

  Logger() {
    const char* wish = std::getenv("TN_LOG");
    verbose = wish != nullptr && std::strcmp(wish, "verbose") == 0;
  }
};

Logger& logger() {
  // Not on the heap: the first line of a process may report that memory is exhausted.
  alignas(Logger) static unsigned char place[sizeof(Logger)];
  static Logger* const the_logger = new (place) Logger;
  return *the_logger;
}

// Whether this thread is inside a sink, and so already holds the mutex.
thread_local bool in_sink = false;

std::string formatMessage(const char* format, std::va_list arguments) {
  std::va_list measured;
  va_copy(measured, arguments);
  const int length = std::vsnprintf(nullptr, 0, format, measured);
  va_end(measured);
  std::string message;
  if (length < 0) {
    message = format;
  } else {
    message.resize(static_cast<std::size_t>(length));
    std::vsnprintf(message.data(), message.size() + 1, format, arguments);
  }
  if (!message.empty() && message.back() == '\n') message.pop_back();
  return message;
}

void writeToStderr(LogLevel level, const char* tag, const char* message) {
  const char letter = level == LogLevel::kError ? 'E' : 'V';
  try {
    std::string line = {letter, '/'};
    line.append(tag).append(": ").append(message).append("\n");
    // One write per line: standard error is unbuffered, and other writers may use it too.
    std::fwrite(line.data(), 1, line.size(), stderr);
  } catch (const std::bad_alloc&) {
    std::fprintf(stderr, "%c/%s: %s\n", letter, tag, message);
  }
}

void deliver(LogLevel level, const char* tag, const char* message) {
  Logger& log = logger();
  const std::lock_guard<std::mutex> lock(log.mutex);
  if (log.sink == nullptr) {
    writeToStderr(level, tag, message);
    return;
  }
  in_sink = true;
  log.sink(level, tag, message, log.user);
  in_sink = false;
}

void logLine(LogLevel level, const char* tag, const char* format, std::va_list arguments) {
  if (in_sink) return;
  if (tag == nullptr) tag = "";
  if (format == nullptr) format = "";
  std::string message;
  const char* text = format;
  try {
    message = formatMessage(format, arguments);
    text = message.c_str();
  } catch (const std::bad_alloc&) {
    // Without memory for the message, the bare format is logged.
  }
  deliver(level, tag, text);
}

}  // namespace

void _LogError(const char* tag, const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  logLine(LogLevel::kError, tag, format, arguments);
  va_end(arguments);
}

void _LogVerbose(const char* tag, const char* format, ...) {
  if (!logger().verbose) return;
  std::va_list arguments;
  va_start(arguments, format);
  logLine(LogLevel::kVerbose, tag, format, arguments);
  va_end(arguments);
}

void setLogSink(LogSink sink, void* user) {
  Logger& log = logger();
  std::unique_lock<std::mutex> lock(log.mutex, std::defer_lock);
  if (!in_sink) lock.lock();
  log.sink = sink;
  log.user = user;
}

void setVerboseLogging(bool on) { logger().verbose = on; }

}  // namespace Tarn
