#include "apps/output/stage_times.h"

#include <gtest/gtest.h>

namespace {

using namespace tarnkit;

TEST(StageTimes, PercentilesAreNearestRanks) {
  const std::vector<double> hundred = [] {
    std::vector<double> values;
    for (int i = 100; i >= 1; --i) values.push_back(i);
    return values;
  }();
  EXPECT_EQ(percentile(hundred, 50.0), 50.0);
  EXPECT_EQ(percentile(hundred, 99.0), 99.0);
  EXPECT_EQ(percentile(hundred, 100.0), 100.0);
  EXPECT_EQ(percentile({3.0, 1.0, 2.0}, 50.0), 2.0);
  EXPECT_EQ(percentile({3.0, 1.0, 2.0}, 99.0), 3.0);
  EXPECT_EQ(percentile({7.0}, 1.0), 7.0);
}

}  // namespace
