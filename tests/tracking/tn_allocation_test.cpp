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

// In a steady state a frame takes the blocks of the matching and of the result, however many boxes;
// tracks take none, whether they are seen, missed or lost in NaNs. All is released with the tracks, and
// with the tracker.
TYPED_TEST(Allocation, AFrameTakesAsManyForManyBoxesAsForOne) {
  const tn_test::RestoreTracking restore;
  tn_test::ManualClock::install();
  for (std::size_t count : {1u, 16u, 400u}) {
    SCOPED_TRACE(count);
    tn_test::Boxes boxes, none;
    for (std::size_t i = 0; i < count; ++i)
      boxes.push_back({static_cast<float>(i % 20), static_cast<float>(i / 20), 0.5f, 0.5f, 0, 0});
    TarnBoundingBoxesTrackerParams params;
    params.maxConfidence = 2;
    setTrackerParams(params);
    const std::size_t held = heldBlocks();
    auto tracker = std::make_unique<TarnBoundingBoxesTracker<TypeParam>>(640, 480);
    tracker->track(boxes);
    for (int frame = 0; frame < 30; ++frame) {
      if (frame == 10 && count == 1) boxes[0] = {kNan, kNan, kNan, kNan, 0, 0};  // matches all
      tn_test::ManualClock::seconds += 0.04;
      const std::size_t before = allocationCount(), bytes = allocatedBytes();
      EXPECT_EQ(tracker->track(frame % 3 == 1 ? none : boxes).size(), count);
      EXPECT_EQ(allocationCount() - before, 3u);
      EXPECT_LT(allocatedBytes() - bytes, 200 * count + 2000) << "grows with the number of pairs";
    }
    for (int frame = 0; frame < 2; ++frame) tracker->track({});
    EXPECT_EQ(heldBlocks() - held, 2u) << "the tracker and its list";
    tracker.reset();
    EXPECT_EQ(heldBlocks(), held);
  }
}

}  // namespace
