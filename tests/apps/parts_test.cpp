// Small parts of the tool, whose rules its commands show only in passing: letterboxing, unfinished
// files, percentiles.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "apps/output/output_file.h"
#include "apps/output/stage_times.h"
#include "apps/tensor/tensor_maker.h"
#include "tests/apps/tool_test_support.h"
#include "tests/support/test_support.h"

namespace {

using namespace tarnkit;

class OutputFileTest : public tn_test::ToolTest {};

TEST_F(OutputFileTest, KeepsWhatWasCompleteWhenAbandoned) {
  {
    OutputFile file(path("part"));
    file.writeComplete("frame 1\n");
    file.write("frame");
  }
  EXPECT_EQ(read("part"), "frame 1\n");
  { OutputFile(path("none")).write("never complete"); }
  EXPECT_FALSE(exists("none"));
  OutputFile file(path("part"));
  file.write("all");
  file.close();
  EXPECT_EQ(read("part"), "all");
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
  Tarn::YuvToRgbOptions colour;
  for (std::size_t i = 0; i < 3; ++i) {
    colour.mean[i] = 10.0f * static_cast<float>(i);
    colour.scale[i] = 1.0f / 128.0f;
  }
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
