#include "tests/routines/tracking_rows.h"

#include <random>

#include "tests/support/digest.h"
#include "tn_colormatrix.h"

namespace tn_routines {
namespace {

using namespace Tarn;
using tn_test::Digest;

constexpr int kWidth = 640, kHeight = 480;

// Each thread's own time.
thread_local double seconds, tick;

void startClock(double seconds_a_reading) {
  seconds = 0.0;
  tick = seconds_a_reading;
}

// From 0 to 1, of 24 random bits, exact in a float.
float fraction(std::mt19937& random) { return static_cast<float>(random() >> 8) / 16777216.0f; }

void add(Digest& digest, const TarnBoundingBox2D& box) {
  for (const float value : {box.x, box.y, box.w, box.h, box.score}) digest.add(value);
  digest.add(std::int64_t{box.label});
}

// Frames of up to twelve walkers; each is seen in three frames of four.
std::vector<std::vector<TarnBoundingBox2D>> scene() {
  constexpr int kFrames = 200, kWalkers = 12;
  std::mt19937 random(5);
  std::vector<TarnBoundingBox2D> walkers(kWalkers);
  std::vector<float> speed(kWalkers);
  for (std::size_t i = 0; i < kWalkers; ++i) {
    walkers[i] = {fraction(random), fraction(random) * 0.5f, 0.08f, 0.3f, 0.0f, static_cast<int>(i % 3)};
    speed[i] = (fraction(random) - 0.5f) * 0.02f;
  }
  std::vector<std::vector<TarnBoundingBox2D>> frames(kFrames);
  for (auto& frame : frames)
    for (std::size_t i = 0; i < kWalkers; ++i) {
      walkers[i].x += speed[i];
      if (random() % 4 == 0) continue;
      TarnBoundingBox2D seen = walkers[i];
      seen.x += (fraction(random) - 0.5f) * 0.01f;
      seen.y += (fraction(random) - 0.5f) * 0.01f;
      seen.score = fraction(random);
      frame.push_back(seen);
    }
  return frames;
}

template <class Filter>
void manyBoxes(Digest& digest) {
  startClock(0.003);
  TarnIdentifiedBoxesTracker<Filter> tracker(kWidth, kHeight);
  for (const auto& detections : scene())
    for (const TarnIdentifiedBox& box : tracker.track(detections)) {
      add(digest, box);
      digest.add(box.id);
    }
}

void colourMatrices(Digest& digest) {
  YuvToRgbOptions options;
  for (const int value : {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}) {
    options.standard = static_cast<YuvStandard>(value % 3);
    options.range = static_cast<YuvRange>(value / 3 % 2);
    options.chroma_order = static_cast<ChromaOrder>(value / 6);
    options.mean[0] = 7.3f * static_cast<float>(value);
    options.scale[0] = 0.017f;
    const _ConvertMatrixFromYUV matrix = makeYuvToRgbMatrix(options);
    digest.add(&matrix, sizeof matrix);
  }
}

template <void (*run)(Digest&)>
std::uint64_t digestOf() {
  Digest digest;
  run(digest);
  return digest.value();
}

}  // namespace

TrackingOfRows::TrackingOfRows() : before_(getTrackerParams()) {
  TarnBoundingBoxesTrackerParams params = before_;
  // Tracks outlive frames in which nothing was found for them.
  params.maxConfidence = 4;
  params.lostThreshold = -3;
  setTrackerParams(params);
  setTrackerClock([] { return seconds += tick; });
}

TrackingOfRows::~TrackingOfRows() {
  setTrackerClock(nullptr);
  setTrackerParams(before_);
}

const std::vector<TrackingRow>& trackingRows() {
  static const std::vector<TrackingRow> rows = {
      {"Tarn::makeYuvToRgbMatrix", digestOf<colourMatrices>},
      {"Tarn::TarnIdentifiedBoxesTracker<TarnKalmanFilterBoxTracker2D>",
       digestOf<manyBoxes<TarnKalmanFilterBoxTracker2D>>},
      {"Tarn::TarnIdentifiedBoxesTracker<TarnOneEuroFilterBoxTracker2D>",
       digestOf<manyBoxes<TarnOneEuroFilterBoxTracker2D>>},
  };
  return rows;
}

}  // namespace tn_routines
