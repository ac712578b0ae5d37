// What tracks allocate in a steady state, nothing for themselves, and what they hold.
#include <gtest/gtest.h>

#include <limits>
#include <memory>

#include "tests/support/allocation_count.h"
#include "tests/tracking/tracking_test_support.h"
#include "tn_boxtracker.h"

namespace {

using namespace Tarn;
using tn_test::allocatedBytes;
using tn_test::allocationCount;
using tn_test::heldBlocks;

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

template <class T>
class Allocation : public testing::Test {};
TYPED_TEST_SUITE(Allocation, tn_test::Filters, tn_test::FilterNames);

// Not even after a NaN.
TYPED_TEST(Allocation, NoneInTheStepsOfATrack) {
  TarnTrackedBoundingBox2D<TypeParam> record({0.1f, 0.1f, 0.2f, 0.2f, 0.5f, 0}, 640, 480);
  const std::size_t before = allocationCount();
  for (int frame = 0; frame < 100; ++frame) {
    if (frame % 3 == 0)
      record.miss();
    else
      record.update(
          {0.1f + 0.001f * static_cast<float>(frame), 0.1f, 0.2f, frame < 50 ? 0.2f : kNan, 0.5f, 0});
  }
  EXPECT_EQ(allocationCount(), before);
}

// In a steady state a frame takes the blocks of the matching and of the result, however many boxes. All
// is released with the tracks, and with the tracker.
TYPED_TEST(Allocation, AFrameTakesAsManyForManyBoxesAsForOne) {
  const tn_test::RestoreTracking restore;
  tn_test::ManualClock::install();
  for (std::size_t count : {1u, 16u, 400u}) {
    SCOPED_TRACE(count);
    tn_test::Boxes boxes;
    for (std::size_t i = 0; i < count; ++i)
      boxes.push_back({static_cast<float>(i % 20), static_cast<float>(i / 20), 0.5f, 0.5f, 0, 0});
    const std::size_t held = heldBlocks();
    auto tracker = std::make_unique<TarnBoundingBoxesTracker<TypeParam>>(640, 480);
    tracker->track(boxes);
    tn_test::ManualClock::seconds += 0.04;
    const std::size_t before = allocationCount(), bytes = allocatedBytes();
    EXPECT_EQ(tracker->track(boxes).size(), count);
    EXPECT_EQ(allocationCount() - before, 3u);
    EXPECT_LT(allocatedBytes() - bytes, 200 * count + 2000) << "grows with the number of pairs";
    tracker->track({});
    EXPECT_EQ(heldBlocks() - held, 2u) << "the tracker and its list";
    tracker.reset();
    EXPECT_EQ(heldBlocks(), held);
  }
}

}  // namespace
