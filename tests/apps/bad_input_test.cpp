// What the tool says and leaves behind when it cannot do what it was asked to.
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <thread>

#include "tests/apps/tool_test_support.h"

#if !defined(_WIN32)
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace {

using tarnkit::MotFrames;
using tarnkit::readMotFrames;
using tn_test::countFrames;
using tn_test::isOneLineWith;
using tn_test::Refusal;
using tn_test::ToolResult;
using tn_test::ToolTest;

class BadInput : public ToolTest {};

TEST_F(BadInput, DetectionLinesThatDoNotParseAreNamed) {
  struct Case {
    const char *line, *fault;
  };
  static const Case cases[] = {
      {"hello", "has 1 of the 7 fields"},
      {"hello,-1,10,10,5,5,1", "field 1 (frame) is 'hello', not a number"},
      {"2,-1,10,10,5,5", "has 6 of the 7 fields"},
      {"2;-1;10;10;5;5;1", "has 1 of the 7 fields"},
      {"2,-1,10,abc,5,5,1", "field 4 (top) is 'abc', not a number"},
      {"2,-1,10,10px,5,5,1", "field 4 (top) is '10px', not a number"},
      {"2,-1,,10,5,5,1", "field 3 (left) is '', not a number"},
      {"2,-1,nan,10,5,5,1", "field 3 (left) is 'nan', out of range"},
      {"2,-1,1e999,10,5,5,1", "field 3 (left) is '1e999', out of range"},
      {"2,-1,-1000000.1,10,5,5,1", "field 3 (left) is '-1000000.1', more than a million pixels"},
      {"2,-1,10,10,0,5,1", "field 5 (width) is '0', not above 0"},
      {"2,-1,10,10,5,-5,1", "field 6 (height) is '-5', not above 0"},
      {"2,-1,10,10,5,5,1e300", "field 7 (score) is '1e300', out of range"},
      {"0,-1,10,10,5,5,1", "field 1 (frame) is '0', not a whole number from 1 on"},
      {"1.5,-1,10,10,5,5,1", "field 1 (frame) is '1.5', not a whole number from 1 on"},
      {"99999999999,-1,10,10,5,5,1", "field 1 (frame) is '99999999999'"},
      {"2,0.5,10,10,5,5,1", "field 2 (id) is '0.5', not a whole number"},
      {"2,-1,10,\x01\x7F\t\v,5,5,1", "field 4 (top) is '', not a number"},
  };
  write("out.txt", "nothing will be computed, so nothing may be replaced");
  for (const Case& c : cases) {
    write("det.txt", std::string("1,-1,10,10,5,5,1\n\n") + c.line + "\n4,-1,10,10,5,5,1\n");
    expectRefused("track det.txt --frame 640x480 -o out.txt",
                  {{"", std::string("tarnkit: det.txt:3: ") + c.fault}});
  }
}

TEST_F(BadInput, FaultsAreOneLineAndStatusOne) {
  makeSample(3);
  write("notes.txt", "These are notes.\n");
  write("empty.mp4", "");
  write("gap.txt", "1,-1,10,10,5,5,1\n2000000000,-1,10,10,5,5,1\n3,-1,10,10,5,5,1\n");
  write("head.mp4", read("walk.mp4").substr(0, 200));
  const std::vector<Refusal> refusals = {
      {"track nofile.txt --frame 640x480 -o out",
       "nofile.txt: cannot be read: No such file or directory"},
      {"track . --frame 640x480 -o out", ".: cannot be read: Is a directory"},
      {"track walk.txt --frame 0x480 -o out", "--frame: 0x480: "},
      {"track walk.txt --frame 640x-1 -o out", "--frame: 640x-1: "},
      {"track walk.txt --frame 640x480 -o no/where", "no/where: cannot be written: No such file"},
      {"track gap.txt --frame 640x480 --lost-threshold -100 -o out",
       "gap.txt: no boxes between frames 3 and 2000000000: "},
      {"run nofile.mp4", "nofile.mp4: cannot be read: No such file or directory"},
      {"run notes.txt", "notes.txt: is not a video"},
      {"run empty.mp4", "empty.mp4: "},
      {"run head.mp4", "head.mp4: "},
      {"run walk.mp4 --detector mot:nofile.txt", "nofile.txt: cannot be read: No such file"},
      {"run walk.mp4 --detector mot:notes.txt", "notes.txt:1: "},
      {"run walk.mp4 --size 0x0", "--size: 0x0: "},
      {"run walk.mp4 --size 63x64", "--size: 63x64: width and height must be even"},
      {"run walk.mp4 --frames 0", "--frames: 0: "},
      {"run walk.mp4 --fps -3", "tracker parameters: fps "},
      {"run walk.mp4 --hog-smallest 0", "--hog-smallest: "},
      {"run walk.mp4 -o walk.mp4", "walk.mp4: is the input"},
      {"run walk.mp4 --detector mot:walk.txt --tracks ./walk.txt", "./walk.txt: is the input"},
      {"track walk.txt --frame 640x480 -o walk.txt", "walk.txt: is the input"},
      {"run walk.mp4 -o ./out --tracks out", "out: is given for two outputs"},
      {"run walk.mp4 --tensors walk.txt", "walk.txt: cannot be made: "},
      {"tensor walk.mp4 --frame 4 --size 64x64 -o out", "walk.mp4: has 3 frames, no frame 4"},
      {"tensor walk.mp4 --frame 0 --size 64x64 -o out", "--frame: 0: "},
      {"tensor walk.mp4 --size 64x64 --scale 1,inf,1 -o out", "--scale: "},
      {"sample out --detections out.txt --frame 641x480", "--frame: 641x480: "},
      {"sample out --detections out.txt --frames 0", "--frames: 0: "},
  };
  expectRefused("", refusals);
}

// Two noises of 0 leave the Kalman filter nothing to divide by, from the second frame of a track on.
TEST_F(BadInput, FramesBeforeTheFilterBrokeDownStayWhole) {
  makeSample(5);
  static const char* const commands[] = {
      "track walk.txt --frame 320x240 -o out.txt",
      "run walk.mp4 --detector mot:walk.txt --tracks out.txt -o out.mp4",
  };
  for (const char* command : commands) {
    SCOPED_TRACE(command);
    const ToolResult result = tool(std::string(command) + " --process-noise 0 --measurement-noise 0");
    EXPECT_EQ(result.status, 1);
    EXPECT_TRUE(isOneLineWith(result.err, "make the filter singular: in frame 2 the box of track 1 "));
    const MotFrames frames = readMotFrames(path("out.txt"));
    ASSERT_EQ(frames.size(), 1u);
    EXPECT_EQ(frames.at(1).size(), 4u);
  }
  EXPECT_EQ(countFrames(path("out.mp4")), 1);
}

// A read that fails midway takes nothing of what was read before, and all outputs are finished.
TEST_F(BadInput, FramesBeforeAReadErrorAreAllUsed) {
  makeSample(40);
  const std::string video = read("walk.mp4");
  std::size_t cut = 0;  // within the header of a fragment, which a pipe's reader cannot pass over
  for (int fragment = 0; fragment <= 30; ++fragment) cut = video.find("tfhd", cut + 1);
  write("cut.mp4", video.substr(0, cut + 8));
  const ToolResult result =
      tool("run - --detector mot:walk.txt --tracks out.txt --contact-sheet out.png <cut.mp4");
  EXPECT_EQ(result.status, 1);
  EXPECT_TRUE(isOneLineWith(result.err, "standard input: cannot be read on: "));
  EXPECT_EQ(result.out.rfind("frames 30, detections 120, tracks 4\n", 0), 0u) << result.out;
  EXPECT_EQ(readMotFrames(path("out.txt")).size(), 30u);
  EXPECT_TRUE(exists("out.png"));
}

TEST_F(BadInput, WrongUsageIsStatusTwoAndHelpIsNot) {
  const std::vector<Refusal> wrong = {
      {"", "subcommand is required"},
      {"fly", "'fly' is not a command"},
      {"--fast", "'--fast' is not an option"},
      {"fly walk.txt --frame 640x480", "'fly' is not a command"},
      {"track"},
      {"track det.txt -o out"},
      {"track det.txt --frame 640x480"},
      {"track det.txt --frame 640 -o out"},
      {"track det.txt --frame 640x480x3 -o out"},
      {"track det.txt --frame 640x480 --filter median -o out"},
      {"track det.txt --frame 640x480 --fps fast -o out"},
      {"run walk.mp4 --detector cat"},
      {"run walk.mp4 --detector mot:"},
      {"run walk.mp4 --detector onnx:"},
      {"tensor walk.mp4 --size 64x64 --mean 1,2 -o out"},
      {"tensor walk.mp4 --size 64x64 --matrix bt000 -o out"},
      {"sample out.mp4"},
  };
  expectRefused("", wrong, 2);
  for (const char* arguments : {"--help", "--version", "track --help", "run -h"}) {
    const ToolResult result = tool(arguments);
    EXPECT_EQ(result.status, 0) << arguments;
    EXPECT_EQ(result.err, "") << arguments;
    EXPECT_NE(result.out.find("tarnkit"), std::string::npos) << arguments;
  }
  const std::string version = tool("--version").out;
  for (const std::string part :
       {"tarnkit ", "\ncommit ", "\ncompiler ", "\nlibrary tn_kits ", "\ninstruction set "})
    EXPECT_NE(version.find(part), std::string::npos) << part << "in\n" << version;
}

#if !defined(_WIN32)

TEST_F(BadInput, AFullDiskIsReported) {
  if (!std::filesystem::exists("/dev/full")) GTEST_SKIP() << "no /dev/full here";
  makeSample(3);
  const std::string fault = "/dev/full: cannot be written: No space left on device";
  expectRefused("", {{"track walk.txt --frame 320x240 -o /dev/full", fault},
                     {"run walk.mp4 --detector mot:walk.txt -o /dev/full", fault},
                     {"run walk.mp4 --detector mot:walk.txt --tracks /dev/full", fault},
                     {"run walk.mp4 --detector mot:walk.txt --contact-sheet /dev/full", fault},
                     {"tensor walk.mp4 --size 64x64 -o /dev/full", fault},
                     {"sample /dev/full --detections other.txt", fault}});
  const ToolResult help = tool("--help >/dev/full 2>stderr.txt; exit $?; true");
  EXPECT_EQ(help.status, 1);
  EXPECT_TRUE(isOneLineWith(help.err, "standard output: cannot be written: No space left on device"));
}

// A limit on the size of files stands in for a disk that fills up midway.
TEST_F(BadInput, WhatWasWrittenBeforeTheDiskFilledUpStaysWhole) {
  makeSample(150);
  const std::string limit = "ulimit -f 16 &&";
  const ToolResult tracked = tool("track walk.txt --frame 320x240 -o out.txt", limit);
  EXPECT_EQ(tracked.status, 1);
  EXPECT_TRUE(isOneLineWith(tracked.err, "out.txt: cannot be written: File too large"));
  const MotFrames frames = readMotFrames(path("out.txt"));
  EXPECT_GT(frames.size(), 20u);
  EXPECT_LT(frames.size(), 150u);
  for (const auto& [number, boxes] : frames) EXPECT_EQ(boxes.size(), 4u) << "frame " << number;
  EXPECT_EQ(read("out.txt").back(), '\n');

  const ToolResult ran = tool("run walk.mp4 --detector mot:walk.txt -o out.mp4", limit);
  EXPECT_EQ(ran.status, 1);
  EXPECT_TRUE(isOneLineWith(ran.err, "out.mp4: cannot be written: File too large"));
  EXPECT_GT(countFrames(path("out.mp4")), 0);
}

// Starts the tool in the background with standard output going to `out` and standard input from `in`.
pid_t startTool(const std::vector<std::string>& arguments, int out, const std::string& err,
                int in = STDIN_FILENO) {
  const pid_t child = fork();
  if (child != 0) return child;
  dup2(in, STDIN_FILENO);
  const int err_file = open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  dup2(out, STDOUT_FILENO);
  dup2(err_file, STDERR_FILENO);
  std::vector<char*> words;
  std::string program = TARNKIT_PROGRAM;
  words.push_back(program.data());
  std::vector<std::string> copies = arguments;
  for (std::string& copy : copies) words.push_back(copy.data());
  words.push_back(nullptr);
  execv(program.c_str(), words.data());
  _exit(127);
}

// -1 if a signal ended the tool: one of its own accord, or ours after 20 seconds.
int exitStatusOf(pid_t child) {
  int status = 0;
  for (int tenths = 0; waitpid(child, &status, WNOHANG) == 0; ++tenths) {
    if (tenths == 200) kill(child, SIGKILL);
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST_F(BadInput, AClosedPipeIsReported) {
  makeSample(3);
  for (const char* option : {"-o", "--tracks"}) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    close(ends[0]);
    const std::vector<std::string> arguments =
        option == std::string("-o")
            ? std::vector<std::string>{"track", path("walk.txt"), "--frame", "320x240", "-o", "-"}
            : std::vector<std::string>{
                  "run", path("walk.mp4"), "--detector", "mot:" + path("walk.txt"), "--tracks", "-"};
    const pid_t child = startTool(arguments, ends[1], path("err.txt"));
    close(ends[1]);
    EXPECT_EQ(exitStatusOf(child), 1);
    EXPECT_TRUE(isOneLineWith(read("err.txt"), "standard output: cannot be written: Broken pipe"));
  }
}

// False if the file has not appeared within a minute.
bool waitForFile(const std::string& file) {
  for (int tenths = 0; tenths < 600 && !std::filesystem::exists(file); ++tenths)
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  return std::filesystem::exists(file);
}

TEST_F(BadInput, AnInterruptFinishesTheFrameAndTheFiles) {
  constexpr int kFrames = 300;
  makeSample(kFrames);
  for (const int signal_number : {SIGINT, SIGTERM}) {
    SCOPED_TRACE(signal_number);
    std::filesystem::remove_all(path("tensors"));
    const int summary = open(path("summary.txt").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    // The detector takes its time over pictures enlarged that much, so the signal comes midway.
    const pid_t child = startTool({"run", path("walk.mp4"), "--hog-smallest", "24", "-o",
                                   path("out.mp4"), "--tensors", path("tensors"), "--size", "16x16"},
                                  summary, path("err.txt"));
    close(summary);
    EXPECT_TRUE(waitForFile(path("tensors/000002.npy")));
    kill(child, signal_number);
    EXPECT_EQ(exitStatusOf(child), 128 + signal_number);
    EXPECT_EQ(read("err.txt"), "");

    const std::filesystem::directory_iterator tensors(path("tensors"));
    const std::int64_t frames = std::distance(begin(tensors), end(tensors));
    EXPECT_LT(frames, kFrames);
    EXPECT_EQ(countFrames(path("out.mp4")), frames);
    EXPECT_EQ(read("summary.txt").rfind("frames " + std::to_string(frames) + ",", 0), 0u);
  }
}

TEST_F(BadInput, AnInterruptEndsTheWaitForAPipeThatStalls) {
  // Frames so large that no buffer of the reader's holds the first of them back.
  constexpr int kSide = 1024, kFrames = 3;
  std::string video = "YUV4MPEG2 W1024 H1024 F25:1 C420jpeg\n";
  for (int i = 0; i < kFrames; ++i) video += "FRAME\n" + std::string(kSide * kSide * 3 / 2, 'a');
  write("none.txt", "");
  ASSERT_EQ(mkfifo(path("fifo").c_str(), 0600), 0);
  struct Case {
    const char *input, *first;
    std::size_t bytes;
  };
  const Case cases[] = {
      {"-", "tensors/000001.npy", video.size()},
      {"fifo", "tensors/000001.npy", video.size()},
      {"fifo", "", 20},  // not even the head
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.input << ", " << c.bytes << " bytes");
    std::filesystem::remove_all(path("tensors"));
    const bool is_stdin = c.input == std::string("-");
    int ends[2] = {STDIN_FILENO, -1};
    if (is_stdin) {
      ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    }
    const int summary = open(path("summary.txt").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    const pid_t child =
        startTool({"run", is_stdin ? "-" : path(c.input), "--detector", "mot:" + path("none.txt"),
                   "--tensors", path("tensors"), "--size", "16x16"},
                  summary, path("err.txt"), ends[0]);
    close(summary);
    if (is_stdin) {
      close(ends[0]);
    } else {
      ends[1] = open(path(c.input).c_str(), O_WRONLY | O_CLOEXEC);
    }
    EXPECT_EQ(::write(ends[1], video.data(), c.bytes), static_cast<ssize_t>(c.bytes));
    // The tool has the pipe open, and its own handler of signals installed before.
    const bool shows = *c.first != '\0';
    EXPECT_TRUE(!shows || waitForFile(path(c.first)));
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    const auto signalled = std::chrono::steady_clock::now();
    kill(child, SIGINT);
    EXPECT_EQ(exitStatusOf(child), 128 + SIGINT);
    EXPECT_LT(std::chrono::steady_clock::now() - signalled, std::chrono::seconds(5));
    close(ends[1]);
    if (shows) {
      EXPECT_EQ(read("err.txt"), "");
      EXPECT_EQ(read("summary.txt").rfind("frames ", 0), 0u);
    } else {
      EXPECT_TRUE(isOneLineWith(read("err.txt"), "fifo: interrupted"));
      EXPECT_EQ(read("summary.txt"), "");
    }
  }
}

#endif

}  // namespace
