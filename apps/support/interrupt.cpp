// Signal handlers that only note the signal.
#include "apps/support/interrupt.h"

#include <csignal>

namespace tarnkit {
namespace {

volatile std::sig_atomic_t noted_signal = 0;

extern "C" void noteSignal(int signal_number) {
  noted_signal = signal_number;
#if defined(_WIN32)
  std::signal(signal_number, SIG_DFL);
#endif
}

}  // namespace

void catchInterrupts() {
#if defined(_WIN32)
  std::signal(SIGINT, noteSignal);
  std::signal(SIGTERM, noteSignal);
#else
  struct sigaction action = {};
  action.sa_handler = noteSignal;
  sigemptyset(&action.sa_mask);
  // Back to the default after the first one, so that a second Ctrl-C always gets the user out; and
  // writes go on where they were, so that the frame in hand is finished.
  action.sa_flags = static_cast<int>(SA_RESETHAND) | SA_RESTART;
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
#endif
}

int interruptSignal() { return noted_signal; }

int exitStatus() { return noted_signal == 0 ? 0 : 128 + noted_signal; }

void turnWriteSignalsIntoErrors() {
#if !defined(_WIN32)
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
#endif
}

}  // namespace tarnkit
