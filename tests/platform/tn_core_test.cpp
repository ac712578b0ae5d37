// Logging: what reaches a sink or standard error, from one thread and from many.
#include "tn_core.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/log_lines.h"
#include "tests/support/threads.h"

namespace {

TEST(Logging, LinesAreWholeAndVerboseOnesOnlyComeWhenAskedFor) {
  const std::string long_text(5000, 'x');
  {
    tn_test::LogLines log(tn_test::LogLines::What::kWholeOfEach);
    Tarn::_LogError("Tarn", "%s is %d", long_text.c_str(), 7);
    Tarn::_LogVerbose("Cam", "%d%%\n", 50);
    Tarn::_LogError(nullptr, nullptr);
    Tarn::setVerboseLogging(false);
    Tarn::_LogVerbose("Tarn", "dropped");
    EXPECT_EQ(log.take(),
              (std::vector<std::string>{"E/Tarn: " + long_text + " is 7", "V/Cam: 50%", "E/: "}));
  }
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
  tn_test::onThreads(kThreads, [](int t) {
    const std::string text(100, static_cast<char>('a' + t));
    for (int i = 0; i < kLines; ++i) Tarn::_LogError("Tarn", "%s", text.c_str());
  });
  std::istringstream all(testing::internal::GetCapturedStderr());
  std::map<std::string, int> count, expected;
  for (std::string line; std::getline(all, line);) ++count[line];
  for (int t = 0; t < kThreads; ++t)
    expected["E/Tarn: " + std::string(100, static_cast<char>('a' + t))] = kLines;
  EXPECT_EQ(count, expected);
}

}  // namespace
