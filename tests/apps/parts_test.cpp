// Small parts of the tool, whose rules its commands show only in passing: unfinished files, interrupts,
// times; pictures in memory, where every byte goes, for every layout and for sizes that
// the kernels do not like.
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
#include "apps/pictures/operations.h"
#include "apps/pictures/raw_frame.h"
#include "apps/support/failure.h"
#include "apps/support/interrupt.h"
#include "tests/apps/tool_test_support.h"
#include "tests/reference/colour_reference.h"
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
  for (const int slow : {100, 100, 160}) {
    wait(100);  // between frames, which no stage takes
    times.start();
    times.finish(0);
    wait(slow);
    times.finish(1);
    times.finish(2);
  }
  EXPECT_LT(times.median(0), 80.0);
  EXPECT_LT(times.median(2), 80.0);
  EXPECT_EQ(times.median(3), 0.0);
  std::istringstream slow(times.table().substr(times.table().find("slow") + 4));
  double median = 0.0, high = 0.0;
  slow >> median >> high;
  EXPECT_NEAR(median, times.median(1), 0.001);
  EXPECT_GT(median, 99.0);
  EXPECT_GT(high, 158.0);
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

constexpr PixelLayout kLayouts[] = {PixelLayout::kGray, PixelLayout::kRgb, PixelLayout::kRgba,
                                    PixelLayout::kPlanar};

std::vector<std::uint8_t> randomBytes(std::size_t size) {
  const tn_test::Guarded bytes = tn_test::RandomBytes(size);
  return {bytes.data(), bytes.data() + size};
}

int samplesOf(PixelLayout layout) {
  if (layout == PixelLayout::kGray) return 1;
  return layout == PixelLayout::kRgba ? 4 : 3;
}

Picture randomPicture(int width, int height, PixelLayout layout) {
  return {width, height, layout, randomBytes(byteCount(width, height, samplesOf(layout)))};
}

std::uint8_t sampleAt(const Picture& picture, int x, int y, int sample) {
  const int pixel = y * picture.width + x;
  return picture.bytes.at(static_cast<std::size_t>(picture.layout == PixelLayout::kPlanar
                                                       ? sample * picture.pixels() + pixel
                                                       : samplesOf(picture.layout) * pixel + sample));
}

// Pixel (x, y) of `moved` must be pixel (x0 + xx * x + xy * y, y0 + yx * x + yy * y) of `source`.
struct From {
  int x0, xx, xy, y0, yx, yy;
};
void expectMoved(const Picture& source, const Picture& moved, int width, int height, const From& from) {
  ASSERT_EQ(moved.width, width);
  ASSERT_EQ(moved.height, height);
  ASSERT_EQ(moved.layout, source.layout);
  ASSERT_EQ(moved.bytes.size(), byteCount(width, height, samplesOf(source.layout)));
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x)
      for (int sample = 0; sample < samplesOf(source.layout); ++sample)
        ASSERT_EQ(sampleAt(moved, x, y, sample), sampleAt(source, from.x0 + from.xx * x + from.xy * y,
                                                          from.y0 + from.yx * x + from.yy * y, sample))
            << "(" << x << ", " << y << "), sample " << sample;
}

TEST(PictureOperations, TurnMirrorAndCutPicturesOfAnySize) {
  static constexpr int kSizes[][2] = {{1, 1}, {1, 9}, {7, 1}, {4, 8}, {5, 6}, {13, 3}, {31, 33}};
  for (const auto& [w, h] : kSizes)
    for (const PixelLayout layout : kLayouts) {
      SCOPED_TRACE(testing::Message() << w << "x" << h << ", layout " << static_cast<int>(layout));
      const Picture source = randomPicture(w, h, layout);
      expectMoved(source, turn(source, Turn::kClockwise), h, w, {0, 0, 1, h - 1, -1, 0});
      expectMoved(source, turn(source, Turn::kAnticlockwise), h, w, {w - 1, 0, -1, 0, 1, 0});
      expectMoved(source, mirror(source, Mirror::kHorizontal), w, h, {w - 1, -1, 0, 0, 0, 1});
      expectMoved(source, mirror(source, Mirror::kVertical), w, h, {0, 1, 0, h - 1, 0, -1});
      const Rectangle part = {w / 3, h / 2, w - w / 3, (h + 3) / 4};
      ASSERT_TRUE(isInside(part, source));
      expectMoved(source, cut(source, part), part.width, part.height, {part.x, 1, 0, part.y, 0, 1});
    }
}

