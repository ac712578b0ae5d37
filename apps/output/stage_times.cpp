// Durations in a histogram of logarithmic steps, and their percentiles.
#include "apps/output/stage_times.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <utility>

namespace tarnkit {
namespace {

// Steps of a duration on a logarithmic scale: each is 1.1 % longer than the one before.
constexpr double kStepsPerDoubling = 64.0, kNanosecond = 1e-6;
constexpr std::size_t kSteps = 50 * 64;  // up to 13 days

}  // namespace

Durations::Durations() : counts_(kSteps) {}

void Durations::add(double milliseconds) {
  const double step = kStepsPerDoubling * std::log2(std::max(milliseconds, kNanosecond) / kNanosecond);
  ++counts_[std::min(static_cast<std::size_t>(step), kSteps - 1)];
  ++total_;
}

double Durations::percentile(double percent) const {
  const auto rank = static_cast<std::int64_t>(std::ceil(percent / 100.0 * static_cast<double>(total_)));
  std::size_t step = 0;
  for (std::int64_t seen = counts_[0]; seen < rank; seen += counts_[step]) ++step;
  return kNanosecond * std::exp2((static_cast<double>(step) + 0.5) / kStepsPerDoubling);
}

StageTimes::StageTimes(std::vector<std::string> names)
    : names_(std::move(names)), durations_(names_.size()) {}

void StageTimes::start() { last_ = std::chrono::steady_clock::now(); }

void StageTimes::finish(std::size_t stage) {
  const auto now = std::chrono::steady_clock::now();
  durations_[stage].add(std::chrono::duration<double, std::milli>(now - last_).count());
  last_ = now;
}

double StageTimes::median(std::size_t stage) const {
  return durations_[stage].empty() ? 0.0 : durations_[stage].percentile(50.0);
}

std::string StageTimes::table() const {
  std::string text = "stage              median ms   99th percentile ms\n";
  for (std::size_t stage = 0; stage < names_.size(); ++stage) {
    char line[128];
    const Durations& times = durations_[stage];
    if (times.empty())
      std::snprintf(line, sizeof(line), "%-16s %11s %20s\n", names_[stage].c_str(), "-", "-");
    else
      std::snprintf(line, sizeof(line), "%-16s %11.3f %20.3f\n", names_[stage].c_str(),
                    times.percentile(50.0), times.percentile(99.0));
    text += line;
  }
  return text;
}

double percentile(std::vector<double> values, double percent) {
  const double rank = std::ceil(percent / 100.0 * static_cast<double>(values.size()));
  const auto nth = values.begin() + static_cast<std::ptrdiff_t>(rank) - 1;
  std::nth_element(values.begin(), nth, values.end());
  return *nth;
}

}  // namespace tarnkit
