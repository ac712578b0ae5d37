// Tracks drawn onto pictures.
#ifndef TN_KITS_APPS_DRAWING_DRAW_TRACKS_H_
#define TN_KITS_APPS_DRAWING_DRAW_TRACKS_H_

#include <cstdint>
#include <functional>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "apps/drawing/paths.h"
#include "tn_boxtracker.h"

namespace tarnkit {

// What a box's label stands for.
using LabelNames = std::function<std::string(int label)>;

// Boxes in their identities' colours, each with identity, label and score above it, and the trail of
// its last frames. `trails` includes this frame.
void drawTracks(cv::Mat& bgr, const std::vector<Tarn::TarnIdentifiedBox>& boxes,
                const LabelNames& label_name, const Trails& trails);

// Every path over the whole video on a dimmed copy of the picture: a ring where it starts, the
// identity where it ends. Paths shorter than `shortest` frames are left out: they are mostly false
// alarms.
cv::Mat drawTrajectories(const cv::Mat& bgr, const Trajectories& trajectories, std::int64_t shortest);

}  // namespace tarnkit

#endif  // TN_KITS_APPS_DRAWING_DRAW_TRACKS_H_
