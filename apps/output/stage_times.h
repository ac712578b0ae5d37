// How long each stage of the work on a frame takes.
#ifndef TN_KITS_APPS_OUTPUT_STAGE_TIMES_H_
#define TN_KITS_APPS_OUTPUT_STAGE_TIMES_H_

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace tarnkit {

// Counts of durations by size. However many there are, it takes the same memory, and every one counts as
// much as another: a sample of them could fall in step with the video's key frames.
class Durations {
 public:
  Durations();
  void add(double milliseconds);
  bool empty() const { return total_ == 0; }
  // By the rule of the nearest rank, 1 % off at most; the shortest that is told from others is a
  // nanosecond. percent: above 0, at most 100; there must be a duration.
  double percentile(double percent) const;

 private:
  std::vector<std::int64_t> counts_;
  std::int64_t total_ = 0;
};

// Collects one duration a frame and stage.
class StageTimes {
 public:
  explicit StageTimes(std::vector<std::string> names);

  // The frame's clock starts anew.
  void start();
  // The time since start() or the last finish() goes to stage `stage`, an index into the names.
  void finish(std::size_t stage);

  // The stage's median in milliseconds, 0 if it never ran.
  double median(std::size_t stage) const;

  // One line a stage: median and 99th percentile in milliseconds; a stage that never ran shows "-".
  std::string table() const;

 private:
  std::vector<std::string> names_;
  std::vector<Durations> durations_;
  std::chrono::steady_clock::time_point last_;
};

// The smallest value that at least `percent` of the values do not exceed (the nearest-rank rule).
// values: at least one, in any order; percent above 0, at most 100.
double percentile(std::vector<double> values, double percent);

}  // namespace tarnkit

#endif  // TN_KITS_APPS_OUTPUT_STAGE_TIMES_H_
