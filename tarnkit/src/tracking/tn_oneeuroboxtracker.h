// The steps of a One-Euro box tracker at a time that the caller has read from the clock.
#ifndef TN_KITS_TRACKING_TN_ONEEUROBOXTRACKER_H_
#define TN_KITS_TRACKING_TN_ONEEUROBOXTRACKER_H_

#include "tn_boxtracker.h"

namespace Tarn {

// track and predict of the tracker's class itself, not of a class derived from it.
struct OneEuroBoxSteps {
  using Tracker = TarnOneEuroFilterBoxTracker2D;
  static void track(Tracker& tracker, double seconds, float* x, float* y, float* w, float* h);
  static void predict(Tracker& tracker, double seconds, float* x, float* y, float* w, float* h);
};

}  // namespace Tarn

#endif  // TN_KITS_TRACKING_TN_ONEEUROBOXTRACKER_H_
