// The process-wide parameter record of the tracking code.
#ifndef TN_KITS_TRACKING_TN_TRACKERPARAMS_H_
#define TN_KITS_TRACKING_TN_TRACKERPARAMS_H_

#include <memory>

#include "tn_boxtracker.h"

namespace Tarn {

// Created with the defaults when the library is loaded, released when it is unloaded. Readers keep no
// copy, so that setTrackerParams reaches all of them.
extern std::shared_ptr<TarnBoundingBoxesTrackerParams> trackerParams;

}  // namespace Tarn

#endif  // TN_KITS_TRACKING_TN_TRACKERPARAMS_H_
