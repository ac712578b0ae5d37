/// \file
/// Logging of the pipeline: one line a call, to standard error or to a callback.
#ifndef TN_CORE_H_
#define TN_CORE_H_

#if defined(TN_CORE_STATIC)
#define TN_CORE_API
#elif defined(_WIN32)
#if defined(TN_CORE_BUILDING)
#define TN_CORE_API __declspec(dllexport)
#else
#define TN_CORE_API __declspec(dllimport)
#endif
#else
#define TN_CORE_API __attribute__((visibility("default")))
#endif

#if defined(__GNUC__)
#define TN_CORE_PRINTF(format_index, first_argument) \
  __attribute__((format(printf, format_index, first_argument)))
#else
#define TN_CORE_PRINTF(format_index, first_argument)
#endif

namespace Tarn {

/// What a line is worth: letters "E" and "V" on standard error.
enum class LogLevel {
  kError,    ///< something went wrong; always delivered
  kVerbose,  ///< a detail, dropped unless asked for
};

/// Receives one finished line: `message` has no line break added and is valid during the call only.
/// Calls come one at a time, on the logging thread. A sink must not throw; what it logs itself is
/// dropped, since a sink that logs would never end.
using LogSink = void (*)(LogLevel level, const char* tag, const char* message, void* user);

/// Logs an error. Always delivered.
/// tag: who speaks, at most a word; null counts as "". format: as for printf, null counts as "".
/// A line break at the end of the message is dropped. By default the line goes to standard error as
/// "E/<tag>: <message>\n" in a single write.
/// Any thread; lines are never torn or mixed. A message of any length is kept whole.
/// Errors: none are reported; a line that cannot be formatted or allocated is delivered as its format.
TN_CORE_API void _LogError(const char* tag, const char* format, ...) TN_CORE_PRINTF(2, 3);

/// Logs a detail, as _LogError does, with level letter "V"; dropped unless verbose logging is on.
TN_CORE_API void _LogVerbose(const char* tag, const char* format, ...) TN_CORE_PRINTF(2, 3);

/// Sends all later lines to `sink`; null brings standard error back. `user` is handed through.
/// When the call returns, no thread is inside the earlier sink, unless it is called from that sink.
TN_CORE_API void setLogSink(LogSink sink, void* user = nullptr);

/// Turns verbose lines on or off. Until it is called they are on only when the environment variable
/// TN_LOG is "verbose" as the library logs for the first time.
TN_CORE_API void setVerboseLogging(bool on);

}  // namespace Tarn

#endif  // TN_CORE_H_
