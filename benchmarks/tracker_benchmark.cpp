// One frame of the multi-box trackers against what an application would write for itself: a Kalman
// filter over fixed-size Eigen matrices for each box, and greedy matching by overlap.
//
// The peer is compiled as an application would compile it for release.
#define EIGEN_NO_DEBUG
#include <benchmark/benchmark.h>

#include <Eigen/Dense>
#include <algorithm>
#include <chrono>
#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "benchmarks/benchmark_main.h"
#include "tests/support/allocation_count.h"
#include "tn_boxtracker.h"

namespace {

using Tarn::TarnBoundingBox2D;
using Boxes = std::vector<TarnBoundingBox2D>;

constexpr int kWidth = 1920, kHeight = 1080;
constexpr double kFrameSeconds = 1.0 / 25.0;

// Boxes that wander through the frame, with a detector's jitter, in an order that changes from frame to
// frame. Played forwards and then backwards, it goes on for ever without a jump.
class Scene {
 public:
  explicit Scene(int count) {
    std::mt19937 random(20);
    std::uniform_real_distribution<float> unit(0.0f, 1.0f);
    std::normal_distribution<float> jitter(0.0f, 0.0005f);
    struct Figure {
      float x, y, w, h, dx, dy;
    };
    std::vector<Figure> figures;
    for (int i = 0; i < count; ++i) {
      const float w = 0.015f + 0.025f * unit(random);
      figures.push_back({unit(random), unit(random), w, 2.5f * w, 0.004f * (unit(random) - 0.5f),
                         0.004f * (unit(random) - 0.5f)});
    }
    for (int frame = 0; frame < kFrames; ++frame) {
      Boxes boxes;
      for (Figure& f : figures) {
        boxes.push_back({f.x + jitter(random), f.y + jitter(random), f.w + jitter(random),
                         f.h + jitter(random), 0.9f, 0});
        f.x += f.dx;
        f.y += f.dy;
      }
      std::shuffle(boxes.begin(), boxes.end(), random);
      frames_.push_back(boxes);
    }
  }

  const Boxes& next() {
    const int i = at_++ % (2 * kFrames);
    return frames_[static_cast<std::size_t>(i < kFrames ? i : 2 * kFrames - 1 - i)];
  }

 private:
  static constexpr int kFrames = 50;
  std::vector<Boxes> frames_;
  int at_ = 0;
};

enum class Product { kOperator, kLazy };

// The peer's filter: corners in pixels and `Derivatives` derivatives of each.
template <int Derivatives, Product kProduct>
class FixedSizeKalman {
 public:
  static constexpr int kStates = 4 * (Derivatives + 1);
  using State = Eigen::Matrix<float, kStates, 1>;
  using Square = Eigen::Matrix<float, kStates, kStates>;

  explicit FixedSizeKalman(const Eigen::Vector4f& corners) {
    state_.setZero();
    state_.template head<4>() = corners;
    covariance_.setZero();
  }

  const State& predict() {
    const Model& model = Model::get();
    state_ = times(model.transition, state_);
    covariance_ = times(times(model.transition, covariance_), model.transition.transpose());
    covariance_ += model.process_noise;
    return state_;
  }

  const State& correct(const Eigen::Vector4f& corners) {
    // The measurement matrix selects the corners, so its products are blocks.
    const Eigen::Matrix4f innovation_covariance =
        covariance_.template topLeftCorner<4, 4>() + Model::get().measurement_noise;
    const auto gain =
        times(covariance_.template leftCols<4>(), Eigen::Matrix4f(innovation_covariance.inverse()));
    const Eigen::Vector4f innovation = corners - state_.template head<4>();
    state_ += times(gain, innovation);
    covariance_ -= times(gain, covariance_.template topRows<4>());
    return state_;
  }

 private:
  // What all filters share.
  struct Model {
    Square transition = Square::Identity();
    Square process_noise = Square::Identity() * 0.001f;
    Eigen::Matrix4f measurement_noise = Eigen::Matrix4f::Identity() * 0.001f;

    Model() {
      const float dt = static_cast<float>(kFrameSeconds);
      for (int i = 0; i + 4 < kStates; ++i) transition(i, i + 4) = dt;
      for (int i = 0; i + 8 < kStates; ++i) transition(i, i + 8) = 0.5f * dt * dt;
    }
    static const Model& get() {
      static const Model model;
      return model;
    }
  };

  template <class A, class B>
  static auto times(const A& a, const B& b) {
    Eigen::Matrix<float, A::RowsAtCompileTime, B::ColsAtCompileTime> product;
    if constexpr (kProduct == Product::kLazy)
      product.noalias() = a.lazyProduct(b);
    else
      product.noalias() = a * b;
    return product;
  }

