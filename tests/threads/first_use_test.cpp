// What the libraries set up at their first use, used first by eight threads at once: the choice of an
// instruction set in each library, the logger, the trackers' clock.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/threads.h"
#include "tn_boxtracker.h"
#include "tn_cnn.h"
#include "tn_core.h"
#include "tn_cv.h"

namespace {

using Bytes = std::vector<unsigned char>;

constexpr int kThreads = 8, kWidth = 64, kHeight = 48;

struct Outputs {
  Bytes gray = Bytes(kWidth * kHeight), half = Bytes(kWidth * kHeight / 4);
  std::vector<float> planes;
  std::size_t boxes = 0;
};

Outputs useAll(const Bytes& rgb) {
  Outputs out;
  TarnCPU::getGray_from_RGB_HWC(rgb.data(), out.gray.data(), kWidth * kHeight);
  TarnCPU::resize_bilinear_c1(rgb.data(), kWidth, kHeight, out.half.data(), kWidth / 2, kHeight / 2);
  const TarnCPU::Mat tensor = TarnCPU::Mat::from_pixels(rgb.data(), 1, kWidth, kHeight);
  const float* const planes = static_cast<const float*>(tensor.data);
  out.planes.assign(planes, planes + tensor.total());
  Tarn::TarnBoundingBoxesTracker<Tarn::TarnOneEuroFilterBoxTracker2D> tracker(kWidth, kHeight);
  for (int frame = 0; frame < 3; ++frame)
    out.boxes +=
        tracker.track({{0.1f, 0.1f, 0.3f, 0.3f, 1.0f, 0}, {0.6f, 0.6f, 0.3f, 0.3f, 1.0f, 1}}).size();
  Tarn::_LogError("Tarn", "used");
  Tarn::_LogVerbose("Tarn", "not shown");
  return out;
}

TEST(FirstUse, OfEverythingOnManyThreads) {
  Bytes rgb(3 * kWidth * kHeight);
  for (std::size_t i = 0; i < rgb.size(); ++i) rgb[i] = static_cast<unsigned char>(i * i >> 3);
  std::vector<Outputs> together(kThreads);
  testing::internal::CaptureStderr();
  tn_test::onThreads(kThreads,
                     [&](int thread) { together[static_cast<std::size_t>(thread)] = useAll(rgb); });
  std::string lines;
  for (int thread = 0; thread < kThreads; ++thread) lines += "E/Tarn: used\n";
  EXPECT_EQ(testing::internal::GetCapturedStderr(), lines);

  const Outputs alone = useAll(rgb);
  for (const Outputs& out : together) {
    EXPECT_EQ(out.gray, alone.gray);
    EXPECT_EQ(out.half, alone.half);
    EXPECT_EQ(out.planes, alone.planes);
    EXPECT_EQ(out.boxes, 6u);
  }
}

}  // namespace
