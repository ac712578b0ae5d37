#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "tests/support/threads.h"
#include "tn_core.h"

namespace {

constexpr int kThreads = 8, kLines = 300;

// Lines by the thread that logged them.
struct Heard {
  std::vector<int> lines = std::vector<int>(kThreads);
  int torn = 0;

  static void keep(Tarn::LogLevel level, const char*, const char* message, void* self) {
    if (level == Tarn::LogLevel::kVerbose) return;
    Heard& heard = *static_cast<Heard*>(self);
    const std::string line = message;
    if (line == std::string(100, line[0]))
      ++heard.lines[static_cast<std::size_t>(line[0] - 'a')];
    else
      ++heard.torn;
  }
};

// A sink may be gone as soon as another has its place, and none of the lines is lost on the way.
TEST(Threads, SinksChangeWhileOthersLog) {
  std::vector<int> lines(kThreads);
  int torn = 0, sinks = 0;
  auto heard = std::make_unique<Heard>();
  Tarn::setLogSink(Heard::keep, heard.get());
  std::atomic<int> logging{kThreads};
  const auto change = [&](std::unique_ptr<Heard> next) {
    Tarn::setLogSink(next ? Heard::keep : nullptr, next.get());
    for (std::size_t i = 0; i < lines.size(); ++i) lines[i] += heard->lines[i];
    torn += heard->torn;
    ++sinks;
    heard = std::move(next);
  };
  tn_test::onThreads(kThreads + 1, [&](int thread) {
    if (thread == kThreads) {
      while (logging.load() > 0 || sinks < 3) {
        change(std::make_unique<Heard>());
        Tarn::setVerboseLogging(sinks % 2 == 0);
      }
      return;
    }
    const std::string text(100, static_cast<char>('a' + thread));
    for (int i = 0; i < kLines; ++i) {
      Tarn::_LogError("Tarn", "%s", text.c_str());
      Tarn::_LogVerbose("Tarn", "now and then");
    }
    --logging;
  });
  Tarn::setVerboseLogging(false);
  change(nullptr);
  EXPECT_EQ(lines, std::vector<int>(kThreads, kLines));
  EXPECT_EQ(torn, 0);
}

}  // namespace
