// What the tracking tests share.
#ifndef TN_KITS_TESTS_TRACKING_TRACKING_TEST_SUPPORT_H_
#define TN_KITS_TESTS_TRACKING_TRACKING_TEST_SUPPORT_H_

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

#include "tests/support/same_bits.h"
#include "tn_boxtracker.h"

namespace tn_test {

using Boxes = std::vector<Tarn::TarnBoundingBox2D>;

template <class Box>
bool sameBoxes(const std::vector<Box>& a, const std::vector<Box>& b) {
  bool same = a.size() == b.size();
  for (std::size_t i = 0; same && i < a.size(); ++i) same = sameBox(a[i], b[i]);
  return same;
}

// One box through a filter; what `predict` finds in its arguments must not matter.
struct PlainBox {
  float x, y, w, h;
};
inline bool sameBits(const PlainBox& a, const PlainBox& b) {
  return sameBits(a.x, b.x) && sameBits(a.y, b.y) && sameBits(a.w, b.w) && sameBits(a.h, b.h);
}
template <class Filter>
PlainBox tracked(Filter& filter, PlainBox box) {
  filter.track(&box.x, &box.y, &box.w, &box.h);
  return box;
}
template <class Filter>
PlainBox predicted(Filter& filter) {
  constexpr float kNothing = std::numeric_limits<float>::quiet_NaN();
  PlainBox box = {kNothing, kNothing, kNothing, kNothing};
  filter.predict(&box.x, &box.y, &box.w, &box.h);
  return box;
}

// The filters that the templates exist for, and their names in typed tests.
using Filters = testing::Types<Tarn::TarnKalmanFilterBoxTracker2D, Tarn::TarnOneEuroFilterBoxTracker2D>;
struct FilterNames {
  template <class>
  static std::string GetName(int index) {
    return index == 0 ? "Kalman" : "OneEuro";
  }
};

// Puts the process-wide parameters and clock back at the end of a test.
class RestoreTracking {
 public:
  ~RestoreTracking() {
    Tarn::setTrackerParams(params_);
    Tarn::setTrackerClock(nullptr);
  }

 private:
  Tarn::TarnBoundingBoxesTrackerParams params_ = Tarn::getTrackerParams();
};

// A clock that a test sets, or that goes on by `tick` at each reading. It counts the readings.
struct ManualClock {
  static inline double seconds = 0.0, tick = 0.0;
  static inline int reads = 0;
  static double read() {
    ++reads;
    return seconds += tick;
  }
  static void install() {
    seconds = tick = 0.0;
    reads = 0;
    Tarn::setTrackerClock(read);
  }
};

}  // namespace tn_test

#endif  // TN_KITS_TESTS_TRACKING_TRACKING_TEST_SUPPORT_H_
