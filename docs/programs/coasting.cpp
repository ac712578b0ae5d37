// A box that its detector misses for two frames keeps its identity, if the parameters let tracks coast.
#include <tn_boxtracker.h>

#include <cstdio>
#include <vector>

namespace {

// A box that moves right by 1 % of the frame's width each frame, unseen in frames 47 and 48.
void follow(const char* what) {
  std::printf("%s\n", what);
  Tarn::TarnIdentifiedBoxesTracker<Tarn::TarnKalmanFilterBoxTracker2D> tracker(1920, 1080);
  for (int frame = 1; frame <= 50; ++frame) {
    std::vector<Tarn::TarnBoundingBox2D> seen;
    if (frame != 47 && frame != 48)
      seen.push_back({0.1f + 0.01f * static_cast<float>(frame), 0.4f, 0.1f, 0.2f, 0.9f, 0});
    const std::vector<Tarn::TarnIdentifiedBox> boxes = tracker.track(seen);
    if (frame < 46) continue;
    std::printf("  frame %2d:", frame);
    for (const Tarn::TarnIdentifiedBox& box : boxes)
      std::printf(" box %d, left edge at %.3f", static_cast<int>(box.id), static_cast<double>(box.x));
    std::printf("%s\n", boxes.empty() ? " nothing" : "");
  }
}

}  // namespace

int main() {
  follow("as it comes");

  // A track that was seen often coasts through two frames; a third one without a detection ends it.
  Tarn::TarnBoundingBoxesTrackerParams params = Tarn::getTrackerParams();
  params.maxConfidence = 3;
  Tarn::setTrackerParams(params);
  follow("with more confidence");
}
