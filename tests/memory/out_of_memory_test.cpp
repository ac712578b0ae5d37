// How many blocks of memory calls take, and what happens when each of these is refused in turn. The
// sanitizers' build checks that nothing leaks then.
#include <gtest/gtest.h>

#include <array>
#include <limits>
#include <new>
#include <optional>
#include <utility>
#include <vector>

#include "common/tn_sanitizers.h"
#include "tests/support/allocation_count.h"
#include "tests/support/digest.h"
#include "tests/support/test_support.h"
#include "tests/tracking/tracking_test_support.h"
#include "tn_boxtracker.h"
#include "tn_cnn.h"
#include "tn_core.h"
#include "tn_cv.h"
#include "tn_kalmanfilter.h"
#include "tn_yuvconverter.h"

namespace {

using namespace Tarn;
using tn_test::allocationCount;
using tn_test::Boxes;
using tn_test::Bytes;
using tn_test::Digest;
using tn_test::heldBlocks;
using tn_test::ManualClock;

constexpr int kWidth = 640, kHeight = 480;
constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

// A Subject prepares itself in its constructor; act is the call in question; describe gives the results
// of act and of some calls after it. Refuses each of the first 200 blocks that act takes, and one in 17
// of the rest, which only networks have; alone and with all later ones. Then either act does not need
// the block, or it throws std::bad_alloc, what follows is as if it had not been called, and it can be
// called again.
template <class Subject, class... Arguments>
void expectAllOrNothing(const Arguments&... arguments) {
  const auto described = [](Subject& subject) {
    Digest digest;
    subject.describe(digest);
    return digest.value();
  };
  Subject never(arguments...), once(arguments...);
  const std::uint64_t nothing = described(never);
  once.act();
  const std::uint64_t all = described(once);
  ASSERT_NE(all, nothing);
  for (const bool and_later : {false, true}) {
    bool is_refused = true;
    int failures = 0;
    for (std::size_t nth = 1; is_refused; nth += nth < 200 ? 1 : 17) {
      SCOPED_TRACE(testing::Message() << "block " << nth << (and_later ? " and later ones" : ""));
      const auto succeeds = [&](Subject& subject) {
        const std::size_t before = allocationCount();
        const tn_test::FailingAllocation failing(nth, and_later);
        bool done = true;
        try {
          subject.act();
        } catch (const std::bad_alloc&) {
          done = false;
        }
        is_refused = allocationCount() - before >= nth;
        return done;
      };
      Subject failed(arguments...), again(arguments...);
      const bool done = succeeds(failed);
      ASSERT_EQ(described(failed), done ? all : nothing);
      if (done) continue;
      ++failures;
      ASSERT_FALSE(succeeds(again));
      again.act();
      ASSERT_EQ(described(again), all);
    }
    ASSERT_GT(failures, 0) << "takes no memory";
  }
}

template <class Box>
void add(Digest& digest, const std::vector<Box>& boxes) {
  digest.add(boxes.data(), boxes.size() * sizeof(Box));
}

// Boxes far apart that creep to the right; of the fourth, filters lose themselves in NaNs.
Boxes frameOf(int number, std::size_t first, std::size_t end) {
  Boxes boxes;
  for (std::size_t i = first; i < end; ++i)
    boxes.push_back({static_cast<float>(i) + 0.01f * static_cast<float>(number), 0.1f, 0.3f,
                     i == 3 && number > 1 ? kNan : 0.5f, 0.5f, static_cast<std::int32_t>(i)});
  return boxes;
}

template <class Tracker>
void runFrame(Tracker& tracker, int number, Digest& digest) {
  ManualClock::seconds = 0.04 * number;
  add(digest, tracker.track(frameOf(number, 1, 7)));
}

// A second init.
template <class Filter>
struct Init {
  Init() { filter.init(0.6f, 0.6f, 0.2f, 0.2f); }
  ~Init() {
    if (earlier != nullptr) earlier->~Filter();
  }
  void act() {
    auto* const copy = new (memory) Filter(filter);
    filter.init(0.1f, 0.1f, 0.3f, 0.3f);
    earlier = copy;  // has the filter to itself now
  }
  void describe(Digest& digest) {
    for (int frame = 0; frame < 3; ++frame) {
      Boxes boxes = frameOf(frame, 0, 1);
      auto& [x, y, w, h, score, label] = boxes[0];
      if (frame == 0)
        filter.predict(&x, &y, &w, &h);
      else
        filter.track(&x, &y, &w, &h);
      add(digest, boxes);
    }
  }
  Filter filter{kWidth, kHeight}, *earlier = nullptr;
  alignas(Filter) unsigned char memory[sizeof(Filter)];
};

// A frame with boxes for old tracks, boxes for many new ones, a track that coasts, and one that dies.
template <class Tracker>
struct Frame {
  Frame() {
    ManualClock::seconds = 0.0;
    TarnBoundingBoxesTrackerParams params;
    params.maxConfidence = 2;
    setTrackerParams(params);
    tracker.track(frameOf(0, 1, 5));
    ManualClock::seconds = 0.04;
    tracker.track(frameOf(1, 0, 5));
  }
  void act() {
    ManualClock::seconds = 0.08;
    result = tracker.track(boxes);
  }
  void describe(Digest& digest) {
    add(digest, result);
    for (int number = 3; number < 6; ++number) runFrame(tracker, number, digest);
  }
  const Boxes boxes = frameOf(2, 2, 12);
  Tracker tracker{kWidth, kHeight};
  decltype(tracker.track(boxes)) result;
};

template <class Tracker>
struct Assignment {
  Assignment() {
    ManualClock::seconds = 0.0;
    from.track(frameOf(0, 0, 5));
    to.track(frameOf(0, 4, 6));
  }
  void act() { to = from; }
  void describe(Digest& digest) {
    for (int number = 1; number < 4; ++number) runFrame(to, number, digest);
  }
  Tracker from{kWidth, kHeight}, to{kWidth / 9, kHeight / 7};
};

template <class Filter>
class OutOfMemory : public testing::Test {
 protected:
  OutOfMemory() { ManualClock::install(); }

