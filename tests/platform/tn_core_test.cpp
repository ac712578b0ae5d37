#include "tn_core.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

namespace {

struct Line {
  Tarn::LogLevel level;
  std::string tag, message;
};

void keepLine(Tarn::LogLevel level, const char* tag, const char* message, void* lines) {
  static_cast<std::vector<Line>*>(lines)->push_back({level, tag, message});
}

TEST(Logging, SinkGetsWholeLinesAndVerboseOnesOnlyWhenAskedFor) {
  std::vector<Line> lines;
  Tarn::setLogSink(keepLine, &lines);
  const std::string long_text(5000, 'x');
  Tarn::setVerboseLogging(false);
  Tarn::_LogVerbose("Tarn", "dropped");
  Tarn::_LogError("Tarn", "%s is %d", long_text.c_str(), 7);
  Tarn::setVerboseLogging(true);
  Tarn::_LogVerbose("Cam", "%d%%\n", 50);
  Tarn::_LogError(nullptr, nullptr);
  Tarn::setLogSink(nullptr);
  Tarn::setVerboseLogging(false);

  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(lines[0].level, Tarn::LogLevel::kError);
  EXPECT_EQ(lines[0].tag, "Tarn");
  EXPECT_EQ(lines[0].message, long_text + " is 7");
  EXPECT_EQ(lines[1].level, Tarn::LogLevel::kVerbose);
  EXPECT_EQ(lines[1].tag, "Cam");
  EXPECT_EQ(lines[1].message, "50%");
  EXPECT_EQ(lines[2].tag + lines[2].message, "");
}

TEST(Logging, StandardErrorIsTheDefault) {
  testing::internal::CaptureStderr();
  Tarn::_LogError("Tarn", "no %s", "file");
  Tarn::_LogVerbose("Tarn", "hidden");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "E/Tarn: no file\n");
}

// The variable is read once a process, so each value needs one of its own.
TEST(LoggingDeathTest, TheEnvironmentAsksForVerboseLines) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto log_verbose_with = [](const char* value) {
#if defined(_WIN32)
    _putenv_s("TN_LOG", value);
#else
    setenv("TN_LOG", value, 1);
#endif
    Tarn::_LogVerbose("Tarn", "seen");
    std::exit(0);
  };
  EXPECT_EXIT(log_verbose_with("verbose"), testing::ExitedWithCode(0), "^V/Tarn: seen\\s*$");
  EXPECT_EXIT(log_verbose_with("1"), testing::ExitedWithCode(0), "^$");
}

TEST(Logging, ASinkMayLogAndReplaceItself) {
  Tarn::setLogSink([](Tarn::LogLevel, const char*, const char*, void*) {
    Tarn::_LogError("Tarn", "from inside");
    Tarn::setLogSink(nullptr);
  });
  testing::internal::CaptureStderr();
  Tarn::_LogError("Tarn", "first");
  Tarn::_LogError("Tarn", "second");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "E/Tarn: second\n");
}

TEST(Logging, LinesOfManyThreadsAreNeitherLostNorTorn) {
  constexpr int kThreads = 8, kLines = 200;
  testing::internal::CaptureStderr();
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t)
    threads.emplace_back([t] {
      for (int i = 0; i < kLines; ++i)
        Tarn::_LogError("Tarn", "%s", std::string(100, static_cast<char>('a' + t)).c_str());
    });
  for (std::thread& thread : threads) thread.join();

  const std::string all = testing::internal::GetCapturedStderr();
  std::vector<int> count(kThreads, 0);
  std::size_t start = 0;
  for (std::size_t end; (end = all.find('\n', start)) != std::string::npos; start = end + 1) {
    const std::string line = all.substr(start, end - start);
    ASSERT_EQ(line.size(), 108u) << line;
    ASSERT_EQ(line, "E/Tarn: " + std::string(100, line.back()));
    ++count[static_cast<std::size_t>(line.back() - 'a')];
  }
  EXPECT_EQ(count, std::vector<int>(kThreads, kLines));
}

}  // namespace
