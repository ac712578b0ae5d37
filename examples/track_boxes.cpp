// Feeds detections of two moving boxes to the tracker and prints the smoothed boxes with identities.
#include <tn_boxtracker.h>

#include <cstdio>
#include <vector>

int main() {
  using namespace Tarn;
  TarnIdentifiedBoxesTracker<TarnKalmanFilterBoxTracker2D> tracker(1920, 1080);

  for (int frame = 1; frame <= 5; ++frame) {
    const float step = 0.01f * static_cast<float>(frame);
    // left, top, width, height as fractions of the frame; score; class
    const std::vector<TarnBoundingBox2D> detections = {{0.1f + step, 0.2f, 0.1f, 0.3f, 0.9f, 0},
                                                       {0.8f - step, 0.5f, 0.1f, 0.2f, 0.8f, 1}};
    for (const TarnIdentifiedBox& box : tracker.track(detections)) {
      std::printf("frame %d: box %lld, class %d at %.3f %.3f\n", frame, static_cast<long long>(box.id),
                  static_cast<int>(box.label), static_cast<double>(box.x), static_cast<double>(box.y));
    }
  }
}
