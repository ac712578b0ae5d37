// The pipeline without a process: frames and boxes in, tracks, outputs and faults out.
#include "apps/pipeline/pipeline.h"

#include <gtest/gtest.h>

#include <csignal>
#include <functional>
#include <thread>
#if !defined(_WIN32)
#include <sys/resource.h>
#endif

#include "apps/detections/mot_text.h"
#include "apps/support/failure.h"
#include "apps/support/interrupt.h"
#include "apps/video/video_reader.h"
#include "tests/apps/tool_test_support.h"
#include "tests/support/test_support.h"

namespace {

using namespace tarnkit;
using Tarn::TarnBoundingBox2D;

constexpr int kWidth = 64, kHeight = 48, kFrames = 6;

// Grey frames, each a little lighter than the one before.
class GreyFrames final : public FrameSource {
 public:
  const VideoInfo& info() override { return info_; }
  bool next(_TN_Image& frame) override {
    if (taken_ == kFrames) return false;
    bytes_.assign(kWidth * kHeight * 3 / 2, 128);
    std::fill_n(bytes_.begin(), kWidth * kHeight, static_cast<std::uint8_t>(16 + 10 * ++taken_));
    frame = record_ = {0, TN_PIX_FMT_NV12, kWidth, kHeight, 0, bytes_.data()};
    return true;
  }
  Tarn::FrameView view() const override {
    Tarn::FrameView view = Tarn::frameView(record_);
    view.range = Tarn::YuvRange::kFull;
    return view;
  }

 private:
  VideoInfo info_ = {kWidth, kHeight, 30,
                     2,      kFrames, {Tarn::YuvStandard::kBt709, Tarn::YuvRange::kFull}};
  std::vector<std::uint8_t> bytes_;
  _TN_Image record_ = {};
  int taken_ = 0;
};

// One box that moves. before: called as each frame comes. need: of the network that it might be.
class OneBox final : public Detector {
 public:
  using Before = std::function<void(std::int64_t)>;
  explicit OneBox(
      Before before = [](std::int64_t) {}, std::optional<TensorNeed> need = {})
      : before_(std::move(before)), need_(need) {}
  std::optional<TensorNeed> tensorNeed() const override { return need_; }
  std::vector<TarnBoundingBox2D> detect(const DetectorInput& input) override {
    before_(input.number);
    return {{0.1f + 0.01f * static_cast<float>(input.number), 0.25f, 0.25f, 0.5f, 0.5f, 0}};
  }
  std::string labelName(int) const override { return "box"; }

 private:
  Before before_;
  std::optional<TensorNeed> need_;
};

class PipelineTest : public tn_test::ToolTest {
 protected:
  PipelineTest() {
    av_log_set_level(AV_LOG_QUIET);
    options_.spec.width = 16;
    options_.spec.height = 8;
    options_.spec.fit = Tarn::Fit::kStretch;
    options_.tracks = path("tracks.txt");
    options_.tensors = path("deep/tensors");
    options_.pictures = {path("out.mp4"), path("sheet.png"), ""};
  }

  // Runs all of it; the fault's text, empty without one.
  std::string faultOf(Detector& detector) const {
    return tn_test::FaultOf<Failure>([&] {
      GreyFrames frames;
      Pipeline pipeline(frames, detector, options_);
      while (pipeline.step()) {
      }
      pipeline.close();
    });
  }

  // The outputs hold frames 1 to `frames`, each with the one track, and are whole.
  void expectWhole(std::int64_t frames) const {
    const MotFrames tracks = readMotFrames(options_.tracks);
    ASSERT_EQ(static_cast<std::int64_t>(tracks.size()), frames);
    for (std::int64_t number = 1; number <= frames; ++number) {
      ASSERT_EQ(tracks.at(number).size(), 1u);
      EXPECT_EQ(tracks.at(number)[0].id, 1);
      const std::string tensor = "deep/tensors/00000" + std::to_string(number) + ".npy";
      EXPECT_EQ(tn_test::parseNpy(read(tensor)).values.size(), 3u * 16 * 8);
    }
    EXPECT_EQ(read("tracks.txt").back(), '\n');
    EXPECT_EQ(tn_test::countFrames(path("out.mp4")), frames);
  }

