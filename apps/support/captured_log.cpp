// Keeps the libraries' error lines.
#include "apps/support/captured_log.h"

#include <cstdio>
#include <new>

#include "apps/support/failure.h"
#include "tn_core.h"

namespace tarnkit {

CapturedLog::CapturedLog() {
  Tarn::setLogSink(
      [](Tarn::LogLevel level, const char*, const char* message, void* lines) {
        if (level != Tarn::LogLevel::kError) return;
        try {
          static_cast<std::vector<std::string>*>(lines)->emplace_back(message);
        } catch (const std::bad_alloc&) {
          // A sink must not throw; the fault itself is reported without its reason.
          return;
        }
      },
      &lines_);
}

CapturedLog::~CapturedLog() { Tarn::setLogSink(nullptr); }

std::string CapturedLog::reason(const std::string& otherwise) const {
  return lines_.empty() ? otherwise : lines_.back();
}

void CapturedLog::pass() const {
  for (const std::string& line : lines_) std::fprintf(stderr, "tarnkit: %s\n", onOneLine(line).c_str());
}

}  // namespace tarnkit