 private:
  tn_test::RestoreTracking restore_;
};
TYPED_TEST_SUITE(OutOfMemory, tn_test::Filters, tn_test::FilterNames);

TYPED_TEST(OutOfMemory, AFrameHasNotHappenedAndNothingIsMadeOrCopied) {
  expectAllOrNothing<Init<TypeParam>>();
  expectAllOrNothing<Frame<TarnBoundingBoxesTracker<TypeParam>>>();
  expectAllOrNothing<Frame<TarnIdentifiedBoxesTracker<TypeParam>>>();
  expectAllOrNothing<Assignment<TarnBoundingBoxesTracker<TypeParam>>>();
}

// A filter in use, of the sizes given.
struct Kalman {
  Kalman(int states, int measured, void (*call)(Kalman&))
      : filter(states, measured, 2), z(measured, 1), call_(call) {
    for (int i = 0; i + 1 < states; ++i) filter.transition(i, i + 1) = 0.5f;
    for (int i = 0; i < measured; ++i) filter.measurement(i, i) = 1.0f;
    filter.control.setConstant(3.0f);
    for (int i = 0; i < measured; ++i) z(i, 0) = static_cast<float>(i + 1);
    filter.predict();
    filter.correct(z);
    filter.predict();
  }
  void act() { call_(*this); }
  void describe(Digest& digest) {
    const auto add = [&](const Eigen::MatrixXf& matrix) {
      digest.add(matrix.data(), static_cast<std::size_t>(matrix.size()) * sizeof(float));
    };
    add(filter.control);
    for (int i = 0; i < 2; ++i) {
      add(filter.correctedState);
      add(filter.correctedErrorCov);
      filter.predict();
    }
  }
  KalmanFilter filter;
  Eigen::MatrixXf z;

