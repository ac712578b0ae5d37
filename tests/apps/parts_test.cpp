// Small parts of the tool, whose rules its commands show only in passing: letterboxing, unfinished
// files, interrupts, times.
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <sstream>
#include <thread>
#include <vector>

#include "apps/output/output_file.h"
#include "apps/output/stage_times.h"
#include "apps/support/failure.h"
#include "apps/support/interrupt.h"
#include "apps/tensor/colour_choice.h"
#include "apps/tensor/tensor_maker.h"
#include "tests/apps/tool_test_support.h"
#include "tests/support/test_support.h"

#if !defined(_WIN32)
#include <sys/resource.h>
#endif

namespace {

using namespace tarnkit;

class OutputFileTest : public tn_test::ToolTest {};

TEST_F(OutputFileTest, KeepsWhatWasCompleteAndNothingElse) {
  { OutputFile(path("none")).write("never complete"); }
  EXPECT_FALSE(exists("none"));
  {
    OutputFile file(path("part"));
    file.writeComplete("frame 1\n");
    file.write("frame");
#if !defined(_WIN32)
    // A full disk takes part of a write, and may have space again before the next one.
    turnWriteSignalsIntoErrors();
    rlimit before;
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
    const rlimit few_bytes = {15, before.rlim_max};
    setrlimit(RLIMIT_FSIZE, &few_bytes);
    EXPECT_THROW(file.writeComplete(" 2\n"), Failure);
    setrlimit(RLIMIT_FSIZE, &before);
    EXPECT_THROW(file.writeComplete("frame 3\n"), Failure);
#endif
  }
  EXPECT_EQ(read("part"), "frame 1\n");
  OutputFile file(path("part"));
  file.write("all");
  file.close();
  EXPECT_EQ(read("part"), "all");
}

#if !defined(_WIN32)
// In processes of their own, since an interrupt is never forgotten.
TEST(InterruptDeathTest, TheFirstIsNotedAndTheSecondEndsTheProgram) {
  for (const int number : {SIGINT, SIGTERM}) {
    const auto interrupted = [number](int times) {
      catchInterrupts();
      while (times-- > 0) std::raise(number);
      std::_Exit(exitStatus());
    };
    EXPECT_EXIT(interrupted(1), testing::ExitedWithCode(128 + number), "");
    EXPECT_EXIT(interrupted(2), testing::KilledBySignal(number), "");
  }
}
#endif

TEST(StageTimes, EachStageIsTimedFromTheEndOfTheOneBefore) {
  const auto wait = [](int time) { std::this_thread::sleep_for(std::chrono::milliseconds(time)); };
  StageTimes times({"first", "slow", "last", "never"});
  for (const int slow : {40, 40, 120}) {
    wait(40);  // between frames, which no stage takes
    times.start();
    times.finish(0);
    wait(slow);
    times.finish(1);
    times.finish(2);
  }
  EXPECT_LT(times.median(0), 40.0);
  EXPECT_LT(times.median(2), 40.0);
  EXPECT_EQ(times.median(3), 0.0);
  std::istringstream slow(times.table().substr(times.table().find("slow") + 4));
  double median = 0.0, high = 0.0;
  slow >> median >> high;
  EXPECT_NEAR(median, times.median(1), 0.001);
  EXPECT_GT(median, 39.0);
  EXPECT_GT(high, 118.0);
  EXPECT_EQ(times.table().rfind("\nnever                      -                    -\n"),
            times.table().size() - 51);
}

TEST(StageTimes, CountedDurationsHaveThePercentilesOfTheirValues) {
  EXPECT_EQ(percentile({3.0, 1.0, 2.0}, 50.0), 2.0);
  EXPECT_EQ(percentile({3.0, 1.0, 2.0}, 99.0), 3.0);
  EXPECT_EQ(percentile({7.0}, 1.0), 7.0);
  std::vector<double> values;
  Durations counted;
  for (int i = 0; i < 1000; ++i) {
    values.push_back(1e-5 * std::pow(1.02, i * 7919 % 1000));  // 10 ns to an hour, in no order
    counted.add(values.back());
  }
  EXPECT_NEAR(percentile(values, 99.0) / (1e-5 * std::pow(1.02, 989)), 1.0, 1e-9);
  for (const double percent : {0.1, 1.0, 50.0, 99.0, 100.0})
    EXPECT_NEAR(counted.percentile(percent) / percentile(values, percent), 1.0, 0.01) << percent;
  // What no clock should give finds its place at the ends.
  Durations odd;
  for (const double milliseconds : {-1.0, 0.0, 1e300}) odd.add(milliseconds);
  EXPECT_NEAR(odd.percentile(50.0), 1e-6, 1e-8);
  EXPECT_GT(odd.percentile(100.0), 1e9);
}

TEST(TensorMaker, PicturesKeepTheirShapeInEvenSizes) {
  static const struct {
    int frame_width, frame_height, width, height;
    std::vector<int> wanted;  // left, top, width, height
  } cases[] = {
      {640, 480, 256, 256, {0, 32, 256, 192}}, {480, 640, 256, 256, {32, 0, 192, 256}},
      {64, 48, 256, 128, {43, 0, 170, 128}},   {90, 50, 64, 64, {0, 14, 64, 36}},  // rounded, not cut
      {2, 1000, 64, 64, {31, 0, 2, 64}},       {4000, 2, 64, 32, {0, 15, 64, 2}},
  };
  for (const auto& c : cases) {
    const Placement got =
        placePicture(Fit::kLetterbox, c.frame_width, c.frame_height, c.width, c.height);
    EXPECT_EQ((std::vector<int>{got.left, got.top, got.width, got.height}), c.wanted);
  }
}

TEST(TensorMaker, BarsAreGreyAndThePictureIsTheToolkitsBetweenThem) {
  ColourChoice choice;
  choice.order = Tarn::ChannelOrder::kBgr;
  choice.mean = {0.0f, 10.0f, 20.0f};  // of the planes, whatever colours they hold
  const Tarn::YuvToRgbOptions colour = resolveColour(choice, YuvColour(), 1.0f / 128.0f);
  static constexpr int kSizes[][4] = {{40, 20, 32, 32}, {20, 40, 32, 32}, {40, 20, 32, 16}};
  for (const auto& [frame_width, frame_height, width, height] : kSizes) {
    auto bytes = tn_test::RandomBytes(static_cast<std::size_t>(frame_width * frame_height * 3 / 2));
    const Tarn::checked::Image frame = {{0, TN_PIX_FMT_NV12, frame_width, frame_height, 0, bytes.data()},
                                        bytes.size()};
    TensorMaker letterbox(frame_width, frame_height, width, height, colour, Fit::kLetterbox);
    const Placement at = letterbox.placement();
    TensorMaker whole(frame_width, frame_height, at.width, at.height, colour);
    const float* got = static_cast<const float*>(letterbox.make(frame).data);
    const float* const picture = static_cast<const float*>(whole.make(frame).data);
    for (int channel = 0; channel < 3; ++channel)
      for (int y = -at.top; y < height - at.top; ++y)
        for (int x = -at.left; x < width - at.left; ++x) {
          const bool inside = x >= 0 && x < at.width && y >= 0 && y < at.height;
          ASSERT_EQ(*got++, inside ? picture[(channel * at.height + y) * at.width + x]
                                   : (114.0f - 10.0f * static_cast<float>(channel)) / 128.0f)
              << "channel " << channel << " at " << x << "," << y << " of " << width << "x" << height;
        }
  }
}

}  // namespace
