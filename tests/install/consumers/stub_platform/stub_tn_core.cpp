#include <cstdarg>
#include <cstdio>

#include "tn_core.h"

namespace Tarn {

void _LogError(const char* tag, const char* format, ...) {
  std::fprintf(stderr, "stub platform, %s: ", tag);
  va_list arguments;
  va_start(arguments, format);
  std::vfprintf(stderr, format, arguments);
  va_end(arguments);
  std::fputc('\n', stderr);
}

void _LogVerbose(const char*, const char*, ...) {}

}  // namespace Tarn
