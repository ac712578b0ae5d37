// The outputs of every routine of the table, and of the trackers, as one number each: the same on every
// system and on every instruction set. A test compares what this prints with expected.txt.
#include <hwy/highway.h>
#include <hwy/targets.h>

#include <cinttypes>
#include <cstdio>
#include <map>

#include "tests/routines/routine.h"
#include "tests/routines/tracking_rows.h"

namespace tn_routines {
namespace {

using Digests = std::map<std::string, std::string>;

// Of all rows by name; a set that gives another digest adds one under "name on SET".
Digests computeDigests() {
  Digests digests;
  const auto add = [&](const std::string& name, std::int64_t target, std::uint64_t value) {
    char text[17];
    std::snprintf(text, sizeof text, "%016" PRIx64, value);
    const auto [known, is_new] = digests.emplace(name, text);
    if (!is_new && known->second != text) digests[name + " on " + hwy::TargetName(target)] = text;
  };
  const TrackingOfRows tracking;
  for (std::int64_t rest = hwy::SupportedTargets() & HWY_TARGETS; rest != 0; rest &= rest - 1) {
    const std::int64_t target = rest & -rest;
    hwy::SetSupportedTargetsForTest(target);
    hwy::GetChosenTarget().Update(hwy::SupportedTargets());
    for (const Routine& routine : allRoutines())
      add(routine.name, target, digestOf(routine, sourcesOf(routine)));
    for (const TrackingRow& row : trackingRows()) add(row.name, target, row.digest());
    hwy::SetSupportedTargetsForTest(0);
  }
  return digests;
}

}  // namespace
}  // namespace tn_routines

int main() {
  for (const auto& [name, digest] : tn_routines::computeDigests())
    std::printf("%s %s\n", name.c_str(), digest.c_str());
  return 0;
}
