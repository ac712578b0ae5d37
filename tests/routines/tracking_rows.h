// The trackers' part of the digests: many frames of boxes that appear, move and vanish. They keep a
// state and take no buffers, so they have no rows in the table.
#ifndef TN_KITS_TESTS_ROUTINES_TRACKING_ROWS_H_
#define TN_KITS_TESTS_ROUTINES_TRACKING_ROWS_H_

#include <cstdint>
#include <vector>

#include "tn_boxtracker.h"

namespace tn_routines {

struct TrackingRow {
  const char* name;
  std::uint64_t (*digest)();  // may run on several threads at once
};
const std::vector<TrackingRow>& trackingRows();

// Puts the parameters and the clock of these rows in force, and those from before at its end.
class TrackingOfRows {
 public:
  TrackingOfRows();
  TrackingOfRows(const TrackingOfRows&) = delete;
  TrackingOfRows& operator=(const TrackingOfRows&) = delete;
  ~TrackingOfRows();

 private:
  Tarn::TarnBoundingBoxesTrackerParams before_;
};

}  // namespace tn_routines

#endif  // TN_KITS_TESTS_ROUTINES_TRACKING_ROWS_H_