  PipelineOptions options_;
};

TEST_F(PipelineTest, FramesBecomeTracksAndOutputs) {
  GreyFrames frames;
  OneBox detector;
  options_.frames = kFrames + 1;  // more than there are
  Pipeline pipeline(frames, detector, options_);
  EXPECT_EQ(pipeline.framesExpected(), kFrames);
  for (std::int64_t number = 1; number <= kFrames; ++number) {
    ASSERT_TRUE(pipeline.step());
    EXPECT_EQ(pipeline.framesDone(), number);
    ASSERT_EQ(pipeline.tracks().size(), 1u);
    EXPECT_NEAR(pipeline.tracks()[0].x, 0.1 + 0.01 * static_cast<double>(number), 0.01);
  }
  EXPECT_FALSE(pipeline.step());
  EXPECT_FALSE(pipeline.step());
  pipeline.close();
  expectWhole(kFrames);
  EXPECT_TRUE(exists("sheet.png"));
  EXPECT_EQ(pipeline.summary(3).rfind(
                "frames 6, detections 6, tracks 1, damaged packets passed over 3\nstage ", 0),
            0u);
  EXPECT_EQ(pipeline.summary().find("their sum"), std::string::npos) << "no network, no share";
  // Luma of the full range, 16 + 10 in the first frame; the video is as its source.
  for (const float value : tn_test::parseNpy(read("deep/tensors/000001.npy")).values)
    EXPECT_NEAR(value, 26.0, 1.0);
  VideoReader video(path("out.mp4"));
  EXPECT_EQ(video.info().colour.range, Tarn::YuvRange::kFull);
  EXPECT_EQ(video.info().colour.standard, Tarn::YuvStandard::kBt709);
  EXPECT_EQ(video.info().fps(), 15.0);
}

// Parameters belong to the process, and must not come from the run before; clock and identities start
// anew. The rate is the video's, 15, unless another was given.
TEST_F(PipelineTest, ASecondRunOwesNothingToTheFirst) {
  OneBox detector;
  options_.frames = 4;
  std::vector<std::string> tracks;
  for (const std::optional<float> fps : {std::optional<float>(), {3.0f}, {15.0f}, {}}) {
    for (const Filter filter : {Filter::kKalman, Filter::kOneEuro}) {
      options_.tracker = TrackerOptions();
      options_.tracker.filter = filter;
      options_.tracker.fps = fps;
      if (fps) options_.tracker.params.maxConfidence = 9;
      EXPECT_EQ(faultOf(detector), "");
      expectWhole(4);
      tracks.push_back(read("tracks.txt"));
    }
  }
  for (const std::size_t filter : {0u, 1u}) {
    EXPECT_NE(tracks[filter], tracks[2 + filter]);
    EXPECT_EQ(tracks[filter], tracks[4 + filter]);
    EXPECT_EQ(tracks[filter], tracks[6 + filter]);
  }
  // The library's clock is the machine's again: predictions go as far as time does.
  Tarn::TarnOneEuroFilterBoxTracker2D moving(100, 100);
  float x = 0.1f, y = 0.1f, w = 0.1f, h = 0.1f, later = 0.3f;
  moving.init(x, y, w, h);
  moving.track(&x, &y, &w, &h);
  moving.track(&later, &y, &w, &h);
  moving.predict(&x, &y, &w, &h);
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  moving.predict(&later, &y, &w, &h);
  EXPECT_NE(later, x);
}

TEST_F(PipelineTest, FramesBeforeAFaultStayWhole) {
  OneBox failing([](std::int64_t number) {
    if (number == 4) throw Failure("detector", "gave up");
  });
  EXPECT_EQ(faultOf(failing), "detector: gave up");
  expectWhole(3);
  EXPECT_TRUE(exists("deep/tensors/000004.npy")) << "written before the detector gets it";
  EXPECT_FALSE(exists("sheet.png"));

  // Two noises of 0 leave the Kalman filter nothing to divide by, from a track's second frame on.
  options_.tracker.params.processNoise = options_.tracker.params.measurementNoise = 0.0f;
  OneBox detector;
  EXPECT_EQ(faultOf(detector),
            "tracker parameters: they make the filter singular: in frame 2 the box of track 1 is not "
            "finite");
  expectWhole(1);

  if (!std::filesystem::exists("/dev/full")) GTEST_SKIP() << "no /dev/full";
  options_.tracks = "/dev/full";
  EXPECT_EQ(faultOf(detector), "/dev/full: cannot be written: No space left on device");
}

#if !defined(_WIN32)
// A limit on the size of files stands in for a disk that fills up.
TEST_F(PipelineTest, AVideoThatCannotBeFinishedPlaysUpToThere) {
  OneBox detector;
  options_.tensors.clear();
  EXPECT_EQ(faultOf(detector), "");
  turnWriteSignalsIntoErrors();
  rlimit limit;
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &limit), 0);
  const rlim_t before = limit.rlim_cur;
  limit.rlim_cur = std::filesystem::file_size(path("out.mp4")) / 4 * 3;
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
  EXPECT_EQ(faultOf(detector), path("out.mp4") + ": cannot be written: File too large");
  limit.rlim_cur = before;
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
  const std::int64_t left = tn_test::countFrames(path("out.mp4"));
  EXPECT_TRUE(left > 0 && left < kFrames) << left;
}

