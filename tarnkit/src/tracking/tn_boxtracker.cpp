// The base of the per-box trackers.
#include "tn_boxtracker.h"

namespace Tarn {

TarnBoxTracker2D::TarnBoxTracker2D(const int& frame_width, const int& frame_height)
    : width(frame_width), height(frame_height) {}

TarnBoxTracker2D::~TarnBoxTracker2D() {
  width = 0;
  height = 0;
}

}  // namespace Tarn
