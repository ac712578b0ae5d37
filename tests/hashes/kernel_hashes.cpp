// The outputs of every exported routine on fixed inputs, as one hash a routine: the same on every system
// and on every instruction set.
//
//   kernel_hashes            prints the hashes, in the form of expected.txt
//   kernel_hashes FILE       compares them with FILE; exit status 1 and a line for each difference
//
// A new routine takes a row in one of the *_rows.cpp and a line in expected.txt.
#include <hwy/highway.h>
#include <hwy/targets.h>

#include <cinttypes>
#include <cstdio>
#include <fstream>
#include <map>
#include <string>

#include "tests/hashes/digest.h"

namespace tn_test {
namespace {

// The hashes of all rows by name; a set that gives another hash adds one under "name on SET".
std::map<std::string, std::string> computeHashes() {
  std::map<std::string, std::string> hashes;
  const TrackingOfRows tracking;
  std::vector<HashRow> rows;
  for (const auto& part : {pixelRows(), frameRows(), platformRows(), trackingRows()})
    rows.insert(rows.end(), part.begin(), part.end());
  for (std::int64_t rest = hwy::SupportedTargets() & HWY_TARGETS; rest != 0; rest &= rest - 1) {
    const std::int64_t target = rest & -rest;
    hwy::SetSupportedTargetsForTest(target);
    hwy::GetChosenTarget().Update(hwy::SupportedTargets());
    for (const HashRow& row : rows) {
      Digest digest;
      row.run(digest);
      char text[17];
      std::snprintf(text, sizeof text, "%016" PRIx64, digest.value());
      const auto [known, is_new] = hashes.emplace(row.name, text);
      if (!is_new && known->second != text)
        hashes[std::string(row.name) + " on " + hwy::TargetName(target)] = text;
    }
    hwy::SetSupportedTargetsForTest(0);
  }
  return hashes;
}

// Lines "name hash"; the name has blanks where a row has.
std::map<std::string, std::string> readHashes(std::ifstream& in) {
  std::map<std::string, std::string> hashes;
  for (std::string line; std::getline(in, line);) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    const std::size_t blank = line.rfind(' ');
    if (blank != std::string::npos) hashes[line.substr(0, blank)] = line.substr(blank + 1);
  }
  return hashes;
}

int compare(const std::map<std::string, std::string>& got, const char* file) {
  std::ifstream in(file);
  if (!in) {
    std::fprintf(stderr, "kernel_hashes: %s: cannot be read\n", file);
    return 1;
  }
  const std::map<std::string, std::string> want = readHashes(in);
  int differences = 0;
  for (const auto& [name, hash] : got) {
    const auto line = want.find(name);
    if (line != want.end() && line->second == hash) continue;
    std::printf("%s: %s, expected %s\n", name.c_str(), hash.c_str(),
                line == want.end() ? "nothing" : line->second.c_str());
    ++differences;
  }
  for (const auto& [name, hash] : want)
    if (got.count(name) == 0) {
      std::printf("%s: missing\n", name.c_str());
      ++differences;
    }
  std::printf("%zu hashes, %d differences\n", got.size(), differences);
  return differences == 0 ? 0 : 1;
}

}  // namespace
}  // namespace tn_test

int main(int argument_count, char** arguments) {
  const std::map<std::string, std::string> hashes = tn_test::computeHashes();
  if (argument_count == 2) return tn_test::compare(hashes, arguments[1]);
  for (const auto& [name, hash] : hashes) std::printf("%s %s\n", name.c_str(), hash.c_str());
  return 0;
}
