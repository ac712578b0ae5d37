#include "tn_version.h"

#include <gtest/gtest.h>
#include <hwy/highway.h>

#include <set>
#include <string>

#include "tests/support/test_support.h"

namespace {

TEST(Version, IsTheProjects) { EXPECT_STREQ(Tarn::libraryVersion(), TN_PROJECT_VERSION); }

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

}  // namespace
