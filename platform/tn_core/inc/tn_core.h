/// \file
/// Logging: one line per call, to standard error or to a callback.
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

/// The level of a line, shown as the letter "E" or "V" on standard error.
enum class LogLevel {
  kError,    ///< a fault; always delivered
  kVerbose,  ///< a detail; dropped unless verbose logging is on
};

/// Receives one line. `message` has no line break at its end and is valid during the call only. Calls
/// come one at a time, on the logging thread. A sink must not throw. Lines that it logs itself are
/// dropped, since they would call it again without end.
using LogSink = void (*)(LogLevel level, const char* tag, const char* message, void* user);

/// Logs an error. Always delivered.
/// tag: the part of the program that logs, one word; null counts as "". format: as for printf, null
///   counts as "".
/// A line break at the end of the message is dropped. By default the line goes to standard error as
/// "E/<tag>: <message>\n" in a single write. Messages may have any length.
/// Threads: any; lines are never mixed.
/// Errors: none are reported. If formatting fails or memory runs out, `format` itself is delivered.
TN_CORE_API void _LogError(const char* tag, const char* format, ...) TN_CORE_PRINTF(2, 3);

/// Logs a detail like _LogError, with the letter "V"; dropped unless verbose logging is on.
TN_CORE_API void _LogVerbose(const char* tag, const char* format, ...) TN_CORE_PRINTF(2, 3);

/// Sends all later lines to `sink`, with `user`; null restores standard error. When the call returns, no
/// thread is inside the earlier sink, unless that sink made the call.
TN_CORE_API void setLogSink(LogSink sink, void* user = nullptr);

/// Turns verbose lines on or off. Before the first call they are on only if the environment variable
/// TN_LOG was "verbose" when the library logged for the first time.
TN_CORE_API void setVerboseLogging(bool on);

}  // namespace Tarn

#endif  // TN_CORE_H_
