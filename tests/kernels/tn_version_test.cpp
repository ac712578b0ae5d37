#include "tn_version.h"

#include <gtest/gtest.h>
#include <hwy/highway.h>

#include <cstdio>
#include <set>
#include <string>

#include "tests/support/test_support.h"

namespace {

TEST(Version, NamesTheInstructionSetThatTheKernelsUse) {
  std::set<std::string> names;
  tn_test::ForEachTarget([&] {
    const std::int64_t best = hwy::SupportedTargets() & HWY_TARGETS;
    EXPECT_STREQ(Tarn::instructionSet(), hwy::TargetName(best & -best));
    names.insert(Tarn::instructionSet());
  });
  const std::int64_t all = hwy::SupportedTargets() & HWY_TARGETS;
  EXPECT_EQ(names.size(), hwy::PopCount(static_cast<std::uint64_t>(all)));
}

TEST(Version, HasThreeNumbers) {
  int major = -1, minor = -1, patch = -1, end = 0;
  ASSERT_EQ(std::sscanf(Tarn::libraryVersion(), "%d.%d.%d%n", &major, &minor, &patch, &end), 3);
  EXPECT_EQ(Tarn::libraryVersion()[end], '\0');
  EXPECT_GT(major + minor + patch, 0);
}

}  // namespace
