// Every exported routine on eight threads at once: what it gives is what it gives alone.
#include <gtest/gtest.h>

#include <vector>

#include "tests/hashes/digest.h"
#include "tests/support/threads.h"

namespace {

using tn_test::HashRow;

constexpr int kThreads = 8;

std::uint64_t hashOf(const HashRow& row) {
  tn_test::Digest digest;
  row.run(digest);
  return digest.value();
}

// Sources are the same bytes for all threads; destinations and objects with a state are each thread's
// own.
void expectSameOnThreads(const std::vector<HashRow>& rows) {
  std::vector<std::uint64_t> alone;
  for (const HashRow& row : rows) alone.push_back(hashOf(row));

  std::vector<std::vector<std::uint64_t>> together(kThreads, std::vector<std::uint64_t>(rows.size()));
  tn_test::onThreads(kThreads, [&](int thread) {
    // Two threads each begin with the same row.
    const std::size_t first = static_cast<std::size_t>(thread / 2) * rows.size() / (kThreads / 2);
    for (std::size_t i = 0; i < rows.size(); ++i) {
      const std::size_t row = (first + i) % rows.size();
      together[static_cast<std::size_t>(thread)][row] = hashOf(rows[row]);
    }
  });
  for (const auto& hashes : together)
    for (std::size_t row = 0; row < rows.size(); ++row)
      EXPECT_EQ(hashes[row], alone[row]) << rows[row].name;
}

TEST(Threads, KernelsOnSharedSources) {
  std::vector<HashRow> rows = tn_test::pixelRows();
  for (const auto& part : {tn_test::frameRows(), tn_test::platformRows()})
    rows.insert(rows.end(), part.begin(), part.end());
  expectSameOnThreads(rows);
}

// And the parameters are replaced where the header allows it: while no tracker runs.
TEST(Threads, TrackersOfTheirOwnAndParametersInBetween) {
  const tn_test::TrackingOfRows tracking;
  Tarn::TarnBoundingBoxesTrackerParams params = Tarn::getTrackerParams();
  for (const float fps : {25.0f, 50.0f}) {
    params.fps = fps;
    Tarn::setTrackerParams(params);
    expectSameOnThreads(tn_test::trackingRows());
  }
}

}  // namespace
