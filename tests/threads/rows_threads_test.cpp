// Every exported routine on eight threads at once: what it gives is what it gives alone. That comes
// after, so that what the libraries set up at their first use is used first by many: the choice of an
// instruction set in each library, the logger, the trackers' clock.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "tests/routines/routine.h"
#include "tests/routines/tracking_rows.h"
#include "tests/support/threads.h"
#include "tn_core.h"

namespace {

using namespace tn_routines;

constexpr int kThreads = 8;

struct Row {
  std::string name;
  std::function<std::uint64_t()> digest;
};

// Sources are the same bytes for all threads; destinations and objects with a state are each thread's
// own.
void expectSameOnThreads(const std::vector<Row>& rows) {
  std::vector<std::vector<std::uint64_t>> together(kThreads, std::vector<std::uint64_t>(rows.size()));
  tn_test::onThreads(kThreads, [&](int thread) {
    // Two threads each begin with the same row.
    const std::size_t first = static_cast<std::size_t>(thread / 2) * rows.size() / (kThreads / 2);
    for (std::size_t i = 0; i < rows.size(); ++i) {
      const std::size_t row = (first + i) % rows.size();
      together[static_cast<std::size_t>(thread)][row] = rows[row].digest();
    }
  });
  for (std::size_t row = 0; row < rows.size(); ++row) {
    const std::uint64_t alone = rows[row].digest();
    for (const auto& digests : together) EXPECT_EQ(digests[row], alone) << rows[row].name;
  }
}

TEST(Threads, RoutinesOnSharedSources) {
  std::vector<Routine> routines = allRoutines();
  std::vector<Row> rows;
  for (Routine& routine : routines) {
    // A sample: ThreadSanitizer takes long.
    std::vector<Numbers> some;
    for (std::size_t i = 0; i < routine.cases.size(); i += 1 + routine.cases.size() / 20)
      some.push_back(routine.cases[i]);
    routine.cases = some;
    rows.push_back(
        {routine.name, [&routine, sources = sourcesOf(routine)] { return digestOf(routine, sources); }});
  }
  rows.push_back({"a tracker by the default clock, log lines", [] {
                    Tarn::TarnBoundingBoxesTracker<Tarn::TarnOneEuroFilterBoxTracker2D> tracker(64, 48);
                    tracker.track({{0.1f, 0.1f, 0.3f, 0.3f, 1.0f, 0}});
                    Tarn::_LogError("Tarn", "used");
                    Tarn::_LogVerbose("Tarn", "not shown");
                    return tracker.track({{0.1f, 0.1f, 0.3f, 0.3f, 1.0f, 0}}).size();
                  }});
  testing::internal::CaptureStderr();
  expectSameOnThreads(rows);
  std::string lines;
  for (int i = 0; i < kThreads + 1; ++i) lines += "E/Tarn: used\n";
  EXPECT_EQ(testing::internal::GetCapturedStderr(), lines);
}

// And the parameters are replaced where the header allows it: while no tracker runs.
TEST(Threads, TrackersOfTheirOwnAndParametersInBetween) {
  const TrackingOfRows tracking;
  std::vector<Row> rows;
  for (const TrackingRow& row : trackingRows()) rows.push_back({row.name, row.digest});
  Tarn::TarnBoundingBoxesTrackerParams params = Tarn::getTrackerParams();
  // Often, since a digest takes less time than a thread's start.
  for (int round = 0; round < 20; ++round) {
    params.fps = round % 2 == 0 ? 25.0f : 50.0f;
    Tarn::setTrackerParams(params);
    expectSameOnThreads(rows);
  }
}

}  // namespace
