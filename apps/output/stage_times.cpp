#include "apps/output/stage_times.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <utility>

namespace tarnkit {

StageTimes::StageTimes(std::vector<std::string> names)
    : names_(std::move(names)), milliseconds_(names_.size()) {}

void StageTimes::start() { last_ = std::chrono::steady_clock::now(); }

void StageTimes::finish(std::size_t stage) {
  const auto now = std::chrono::steady_clock::now();
  milliseconds_[stage].push_back(std::chrono::duration<double, std::milli>(now - last_).count());
  last_ = now;
}

double StageTimes::median(std::size_t stage) const {
  return milliseconds_[stage].empty() ? 0.0 : percentile(milliseconds_[stage], 50.0);
}

std::string StageTimes::table() const {
  std::string text = "stage              median ms   99th percentile ms\n";
  for (std::size_t stage = 0; stage < names_.size(); ++stage) {
    char line[128];
    const std::vector<double>& times = milliseconds_[stage];
    if (times.empty())
      std::snprintf(line, sizeof(line), "%-16s %11s %20s\n", names_[stage].c_str(), "-", "-");
    else
      std::snprintf(line, sizeof(line), "%-16s %11.3f %20.3f\n", names_[stage].c_str(),
                    percentile(times, 50.0), percentile(times, 99.0));
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
