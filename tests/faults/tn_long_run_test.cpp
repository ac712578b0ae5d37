// The libraries' memory over many frames: what a program that never stops holds at the end is what it
// held when it was warm. TN_LONG_RUN=1 runs ten times as long.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "tn_boxtracker.h"
#include "tn_cnn.h"

namespace {

using Tarn::TarnBoundingBox2D;
using TarnCPU::Mat;

// What allocators keep for later, scattered between the live. Losing each tenth track or each hundredth
// tensor takes several times as much.
constexpr std::int64_t kMarginBytes = 256 << 10;

// What the process has to itself, as the kernel counts it from the pages. Those of files, the programs'
// own above all, come and go as the system pleases.
std::int64_t memoryInUse() {
  std::ifstream rollup("/proc/self/smaps_rollup");
  std::int64_t all = 0, kib = 0;
  for (std::string word; rollup >> word;)
    if ((word == "Anonymous:" || word == "Swap:") && rollup >> kib) all += kib << 10;
  EXPECT_GT(all, 0) << "nothing was measured";
  return all;
}

bool isLong() { return std::getenv("TN_LONG_RUN") != nullptr; }

// Runs `step` for frame 1, 2, ...; a tenth of the frames count as warming up.
void expectFlat(const char* what, std::int64_t quick_frames,
                const std::function<void(std::int64_t)>& step) {
  const std::int64_t frames = quick_frames * (isLong() ? 10 : 1);
  std::int64_t warm = 0;
  for (std::int64_t frame = 1; frame <= frames; ++frame) {
    step(frame);
    if (frame == frames / 10) warm = memoryInUse();
  }
  const std::int64_t grown = memoryInUse() - warm;
  std::printf("%s: %lld frames, %lld KiB when warm, %+lld KiB since\n", what,
              static_cast<long long>(frames), static_cast<long long>(warm >> 10),
              static_cast<long long>(grown >> 10));
  EXPECT_LE(grown, kMarginBytes) << what;
}

// None to eight boxes that move, appear and go.
class Scene {
 public:
  const std::vector<TarnBoundingBox2D>& next() {
    std::uniform_real_distribution<float> unit(0.0f, 1.0f);
    for (TarnBoundingBox2D& box : boxes_) box.x += 0.01f * (unit(random_) - 0.5f);
    if (!boxes_.empty() && unit(random_) < 0.05f) boxes_.erase(boxes_.begin());
    if (boxes_.size() < 8 && unit(random_) < 0.1f)
      boxes_.push_back({unit(random_), unit(random_), 0.1f, 0.2f, unit(random_), 0});
    return boxes_;
  }

 private:
  std::mt19937 random_{20};
  std::vector<TarnBoundingBox2D> boxes_;
};

template <class Tracker>
void trackForLong(const char* what) {
  Scene scene;
  Tracker tracker(1920, 1080);
  std::size_t seen = 0;
  expectFlat(what, 100000, [&](std::int64_t) { seen += tracker.track(scene.next()).size(); });
  EXPECT_GT(seen, 0u);
}

TEST(LongRun, TrackersHoldTheLiveTracksAlone) {
  using Tarn::TarnBoundingBoxesTracker, Tarn::TarnIdentifiedBoxesTracker;
  trackForLong<TarnBoundingBoxesTracker<Tarn::TarnKalmanFilterBoxTracker2D>>("Kalman");
  trackForLong<TarnBoundingBoxesTracker<Tarn::TarnOneEuroFilterBoxTracker2D>>("One-Euro");
  trackForLong<TarnIdentifiedBoxesTracker<Tarn::TarnKalmanFilterBoxTracker2D>>("identified, Kalman");
}

TEST(LongRun, TensorsOfChangingSizesGoBack) {
  std::mt19937 random{21};
  std::vector<Mat> held(8);
  std::vector<unsigned char> pixels(400 * 400 * 4);
  expectFlat("tensors", 200000, [&](std::int64_t frame) {
    const int w = 1 + static_cast<int>(random() % 400), h = 1 + static_cast<int>(random() % 40);
    Mat& place = held[random() % held.size()];
    // All ways to come to elements and to lose them.
    if (frame % 4 == 0) place = Mat(w, h, 3);
    if (frame % 4 == 1) place = Mat::from_pixels(pixels.data(), 8, w, h);
    if (frame % 4 == 2) place = held[random() % held.size()];
    if (frame % 4 == 3) held[random() % held.size()] = std::move(place);
    if (frame % 100 == 0) held.assign(held.size(), Mat());
  });
}

#if defined(TN_TEST_NETWORK)
TEST(LongRun, NetworksRunAndAreBuiltAgain) {
  TarnCPU::KRNetLoader loader;
  ASSERT_TRUE(loader.LoadFile(TN_TEST_DATA "/small.onnx", false));
  TarnCPU::TarnNet net;
  net.load_tarn_net_with_inference_config(loader, nullptr);
  Mat image(6, 6, 3);
  std::fill_n(static_cast<float*>(image.data), image.total(), 0.5f);
  TarnCPU::TarnNetExtractor extractor = net.create_extractor();
  expectFlat("network", 5000, [&](std::int64_t frame) {
    if (frame % 50 == 0) {
      net.load_tarn_net_with_inference_config(loader, nullptr);
      extractor = net.create_extractor();
      extractor.set_num_threads(1);
      extractor.set_light_mode(frame % 100 == 0);
    }
    Mat out;
    ASSERT_EQ(extractor.input(0, image), 0);
    ASSERT_EQ(extractor.extract(extractor.get_last_layer_index(), out), 0);
  });
}
#endif

}  // namespace
