// Identities and copies: what outlives a frame. Linked as a caller links the library.
#include <gtest/gtest.h>

#include "tests/tracking/tracking_test_support.h"
#include "tn_boxtracker.h"

namespace {

using namespace Tarn;
using namespace tn_test;
using Kalman = TarnKalmanFilterBoxTracker2D;
using Identified = TarnIdentifiedBoxesTracker<Kalman>;

// Box number n of a 64 x 64 grid of boxes that never touch.
TarnBoundingBox2D cell(std::size_t n) {
  const float x = static_cast<float>(n % 64), y = static_cast<float>(n / 64);
  return {x / 64.0f, y / 64.0f, 0.5f / 64.0f, 0.5f / 64.0f, 0.0f, static_cast<int>(n)};
}

std::vector<std::int64_t> idsOf(const std::vector<TarnIdentifiedBox>& boxes) {
  std::vector<std::int64_t> ids;
  for (const auto& box : boxes) ids.push_back(box.id);
  return ids;
}

TEST(IdentifiedBoxes, CountFromTheTracksOfATracker) {
  TarnBoundingBoxesTracker<Kalman> plain(640, 640);
  plain.track({cell(0), cell(9), cell(20)});
  plain.track({cell(20), cell(9), cell(40)});  // cell 0 is gone
  Identified first(plain);
  using Ids = std::vector<std::int64_t>;
  EXPECT_EQ(idsOf(first.track({cell(40), cell(50), cell(20)})), (Ids{2, 3, 4}));  // 1 was cell 9
  Identified copy = first;
  EXPECT_EQ(idsOf(first.track({cell(50), cell(60)})), (Ids{4, 5}));
  EXPECT_EQ(idsOf(copy.track({cell(50), cell(70), cell(71)})), (Ids{4, 5, 6}));
}

template <class T>
class BothFilters : public testing::Test {};
TYPED_TEST_SUITE(BothFilters, tn_test::Filters, tn_test::FilterNames);

// A copy is the same filter under another name, until one of the two is initialised again.
TYPED_TEST(BothFilters, CopiesOfABoxTrackerShareItsFilter) {
  const RestoreTracking restore;
  ManualClock::install();
  // Copies that are never destroyed: every destructor would release the filter that they share.
  alignas(TypeParam) static unsigned char memory[3][sizeof(TypeParam)];
  TypeParam tracker(640, 480), alone(640, 480), again(640, 480);
  tracker.init(0.1f, 0.1f, 0.2f, 0.2f);
  alone.init(0.1f, 0.1f, 0.2f, 0.2f);
  auto* const copy = new (memory[0]) TypeParam(tracker);
  auto* const assigned = new (memory[1]) TypeParam(64, 48);
  assigned->init(0.5f, 0.5f, 0.2f, 0.2f);
  auto* const before = new (memory[2]) TypeParam(*assigned);
  *assigned = tracker;
  TypeParam* const names[] = {&tracker, copy, assigned};
  for (int i = 0; i < 20; ++i) {
    ManualClock::seconds = 0.04 * i;
    const float moved = 0.1f + 0.01f * static_cast<float>(i);
    const PlainBox box = {moved, moved, 0.2f, 0.2f};
    ASSERT_TRUE(sameBits(tracked(*names[i % 3], box), tracked(alone, box))) << i;
  }
  tracker.init(0.5f, 0.5f, 0.2f, 0.2f);
  again.init(0.5f, 0.5f, 0.2f, 0.2f);
  EXPECT_TRUE(sameBits(predicted(tracker), predicted(again)));
  for (TypeParam* const earlier : {copy, assigned})
    EXPECT_TRUE(sameBits(predicted(*earlier), predicted(alone))) << "it lives on";
  EXPECT_EQ(predicted(*before).x, 0.5f) << "and so does the one replaced";
}

TYPED_TEST(BothFilters, CopiesShareTracksButNotLists) {
  const RestoreTracking restore;
  ManualClock::install();
  const Boxes start = {{0.25f, 0.25f, 0.25f, 0.25f, 0.1f, 0}},
              more = {start[0], {0, 0, 0.125f, 0.125f, 0, 0}};
  TarnBoundingBoxesTracker<TypeParam> tracker(500, 300);
  tracker.track(start);
  TarnBoundingBoxesTracker<TypeParam> copy(tracker), assigned(1, 1);
  EXPECT_EQ(&(assigned = tracker), &assigned);
  Boxes brighter = more;
  brighter[0].score = 0.9f;
  EXPECT_EQ(copy.track(brighter).size(), 2u);  // a birth in the copy's list only
  EXPECT_EQ(assigned.track({}).size(), 0u);    // ends the shared track in this list
  EXPECT_EQ(tracker.track({}).size(), 0u);
  // There it is still held, but two misses down: one match does not save it.
  const Boxes last = copy.track(brighter);
  ASSERT_EQ(last.size(), 1u);
  EXPECT_EQ(last[0].w, more[1].w);
  // Births after that are those of the same frame size.
  for (TarnBoundingBoxesTracker<TypeParam>* const other : {&copy, &assigned}) {
    TarnBoundingBoxesTracker<TypeParam> fresh(500, 300);
    other->track({});
    for (const float x : {0.1f, 0.13f, 0.19f}) {
      const Boxes boxes = {{x, x, 0.21f, 0.23f, 0.5f, 0}};
      EXPECT_TRUE(sameBoxes(other->track(boxes), fresh.track(boxes))) << x;
    }
  }
}

TYPED_TEST(BothFilters, ARecordWithoutFilterTakesBoxesAsTheyAre) {
  TarnTrackedBoundingBox2D<TypeParam> record(cell(0), 640, 640);
  record.tracker.reset();
  record.update({0.125f, 0.25f, 0.5f, 0.5f, 0.75f, 0});
  EXPECT_TRUE(record.isValid());
  record.miss();
  EXPECT_FALSE(record.isAlive());
  EXPECT_TRUE(sameBox(record, {0.125f, 0.25f, 0.5f, 0.5f, 0.75f, 0}));
}

}  // namespace