  State state_;
  Square covariance_;
};

float overlap(const TarnBoundingBox2D& a, const TarnBoundingBox2D& b) {
  const float w = std::min(a.x + a.w, b.x + b.w) - std::max(a.x, b.x);
  const float h = std::min(a.y + a.h, b.y + b.h) - std::max(a.y, b.y);
  if (w <= 0.0f || h <= 0.0f) return 0.0f;
  return w * h / (a.w * a.h + b.w * b.h - w * h);
}

// The peer: every pair above the threshold, best first, as long as both sides are free.
template <int Derivatives, Product kProduct>
class GreedyTracker {
 public:
  Boxes track(const Boxes& detections) {
    struct Pair {
      float overlap;
      std::size_t track, detection;
    };
    std::vector<Pair> pairs;
    for (std::size_t i = 0; i < tracks_.size(); ++i)
      for (std::size_t j = 0; j < detections.size(); ++j) {
        const float value = overlap(tracks_[i].box, detections[j]);
        if (value > 0.2f) pairs.push_back({value, i, j});
      }
    std::sort(pairs.begin(), pairs.end(),
              [](const Pair& a, const Pair& b) { return a.overlap > b.overlap; });
    std::vector<bool> track_taken(tracks_.size()), detection_taken(detections.size());
    for (const Pair& pair : pairs) {
      if (track_taken[pair.track] || detection_taken[pair.detection]) continue;
      track_taken[pair.track] = detection_taken[pair.detection] = true;
      Track& track = tracks_[pair.track];
      track.filter.predict();
      track.box =
          box(track.filter.correct(corners(detections[pair.detection])), detections[pair.detection]);
    }
    std::size_t kept = 0;
    for (std::size_t i = 0; i < tracks_.size(); ++i)
      if (track_taken[i]) {
        if (kept != i) tracks_[kept] = tracks_[i];
        ++kept;
      }
    tracks_.erase(tracks_.begin() + static_cast<std::ptrdiff_t>(kept), tracks_.end());
    for (std::size_t j = 0; j < detections.size(); ++j)
      if (!detection_taken[j]) tracks_.push_back({Filter(corners(detections[j])), detections[j]});

    Boxes result;
    result.reserve(tracks_.size());
    for (const Track& track : tracks_) result.push_back(track.box);
    return result;
  }

 private:
  using Filter = FixedSizeKalman<Derivatives, kProduct>;
  struct Track {
    Filter filter;
    TarnBoundingBox2D box;
  };

  static Eigen::Vector4f corners(const TarnBoundingBox2D& b) {
    return {b.x * kWidth, b.y * kHeight, (b.x + b.w) * kWidth, (b.y + b.h) * kHeight};
  }
  template <class State>
  static TarnBoundingBox2D box(const State& state, const TarnBoundingBox2D& detection) {
    return {state[0] / kWidth,
            state[1] / kHeight,
            (state[2] - state[0]) / kWidth,
            (state[3] - state[1]) / kHeight,
            detection.score,
            detection.label};
  }

  std::vector<Track> tracks_;
};

// Time as the scene has it, at the cost of reading the real clock.
double scene_seconds = 0.0;
double sceneClock() {
  benchmark::DoNotOptimize(std::chrono::steady_clock::now());
  return scene_seconds;
}

template <class Tracker>
void runFrames(benchmark::State& state, int boxes, Tracker tracker) {
  Scene scene(boxes);
  Tarn::setTrackerClock(sceneClock);
  for (int i = 0; i < 20; ++i) {
    tracker.track(scene.next());
    scene_seconds += kFrameSeconds;
  }
  std::size_t returned = 0, frames = 0;
  const std::size_t before = tn_test::allocationCount();
  for (auto _ : state) {
    const Boxes& detections = scene.next();
    scene_seconds += kFrameSeconds;
    const Boxes tracked_boxes = tracker.track(detections);
    benchmark::DoNotOptimize(tracked_boxes.data());
    returned += tracked_boxes.size();
    ++frames;
  }
  state.counters["allocations"] =
      static_cast<double>(tn_test::allocationCount() - before) / static_cast<double>(frames);
  state.counters["boxes"] = static_cast<double>(returned) / static_cast<double>(frames);
  Tarn::setTrackerClock(nullptr);
}

}  // namespace

void registerRows() {
  using Tarn::TarnBoundingBoxesTracker;
  using Tarn::TarnKalmanFilterBoxTracker2D;
  using Tarn::TarnOneEuroFilterBoxTracker2D;
  for (const int boxes : {10, 100, 500, 1000}) {
    const auto add = [boxes](const std::string& filter, const char* contestant, auto tracker) {
      const std::string row = filter + "/" + std::to_string(boxes) + "_boxes/";
      benchmark::RegisterBenchmark((row + contestant).c_str(), [boxes,
                                                                tracker](benchmark::State& state) {
        runFrames(state, boxes, tracker);
      })->Unit(benchmark::kMicrosecond);
    };
    add("kalman", "tn_kits", TarnBoundingBoxesTracker<TarnKalmanFilterBoxTracker2D>(kWidth, kHeight));
    add("kalman", "eigen_12_states", GreedyTracker<2, Product::kOperator>());
    add("kalman", "eigen_12_states_lazy", GreedyTracker<2, Product::kLazy>());
    add("one_euro", "tn_kits", TarnBoundingBoxesTracker<TarnOneEuroFilterBoxTracker2D>(kWidth, kHeight));
    add("one_euro", "eigen_8_states", GreedyTracker<1, Product::kOperator>());
    add("one_euro", "eigen_8_states_lazy", GreedyTracker<1, Product::kLazy>());
  }
}
