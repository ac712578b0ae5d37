// Logging: what reaches a sink or standard error, from one thread and from many.
#include "tn_core.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#if !defined(_WIN32)
#include <sys/socket.h>
#include <unistd.h>
#endif

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
    Tarn::_LogError("", "one break goes\n\n");
    Tarn::setVerboseLogging(false);
    Tarn::_LogVerbose("Tarn", "dropped");
    EXPECT_EQ(log.take(), (std::vector<std::string>{"E/Tarn: " + long_text + " is 7", "V/Cam: 50%",
                                                    "E/: ", "E/: one break goes\n"}));
#if !defined(_WIN32)
    Tarn::_LogError("Tarn", "no ASCII: %ls", L"\u00e9");
    EXPECT_EQ(log.take(), std::vector<std::string>{"E/Tarn: no ASCII: %ls"}) << "formatting fails";
#endif
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
  static std::string heard;
  Tarn::setLogSink([](Tarn::LogLevel, const char*, const char*, void*) {
    Tarn::_LogError("Tarn", "from inside");
    const auto keep = [](Tarn::LogLevel, const char*, const char* message, void* user) {
      *static_cast<std::string*>(user) += message;
      Tarn::setLogSink(nullptr);
    };
    Tarn::setLogSink(keep, &heard);
  });
  testing::internal::CaptureStderr();
  for (const char* line : {"first", "second", "third"}) Tarn::_LogError("Tarn", "%s", line);
  EXPECT_EQ(heard, "second");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "E/Tarn: third\n");
}

// Only one thread is in the sink, none when it has been replaced, and no line is lost on the way.
TEST(Logging, SinksAreLeftBeforeTheyAreReplaced) {
  constexpr int kThreads = 8, kLines = 3;
  struct Sink {
    std::atomic<int> inside{0}, most{0}, lines{0};
  } sink;
  const auto linger = [](Tarn::LogLevel, const char*, const char* message, void* user) {
    Sink& self = *static_cast<Sink*>(user);
    if (++self.inside > self.most) self.most = self.inside.load();
    self.lines += message == std::string(100, message[0]);
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    --self.inside;
  };
  Tarn::setLogSink(linger, &sink);
  testing::internal::CaptureStderr();
  tn_test::onThreads(kThreads + 1, [&](int i) {
    const std::string text(100, static_cast<char>('a' + i));
    for (int line = 0; i < kThreads && line < kLines; ++line) Tarn::_LogError("", "%s", text.c_str());
    if (i < kThreads) return;
    while (sink.lines < kThreads) std::this_thread::yield();
    Tarn::setLogSink(nullptr);
    EXPECT_EQ(sink.inside, 0);
  });
  const std::string others = testing::internal::GetCapturedStderr();
  EXPECT_EQ(sink.lines + std::count(others.begin(), others.end(), '\n'), kThreads * kLines);
  EXPECT_EQ(sink.most, 1);
}

#if !defined(_WIN32)
// Each write to this socket arrives as a message of its own.
TEST(Logging, ALineIsOneWrite) {
  int ends[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_DGRAM, 0, ends), 0);
  const int standard_error = dup(STDERR_FILENO);
  dup2(ends[0], STDERR_FILENO);
  Tarn::_LogError("Tarn", "%s", std::string(5000, 'x').c_str());
  dup2(standard_error, STDERR_FILENO);
  char message[6000];
  EXPECT_EQ(recv(ends[1], message, sizeof message, MSG_DONTWAIT), 5009);
  for (const int file : {ends[0], ends[1], standard_error}) close(file);
}
#endif

}  // namespace