 private:
  void (*call_)(Kalman&);
};

TEST(OutOfMemory, AKalmanFilterIsAsItWas) {
  const auto predict = [](Kalman& k) { k.filter.predict(); };
  const auto correct = [](Kalman& k) { k.filter.correct(k.z); };
  expectAllOrNothing<Kalman>(
      7, 3, +[](Kalman& k) { k.filter.init(9, 2, 0); });
  expectAllOrNothing<Kalman>(
      7, 3, +[](Kalman& k) { k.filter.init(7, 3, 1); });
  expectAllOrNothing<Kalman>(200, 3, +predict);
  expectAllOrNothing<Kalman>(30, 11, +correct);
  expectAllOrNothing<Kalman>(12, 4, +correct);
}

// Enlarged, and reduced so far that a row's fetches need every table.
struct Toolkit {
  Toolkit(int width, int height, int out_width, int out_height)
      : w(width), h(height), out_w(out_width), out_h(out_height) {}
  void act() { kit.emplace(w, h, w / 2, h / 2, out_w, out_h); }
  void describe(Digest& digest) {
    if (!kit) return;
    Bytes frame = tn_test::fixedBytes(static_cast<std::size_t>(w * h * 3 / 2));
    std::vector<float> tensor(static_cast<std::size_t>(3 * out_w * out_h));
    kit->setCvtMat({1, 0, 1.4f, 1, -0.3f, -0.7f, 1, 1.8f, 0, -179, 135, -227});
    kit->convert({0, TN_PIX_FMT_NV12, w, h, 0, frame.data()},
                 {0, TN_PIX_FMT_CHW_F32, out_w, out_h, 0, tensor.data()});
    digest.add(tensor.data(), tensor.size() * sizeof(float));
  }
  const int w, h, out_w, out_h;
  std::optional<TarnYUVToolKit> kit;
};

TEST(OutOfMemory, AToolkitIsNotMade) {
  for (const auto& [w, h, out_w, out_h] :
       {std::array{64, 48, 160, 90}, std::array{322, 180, 128, 96}, std::array{640, 48, 40, 24}}) {
    SCOPED_TRACE(w);
    const std::size_t held = heldBlocks();
    expectAllOrNothing<Toolkit>(w, h, out_w, out_h);
    EXPECT_EQ(heldBlocks(), held);
    const std::size_t before = tn_test::allocationCount();
    Toolkit(w, h, out_w, out_h).act();
    EXPECT_EQ(tn_test::allocationCount() - before, 7u);
    for (std::size_t nth = 1; nth <= 7; ++nth) {
      const tn_test::FailingAllocation failing(nth, false);
      EXPECT_THROW(Toolkit(w, h, out_w, out_h).act(), std::bad_alloc) << nth;
    }
  }
#if !defined(TN_ADDRESS_SANITIZER)  // which does not let such calls return
  // More bytes than there are addresses, and more than a size_t counts.
  for (const int side : {1 << 24, 1 << 30, std::numeric_limits<int>::max()})
    EXPECT_THROW(Toolkit(8, 8, side, side).act(), std::bad_alloc) << side;
#endif
}

struct NetworkInput {
  NetworkInput(int format, std::uint32_t orient, bool crops)
      : pixels(tn_test::fixedBytes(4 * 37 * 23)),
        frame{orient, format, 37, 23, 0, pixels.data()},
        crop(crops) {}
  void act() {
    int corners[] = {-3, 2, 30, 28};
    if (crop)
      TarnCPU::TN_CV::getInMat_m1(&frame, out, 0, kSide, kRows, a.data(), b.data(), corners[0],
                                  corners[1], corners[2], corners[3], true);
    else
      TarnCPU::TN_CV::getInMat(&frame, out, 0, kSide, kRows, a.data(), b.data());
  }
  void describe(Digest& digest) { digest.add(out.data, out.total() * sizeof(float)); }

  static constexpr int kSide = 30, kRows = 18;
  Bytes pixels, a = Bytes(4 * kSide * kRows), b = a;
  _TN_Image frame;
  bool crop;
  TarnCPU::Mat out = TarnCPU::Mat::from_pixels(pixels.data(), 1, 2, 2);
};

// The half turn has a block of its own. Memory for the tensor is another matter: see Mat.
TEST(OutOfMemory, ATensorIsTheOneFromBefore) {
  for (const int format : {TN_PIX_FMT_YUVI420, TN_PIX_FMT_NV12, TN_PIX_FMT_BGRA, TN_PIX_FMT_RGB})
    for (const std::uint32_t orient : {0u, std::uint32_t{TN_ORIENT_ROTATE_180}})
      for (const bool crop : {false, true}) {
        SCOPED_TRACE(testing::Message() << "format " << format << ", orient " << orient);
        const std::size_t held = heldBlocks();
        expectAllOrNothing<NetworkInput>(format, orient, crop);
        EXPECT_EQ(heldBlocks(), held);
      }
}

#if defined(TN_TEST_NETWORKS)

// A network from file to output, of which act takes one step.
struct Network {
  explicit Network(int step) : step_(step) {
    for (std::size_t i = 0; i < image_.total(); ++i)
      static_cast<float*>(image_.data)[i] = static_cast<float>(i % 7) - 3.0f;
    while (done_ < step) act();
  }
  // A step that fails logs one line, except that create_extractor throws.
  void act() {
    int lines = 0;
    const auto count = [](Tarn::LogLevel, const char*, const char*, void* user) {
      ++*static_cast<int*>(user);  // keeping them would take memory
    };
    Tarn::setLogSink(count, &lines);
    bool passed = done_ == 2;
    if (done_ == 0) passed = loader_.LoadFile(TN_TEST_NETWORKS "/small.onnx", false);
    if (done_ == 1) {
      net_.load_tarn_net_with_inference_config(loader_, nullptr);
      passed = !net_.empty();
    }
    if (done_ == 3) passed = extractor_->input(0, image_) == 0;
    if (done_ == 4) passed = extractor_->extract(extractor_->get_last_layer_index(), out_) == 0;
    Tarn::setLogSink(nullptr);
    is_told_ = lines == (passed ? 0 : 1);
    if (!passed) throw std::bad_alloc();
    if (done_ == 2) extractor_.emplace(net_.create_extractor());
    ++done_;
  }
  void describe(Digest& digest) {
    EXPECT_TRUE(is_told_);
    if (done_ == step_) return;
    while (done_ < kSteps) act();
    digest.add(out_.data, out_.total() * sizeof(float));
  }
  static constexpr int kSteps = 5;

