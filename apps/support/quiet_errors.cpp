// Points the descriptor of standard error to the null device for a while.
#include "apps/support/quiet_errors.h"

#include <fcntl.h>

#include <cstdio>

#if defined(_WIN32)
#include <io.h>
#else
#include <unistd.h>
#endif

namespace tarnkit {
namespace {

#if defined(_WIN32)
constexpr int kStandardError = 2;
int openNull() { return _open("NUL", _O_WRONLY); }
int duplicate(int file) { return _dup(file); }
void replace(int file, int with) { _dup2(with, file); }
void closeFile(int file) { _close(file); }
#else
constexpr int kStandardError = STDERR_FILENO;
int openNull() { return open("/dev/null", O_WRONLY | O_CLOEXEC); }
int duplicate(int file) { return fcntl(file, F_DUPFD_CLOEXEC, 0); }
void replace(int file, int with) { dup2(with, file); }
void closeFile(int file) { close(file); }
#endif

}  // namespace

QuietErrors::QuietErrors() : saved_(-1) {
  std::fflush(stderr);
  const int null = openNull();
  if (null < 0) return;
  saved_ = duplicate(kStandardError);
  if (saved_ >= 0) replace(kStandardError, null);
  closeFile(null);
}

QuietErrors::~QuietErrors() {
  if (saved_ < 0) return;
  std::fflush(stderr);
  replace(kStandardError, saved_);
  closeFile(saved_);
}

}  // namespace tarnkit
