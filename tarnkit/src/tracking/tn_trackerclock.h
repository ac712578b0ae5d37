// The One-Euro trackers' source of time.
#ifndef TN_KITS_TRACKING_TN_TRACKERCLOCK_H_
#define TN_KITS_TRACKING_TN_TRACKERCLOCK_H_

namespace Tarn {

// Seconds from an origin of the clock's own: what setTrackerClock installed, or else the platform's
// monotonic clock. May be called from any thread.
double nowSeconds();

}  // namespace Tarn

#endif  // TN_KITS_TRACKING_TN_TRACKERCLOCK_H_