// In a process of its own, since an interrupt is never forgotten.
TEST_F(PipelineTest, AnInterruptFinishesTheFrame) {
  OneBox detector([](std::int64_t number) {
    if (number == 2) std::raise(SIGTERM);
  });
  const auto interrupted = [&] {
    catchInterrupts();
    std::_Exit(faultOf(detector).empty() ? exitStatus() : 1);
  };
  EXPECT_EXIT(interrupted(), testing::ExitedWithCode(128 + SIGTERM), "");
  expectWhole(2);
  EXPECT_TRUE(exists("sheet.png"));
  EXPECT_FALSE(exists("deep/tensors/000003.npy"));
}
#endif

TEST(TensorSpec, IsTheNetworksElseTheOneAskedFor) {
  const struct {
    std::optional<TensorNeed> need;
    std::optional<Size> wanted;
    const char* size;  // or the fault
  } cases[] = {
      {{}, Size{32, 15}, "32x15"},
      {TensorNeed{256, 128}, {}, "256x128"},
      {TensorNeed{0, 0}, Size{32, 16}, "32x16"},
      {TensorNeed{0, 127}, {}, "640x127"},
      {TensorNeed{256, 128}, Size{128, 256}, "--size: the network takes 256x128"},
      {TensorNeed{2, 8193}, {}, "--detector: the network takes 2x8193"},
      {TensorNeed{8192, 2}, {}, "8192x2"},
      {TensorNeed{1, 8192}, Size{1, 8192}, "1x8192"},
      {TensorNeed{8193, 2}, {}, "--detector: the network takes 8193x2"},
  };
  TensorOptions options;
  for (const auto& c : cases) {
    std::string size;
    options.size = c.wanted;
    const std::string fault = tn_test::FaultOf<Failure>([&] {
      const Tarn::TensorSpec spec = tensorSpec(options, OneBox({}, c.need));
      size = sizeText({spec.width, spec.height});
      EXPECT_EQ(spec.fit, c.need ? Tarn::Fit::kLetterbox : Tarn::Fit::kStretch);
      EXPECT_EQ(spec.divisor, c.need ? 255 : 1);
    });
    EXPECT_EQ(size + fault.substr(0, fault.find(", and sides must")), c.size);
  }
  // A part of the normalisation makes the rest neutral; other options do not.
  options.size = {};
  options.fit = Tarn::Fit::kCrop;
  EXPECT_EQ(tensorSpec(options, OneBox({}, TensorNeed{0, 0})).divisor, 255);
  options.mean = {1, 2, 3};
  const Tarn::TensorSpec spec = tensorSpec(options, OneBox({}, TensorNeed{0, 0}));
  EXPECT_EQ(spec.divisor, 1);
  EXPECT_EQ(spec.mean[2], 3);
  EXPECT_EQ(spec.fit, Tarn::Fit::kCrop);
  options.order = Tarn::TensorColour::kGray;
  EXPECT_EQ(tn_test::FaultOf<Failure>([&] {
              tensorSpec(options, OneBox({}, TensorNeed{0, 0}));
            }),
            "--order: the network takes three channels");
}

}  // namespace
