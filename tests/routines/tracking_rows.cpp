#include "tests/routines/tracking_rows.h"

#include <random>

#include "tests/support/digest.h"
#include "tn_kalmanfilter.h"

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
void oneBox(Digest& digest) {
  startClock(0.04);
  Filter filter(kWidth, kHeight);
  std::mt19937 random(3);
  filter.init(0.25f, 0.25f, 0.125f, 0.5f);
  for (int frame = 0; frame < 300; ++frame) {
    TarnBoundingBox2D box = {0.25f + fraction(random) * 0.1f,
                             0.25f + fraction(random) * 0.1f,
                             0.125f,
                             0.5f + fraction(random) * 0.1f,
                             0.0f,
                             0};
    if (frame % 5 == 4)
      filter.predict(&box.x, &box.y, &box.w, &box.h);
    else
      filter.track(&box.x, &box.y, &box.w, &box.h);
    add(digest, box);
  }
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

// Of the sizes that the library's own tracker has, and of others.
void kalmanFilter(Digest& digest) {
  struct Sizes {
    int states, measured;
  };
  constexpr Sizes kSizes[] = {{12, 4}, {7, 3}, {4, 4}};
  for (const auto [states, measured] : kSizes) {
    KalmanFilter filter(states, measured, 0);
    std::mt19937 random(7);
    for (int i = 0; i < states; ++i)
      for (int j = i + 1; j < states; ++j) filter.transition(i, j) = fraction(random) * 0.1f;
    for (int i = 0; i < measured; ++i) filter.measurement(i, i) = 1.0f;
    for (int frame = 0; frame < 50; ++frame) {
      filter.predict();
      Eigen::MatrixXf z(measured, 1);
      for (int i = 0; i < measured; ++i) z(i) = fraction(random) * 100.0f;
      filter.correct(z);
      for (const Eigen::MatrixXf* m : {&filter.correctedState, &filter.correctedErrorCov, &filter.gain})
        digest.add(m->data(), static_cast<std::size_t>(m->size()) * sizeof(float));
    }
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
      {"Tarn::TarnKalmanFilterBoxTracker2D", digestOf<oneBox<TarnKalmanFilterBoxTracker2D>>},
      {"Tarn::TarnOneEuroFilterBoxTracker2D", digestOf<oneBox<TarnOneEuroFilterBoxTracker2D>>},
      {"Tarn::TarnIdentifiedBoxesTracker<TarnKalmanFilterBoxTracker2D>",
       digestOf<manyBoxes<TarnKalmanFilterBoxTracker2D>>},
      {"Tarn::TarnIdentifiedBoxesTracker<TarnOneEuroFilterBoxTracker2D>",
       digestOf<manyBoxes<TarnOneEuroFilterBoxTracker2D>>},
      {"Tarn::KalmanFilter", digestOf<kalmanFilter>},
  };
  return rows;
}

}  // namespace tn_routines