 private:
  const int step_;
  int done_ = 0;
  bool is_told_ = true;
  TarnCPU::KRNetLoader loader_;
  TarnCPU::TarnNet net_;
  std::optional<TarnCPU::TarnNetExtractor> extractor_;
  TarnCPU::Mat image_{6, 6, 3}, out_;
};

TEST(OutOfMemory, ANetworksStepCanBeTakenAgain) {
  // With memory at first: the engine cannot repeat its own set-up at its first use in a process.
  const Network first(Network::kSteps);
  for (int step = 0; step < Network::kSteps; ++step) {
    SCOPED_TRACE(testing::Message() << "step " << step);
    expectAllOrNothing<Network>(step);
  }
}

#endif

TEST(OutOfMemory, ALogLineIsItsFormat) {
  testing::internal::CaptureStderr();
  {
    const tn_test::FailingAllocation failing(1, true);
    Tarn::_LogError("Tarn", "longer than a string without a block: %d", 7);
  }
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "E/Tarn: longer than a string without a block: %d\n");
}

// Also where rows are too short for vectors, and at any height; none where nothing is inside. White
// stays white: from three rows to 2048 every weight is a half rounded up, and the two of a row add up to
// 2049.
TEST(Resizers, TakeOneBlockACallAndKeepWhite) {
  using namespace TarnCPU;
  using Resize = void (*)(const unsigned char*, int, int, unsigned char*, int, int);
  const std::pair<Resize, std::size_t> resizers[] = {
      {resize_bilinear_c1, 1}, {resize_bilinear_c2, 2},        {resize_bilinear_c3, 3},
      {resize_bilinear_c4, 4}, {TN_CV::resize_bilinear_c2, 2}, {resize_nearest_c1, 1}};
  const Bytes src(4 * 300 * 200, 255);
  tn_test::ForEachTarget([&] {
    for (const auto& [sw, sh, dw, dh] :
         {std::array{300, 200, 200, 300}, {3, 200, 200, 7}, {1, 1, 9, 9}, {8, 3, 2048, 2048}}) {
      SCOPED_TRACE(testing::Message() << sw << " to " << dw);
      for (const auto& [resize, channels] : resizers) {
        const Bytes white(static_cast<std::size_t>(dw * dh) * channels, 255);
        Bytes dst(white.size());
        const std::size_t before = allocationCount();
        resize(src.data(), sw, sh, dst.data(), dw, dh);
        EXPECT_EQ(allocationCount() - before, 1u);
        EXPECT_TRUE(dst == white) << channels << " channels";
      }
      Bytes dst(static_cast<std::size_t>(dw * dh) * 4);
      const std::size_t before = allocationCount();
      for (auto crop : {crop_resize_nearest_c1, crop_resize_nearest_c3, crop_resize_nearest_c4})
        for (const int left : {-5, sw})
          crop(src.data(), sw, sh, dst.data(), dw, dh, left, -5, left + sw + 5, sh);
      EXPECT_EQ(allocationCount() - before, 3u);
    }
  });
}

}  // namespace
