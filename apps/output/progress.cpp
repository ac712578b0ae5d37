// The progress bar, drawn with carriage returns.
#include "apps/output/progress.h"

#include <algorithm>
#include <cstdio>
#include <string>

#if defined(_WIN32)
#include <io.h>
#else
#include <unistd.h>
#endif

namespace tarnkit {
namespace {

bool standardErrorIsTerminal() {
#if defined(_WIN32)
  return _isatty(_fileno(stderr)) != 0;
#else
  return isatty(STDERR_FILENO) != 0;
#endif
}

}  // namespace

ProgressBar::ProgressBar(std::int64_t total)
    : total_(total),
      on_terminal_(standardErrorIsTerminal()),
      start_(std::chrono::steady_clock::now()),
      last_(start_) {}

ProgressBar::~ProgressBar() {
  if (drawn_) std::fputs("\r\x1b[K", stderr);
}

void ProgressBar::show(std::int64_t done) {
  if (!on_terminal_) return;
  const auto now = std::chrono::steady_clock::now();
  if (now - last_ < std::chrono::milliseconds(100)) return;
  last_ = now;
  drawn_ = true;
  const double seconds = std::chrono::duration<double>(now - start_).count();
  const double rate = static_cast<double>(done) / seconds;
  if (total_ <= 0) {
    std::fprintf(stderr, "\r%lld frames, %.1f a second\x1b[K", static_cast<long long>(done), rate);
    return;
  }
  constexpr std::int64_t kCells = 30;
  const std::int64_t filled = std::min(kCells, kCells * done / total_);
  const std::string bar(static_cast<std::size_t>(filled), '#');
  std::fprintf(stderr, "\r[%-30s] %lld/%lld frames, %.1f a second\x1b[K", bar.c_str(),
               static_cast<long long>(done), static_cast<long long>(total_), rate);
}

}  // namespace tarnkit
