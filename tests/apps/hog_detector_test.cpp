// The detector's own rules; that it finds figures is shown with the run command.
#include "apps/detectors/hog_detector.h"

#include <gtest/gtest.h>

namespace {

using namespace tarnkit;

TEST(HogDetector, KeepsTheBestOfBoxesThatShareAPerson) {
  // A is best; B covers most of A; C lies wholly in A; D stands beside A; E touches D only.
  const std::vector<Tarn::TarnBoundingBox2D> boxes = {{0.12f, 0.1f, 0.1f, 0.3f, 0.5f, 0},
                                                      {0.10f, 0.1f, 0.1f, 0.3f, 0.9f, 0},
                                                      {0.12f, 0.2f, 0.05f, 0.1f, 0.8f, 0},
                                                      {0.16f, 0.1f, 0.1f, 0.3f, 0.7f, 0},
                                                      {0.26f, 0.1f, 0.1f, 0.3f, 0.6f, 0}};
  std::vector<float> kept;
  for (const Tarn::TarnBoundingBox2D& box : keepBest(boxes, 0.55f)) kept.push_back(box.score);
  EXPECT_EQ(kept, (std::vector<float>{0.9f, 0.7f, 0.6f}));
}

TEST(HogDetector, FindsNothingInPicturesTooSmallForAPerson) {
  HogDetector detector{HogOptions()};
  std::vector<std::uint8_t> pixels(32 * 16 * 3 / 2, 128);
  const _TN_Image frame = {0, TN_PIX_FMT_NV12, 32, 16, 0, pixels.data()};
  EXPECT_TRUE(detector.detect({1, frame, frame, {0, 0, 32, 16}}).empty());
}

}  // namespace
