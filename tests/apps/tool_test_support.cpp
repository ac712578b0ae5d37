// Runs the built tool, and takes apart what it wrote.
#include "tests/apps/tool_test_support.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>

#include "tests/support/test_support.h"

#if defined(TARNKIT_MEDIA)
#include "apps/video/video_reader.h"
#endif

#if !defined(_WIN32)
#include <sys/wait.h>
#endif

namespace tn_test {

ToolTest::ToolTest() : folder_(TempPath()) { std::filesystem::create_directories(folder_); }

ToolTest::~ToolTest() {
  std::error_code ignored;
  std::filesystem::remove_all(folder_, ignored);
}

void ToolTest::write(const std::string& name, const std::string& content) const {
  std::ofstream(path(name), std::ios::binary) << content;
}

std::string ToolTest::read(const std::string& name) const {
  std::ifstream in(path(name), std::ios::binary);
  EXPECT_TRUE(in) << name;
  return std::string(std::istreambuf_iterator<char>(in), {});
}

ToolResult ToolTest::tool(const std::string& arguments) const {
#if defined(_WIN32)
  const std::string enter = "cd /d ";  // changes the drive as well
#else
  const std::string enter = "cd ";
#endif
  const std::string command = enter + "\"" + folder_.string() + "\" && \"" TARNKIT_PROGRAM "\" " +
                              arguments + " >stdout.txt 2>stderr.txt";
  int status = std::system(command.c_str());
#if !defined(_WIN32)
  status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
#endif
  return {status, read("stdout.txt"), read("stderr.txt")};
}

std::string ToolTest::run(const std::string& arguments) const {
  const ToolResult result = tool(arguments);
  EXPECT_EQ(result.status, 0) << arguments;
  EXPECT_EQ(result.err, "") << arguments;
  return result.out;
}

std::map<std::string, std::string> ToolTest::files() const {
  std::map<std::string, std::string> found;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder_)) {
    const std::string name = std::filesystem::relative(entry.path(), folder_).string();
    if (name != "stdout.txt" && name != "stderr.txt")
      found[name] = entry.is_regular_file() ? read(name) : "";
  }
  return found;
}

void ToolTest::expectRefused(const std::string& command, const std::vector<Refusal>& refusals,
                             int status) const {
  const std::map<std::string, std::string> before = files();
  for (const Refusal& refusal : refusals) {
    SCOPED_TRACE(command + refusal.arguments);
    const ToolResult result = tool(command + refusal.arguments);
    EXPECT_EQ(result.status, status);
    EXPECT_TRUE(isOneLineWith(result.err, refusal.fault));
    EXPECT_EQ(result.out, "");
    EXPECT_TRUE(files() == before) << "a file was made or changed";
  }
}

void ToolTest::expectWrongUsage(const std::string& command,
                                const std::vector<std::string>& arguments) const {
  const std::string help = "(see 'tarnkit " + command.substr(0, command.find(' ') + 1) + "--help')";
  std::vector<Refusal> refusals;
  for (const std::string& each : arguments) refusals.push_back({each, help});
  expectRefused(command, refusals, 2);
}

void ToolTest::makeSample(int frames, const std::string& size, const std::string& scene) const {
  // What the command does by itself it is not told to.
  run("sample walk.mp4 --detections walk.txt --frames " + std::to_string(frames) +
      (size == "640x480" ? "" : " --frame " + size) + (scene == "walkers" ? "" : " --scene " + scene));
}

tarnkit::TrackScore ToolTest::scoreOf(const std::string& tracks, double overlap) const {
  using tarnkit::readMotFrames;
  return scoreTracks(readMotFrames(path(tracks)), readMotFrames(path("walk.txt")), overlap);
}

testing::AssertionResult isOneLineWith(const std::string& err, const std::string& text) {
  if (err.rfind("tarnkit: ", 0) != 0 || err.find('\n') != err.size() - 1)
    return testing::AssertionFailure() << "not one line of the tool: " << err;
  if (err.find(text) == std::string::npos)
    return testing::AssertionFailure() << "'" << text << "' is not in: " << err;
  return testing::AssertionSuccess();
}

#if defined(TARNKIT_MEDIA)
std::string jpegWithOrientation(const std::string& jpeg, char orientation) {
  const std::string note("\xFF\xE1\0\42Exif\0\0II*\0\b\0\0\0\1\0\22\1\3\0\1\0\0\0", 28);
  return jpeg.substr(0, 2) + note + orientation + std::string(7, '\0') + jpeg.substr(2);
}

std::int64_t countFrames(const std::string& video) {
  tarnkit::VideoReader reader(video);
  std::int64_t count = 0;
  for (_TN_Image frame; reader.next(frame);) ++count;
  EXPECT_EQ(reader.damagedPackets(), 0) << video;
  return count;
}
#endif

std::string videoWithMatrix(std::string video, int a, int b, int c, int d) {
  const auto text = [](int a11, int a12, int a21, int a22) {
    std::string bytes;
    for (const int number : {a11, a12, 0, a21, a22})
      for (int shift = 24; shift >= 0; shift -= 8)
        bytes += static_cast<char>(static_cast<unsigned>(number) >> shift);
    return bytes;
  };
  const std::size_t at = video.find("tkhd") + 44;
  EXPECT_EQ(video.substr(at, 20), text(65536, 0, 0, 65536));
  return video.replace(at, 20, text(a, b, c, d));
}

Npy parseNpy(const std::string& content) {
  constexpr std::size_t kPreamble = 10;
  EXPECT_EQ(content.substr(0, 8), std::string("\x93NUMPY\x01\x00", 8));
  if (content.size() < kPreamble) return {};
  const std::size_t length =
      static_cast<unsigned char>(content[8]) + 256u * static_cast<unsigned char>(content[9]);
  EXPECT_EQ((kPreamble + length) % 64, 0u);
  Npy npy = {content.substr(kPreamble, length), {}, {}};
  EXPECT_EQ(npy.header.back(), '\n');
  npy.bytes = content.substr(std::min(kPreamble + length, content.size()));
  if (npy.header.find("'<f4'") == std::string::npos) return npy;
  EXPECT_EQ(npy.bytes.size() % sizeof(float), 0u);
  npy.values.resize(npy.bytes.size() / sizeof(float));
  std::memcpy(npy.values.data(), npy.bytes.data(), npy.values.size() * sizeof(float));
  return npy;
}

}  // namespace tn_test
