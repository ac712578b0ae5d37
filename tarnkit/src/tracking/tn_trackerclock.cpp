// The clock of the One-Euro filters.
#include "tarnkit/src/tracking/tn_trackerclock.h"

#include <atomic>

#include "tn_boxtracker.h"

#if defined(_WIN32)
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
#else
#include <chrono>
#endif

namespace Tarn {
namespace {

#if defined(_WIN32)
double platformSeconds() {
  LARGE_INTEGER count, frequency;
  QueryPerformanceCounter(&count);
  QueryPerformanceFrequency(&frequency);
  return static_cast<double>(count.QuadPart) / static_cast<double>(frequency.QuadPart);
}
#else
double platformSeconds() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}
#endif

std::atomic<TrackerClock> clock_in_use{platformSeconds};

}  // namespace

void setTrackerClock(TrackerClock clock) {
  clock_in_use.store(clock != nullptr ? clock : platformSeconds, std::memory_order_release);
}

double nowSeconds() { return clock_in_use.load(std::memory_order_acquire)(); }

}  // namespace Tarn
