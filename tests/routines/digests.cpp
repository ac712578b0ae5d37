// The outputs of every routine of the table, and of the trackers, as one number each: the same on every
// system and on every instruction set.
//
//   digests            prints them, in the form of expected.txt
//   digests FILE       compares them with FILE; exit status 1 and a line for each difference
#include <hwy/highway.h>
#include <hwy/targets.h>

#include <cinttypes>
#include <cstdio>
#include <fstream>
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

// Lines "name digest"; the name has blanks where a row has.
Digests readDigests(std::ifstream& in) {
  Digests digests;
  for (std::string line; std::getline(in, line);) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    const std::size_t blank = line.rfind(' ');
    if (blank != std::string::npos) digests[line.substr(0, blank)] = line.substr(blank + 1);
  }
  return digests;
}

int compare(const Digests& got, const char* file) {
  std::ifstream in(file);
  if (!in) {
    std::fprintf(stderr, "digests: %s: cannot be read\n", file);
    return 1;
  }
  const Digests want = readDigests(in);
  int differences = 0;
  for (const auto& [name, digest] : got) {
    const auto line = want.find(name);
    if (line != want.end() && line->second == digest) continue;
    std::printf("%s: %s, expected %s\n", name.c_str(), digest.c_str(),
                line == want.end() ? "nothing" : line->second.c_str());
    ++differences;
  }
  for (const auto& [name, digest] : want)
    if (got.count(name) == 0) {
      std::printf("%s: missing\n", name.c_str());
      ++differences;
    }
  std::printf("%zu digests, %d differences\n", got.size(), differences);
  return differences == 0 ? 0 : 1;
}

}  // namespace
}  // namespace tn_routines

int main(int argument_count, char** arguments) {
  const tn_routines::Digests digests = tn_routines::computeDigests();
  if (argument_count == 2) return tn_routines::compare(digests, arguments[1]);
  for (const auto& [name, digest] : digests) std::printf("%s %s\n", name.c_str(), digest.c_str());
  return 0;
}