TEST(PictureOperations, RectanglesThatReachOutsideAreToldApart) {
  const Picture picture = randomPicture(8, 6, PixelLayout::kGray);
  constexpr int kHuge = 2147483647;
  for (const Rectangle& inside : {Rectangle{0, 0, 8, 6}, {7, 5, 1, 1}})
    EXPECT_TRUE(isInside(inside, picture));
  static constexpr int kOutside[][4] = {
      {0, 0, 9, 6}, {0, 0, 8, 7}, {1, 0, 8, 6},   {0, 1, 8, 6},     {-1, 0, 4, 4},       {0, -1, 4, 4},
      {2, 2, 0, 4}, {2, 2, 4, 0}, {2, 2, -1, -1}, {1, 1, 1, kHuge}, {kHuge, 0, kHuge, 1}};
  for (const auto& [x, y, width, height] : kOutside)
    EXPECT_FALSE(isInside({x, y, width, height}, picture))
        << x << "," << y << "," << width << "," << height;
}

TEST(PictureOperations, LayoutsChangeWithoutMixingColours) {
  constexpr int kWidth = 17, kHeight = 5;
  for (const PixelLayout layout : kLayouts) {
    SCOPED_TRACE(static_cast<int>(layout));
    const Picture source = randomPicture(kWidth, kHeight, layout);
    const Picture rgb = toRgb(source), planar = toPlanar(source), gray = toGray(source);
    const bool is_gray = layout == PixelLayout::kGray;
    for (int y = 0; y < kHeight; ++y)
      for (int x = 0; x < kWidth; ++x) {
        std::uint8_t colours[3];
        for (int c = 0; c < 3; ++c) {
          colours[c] = sampleAt(source, x, y, is_gray ? 0 : c);
          ASSERT_EQ(sampleAt(rgb, x, y, c), colours[c]);
          ASSERT_EQ(sampleAt(planar, x, y, c), colours[c]);
        }
        ASSERT_EQ(sampleAt(gray, x, y, 0),
                  is_gray ? colours[0] : tn_reference::gray(colours[0], colours[1], colours[2]));
      }
  }
}

TEST(RawFrame, EveryPixelTakesTheChromaOfItsOwnBlock) {
  static constexpr int kSizes[][2] = {{2, 2}, {2, 8}, {6, 2}, {34, 18}, {130, 6}};
  for (const auto& [width, height] : kSizes)
    for (const RawFormat format : {RawFormat::kNv12, RawFormat::kNv21, RawFormat::kI420}) {
      SCOPED_TRACE(testing::Message() << width << "x" << height << ", " << static_cast<int>(format));
      const int luma = width * height;
      const std::vector<std::uint8_t> frame = randomBytes(rawFrameBytes(width, height));
      const auto at = [&](int offset) { return frame[static_cast<std::size_t>(offset)]; };
      const Picture picture = decodeRawFrame(format, width, height, frame);
      ASSERT_EQ(picture.layout, PixelLayout::kRgb);
      ASSERT_EQ(picture.bytes.size(), byteCount(width, height, 3));
      for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
          const int block = y / 2 * (width / 2) + x / 2, pair = luma + 2 * block;
          int u = luma + block, v = luma + luma / 4 + block;
          if (format == RawFormat::kNv12) u = pair, v = pair + 1;
          if (format == RawFormat::kNv21) u = pair + 1, v = pair;
          std::uint8_t expected[3];
          tn_reference::yuvToRgb(at(y * width + x), at(u), at(v), expected);
          for (int c = 0; c < 3; ++c)
            ASSERT_EQ(sampleAt(picture, x, y, c), expected[c]) << x << ", " << y << ", colour " << c;
        }
    }
}

}  // namespace
