// Linked against the library as a caller links it: every exported class is used once.
#include <gtest/gtest.h>

#include "tests/tracking/tracking_test_support.h"
#include "tn_boxtracker.h"
#include "tn_kalmanfilter.h"

namespace {

using namespace Tarn;

template <class T>
class Exports : public testing::Test {};
TYPED_TEST_SUITE(Exports, tn_test::Filters, tn_test::FilterNames);

TYPED_TEST(Exports, Link) {
  const tn_test::RestoreTracking restore;
  setTrackerParams(getTrackerParams());
  const TarnBoundingBox2D box = {0.25f, 0.25f, 0.5f, 0.5f, 0.75f, 3};
  TarnTrackedBoundingBox2D<TypeParam> record(box, 64, 64);
  record.update(box);
  EXPECT_TRUE(record.isValid());
  record.miss();
  EXPECT_FALSE(record.isAlive());
  record.tracker.reset();
  record.update({0.125f, 0, 1, 1, 0, 3});
  EXPECT_EQ(record.x, 0.125f) << "unfiltered without a filter";

  TarnBoundingBoxesTracker<TypeParam> tracker(64, 64), copy(tracker);
  copy = tracker;
  EXPECT_EQ(copy.track({box}).size(), 1u);
  TarnIdentifiedBoxesTracker<TypeParam> identified(copy), fresh(64, 64);
  fresh = identified;
  EXPECT_EQ(fresh.track({box}).at(0).id, 1);

  KalmanFilter filter(2, 1, 1);
  filter.init(3, 1, 0);
  EXPECT_EQ(filter.correct(Eigen::MatrixXf::Zero(1, 1)), filter.predict());
}

}  // namespace
