// Runs the built tool as a user would, in a folder that goes away with the test.
#ifndef TN_KITS_TESTS_APPS_TOOL_TEST_SUPPORT_H_
#define TN_KITS_TESTS_APPS_TOOL_TEST_SUPPORT_H_

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "apps/detections/mot_text.h"
#include "apps/scoring/track_score.h"

namespace tn_test {

struct ToolResult {
  int status;
  std::string out, err;
};

// A call that must fail, and what its one line has to say.
struct Refusal {
  std::string arguments, fault;
};

class ToolTest : public testing::Test {
 protected:
  ToolTest();
  ~ToolTest() override;

  std::string path(const std::string& name) const { return (folder_ / name).string(); }
  void write(const std::string& name, const std::string& content) const;
  std::string read(const std::string& name) const;
  bool exists(const std::string& name) const { return std::filesystem::exists(folder_ / name); }

  // arguments: words for the shell, which may redirect standard input; the folder is current.
  ToolResult tool(const std::string& arguments) const;
  // The same for a call that must do its work without a word on standard error. Returns its output.
  std::string run(const std::string& arguments) const;

  // Each call ends with the status, prints nothing but its line, and leaves all files as they were.
  void expectRefused(const std::string& command, const std::vector<Refusal>& refusals,
                     int status = 1) const;
  // The same with status 2, and a line that points to the command's help.
  void expectWrongUsage(const std::string& command, const std::vector<std::string>& arguments) const;

  // Makes walk.mp4 and walk.txt with the tool's own sample command. scene: walkers or figures.
  void makeSample(int frames, const std::string& size = "320x240",
                  const std::string& scene = "walkers") const;
  // Of tracks in that video.
  tarnkit::TrackScore scoreOf(const std::string& tracks, double overlap) const;

 private:
  // By name, with what is in them; but for those that `tool` makes itself.
  std::map<std::string, std::string> files() const;

  std::filesystem::path folder_;
};

// What every reported fault looks like: one line, the tool's name first, the text somewhere in it.
testing::AssertionResult isOneLineWith(const std::string& err, const std::string& text);

// Frames that can be decoded from a video.
std::int64_t countFrames(const std::string& video);

// A JPEG file as a camera writes it that notes how it was held: orientation 1 to 8.
std::string jpegWithOrientation(const std::string& jpeg, char orientation);

// An MP4 file of the tool's own whose matrix turns its frames by x' = a x + c y, y' = b x + d y, each
// number in parts of 65536.
std::string videoWithMatrix(std::string video, int a, int b, int c, int d);

struct Npy {
  std::string header;         // the dictionary
  std::string bytes;          // of the elements
  std::vector<float> values;  // those of float32
};
// Takes a NumPy file apart and checks its magic and lengths.
Npy parseNpy(const std::string& content);

}  // namespace tn_test

#endif  // TN_KITS_TESTS_APPS_TOOL_TEST_SUPPORT_H_
