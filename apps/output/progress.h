// A progress bar on the terminal, nothing elsewhere.
#ifndef TN_KITS_APPS_OUTPUT_PROGRESS_H_
#define TN_KITS_APPS_OUTPUT_PROGRESS_H_

#include <chrono>
#include <cstdint>

namespace tarnkit {

class ProgressBar {
 public:
  // total: frames expected, 0 if unknown. Draws on standard error, and only if that is a terminal.
  explicit ProgressBar(std::int64_t total);
  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;
  // Wipes the bar, so that what is printed next starts on a clean line.
  ~ProgressBar();

  // `done` frames are finished. Redraws ten times a second at most.
  void show(std::int64_t done);

 private:
  std::int64_t total_;
  bool on_terminal_, drawn_ = false;
  std::chrono::steady_clock::time_point start_, last_;
};

}  // namespace tarnkit

#endif  // TN_KITS_APPS_OUTPUT_PROGRESS_H_
