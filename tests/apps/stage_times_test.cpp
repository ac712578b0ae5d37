#include "apps/output/stage_times.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

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

TEST(StageTimes, CountedDurationsHaveThePercentilesOfTheirValues) {
  std::vector<double> values;
  Durations counted;
  for (int i = 0; i < 1000; ++i) {
    values.push_back(1e-5 * std::pow(1.02, i * 7919 % 1000));  // 10 ns to an hour, in no order
    counted.add(values.back());
  }
  for (const double percent : {0.1, 1.0, 50.0, 99.0, 100.0})
    EXPECT_NEAR(counted.percentile(percent) / percentile(values, percent), 1.0, 0.01) << percent;
  // What no clock should give finds its place at the ends.
  Durations odd;
  for (const double milliseconds : {-1.0, 0.0, 1e300}) odd.add(milliseconds);
  EXPECT_NEAR(odd.percentile(50.0), 1e-6, 1e-8);
  EXPECT_GT(odd.percentile(100.0), 1e9);
}

}  // namespace
