// tarnkit run with networks: the built-in one against the truth, and files that cannot be used.
#include "apps/detectors/network_detector.h"

#include <gtest/gtest.h>

#include "apps/detectors/label_names.h"
#include "apps/scoring/track_score.h"
#include "apps/support/failure.h"
#include "tests/apps/tool_test_support.h"
#include "tool_export_inference_config.h"

namespace {

using namespace tarnkit;

class NetworkRun : public tn_test::ToolTest {
 protected:
  TrackScore scoreOf(const std::string& tracks, double overlap) const {
    return scoreTracks(readMotFrames(path(tracks)), readMotFrames(path("walk.txt")), overlap);
  }
};

TEST_F(NetworkRun, FollowsTheColouredFigures) {
  makeSample(120, "480x360", "figures");
  const std::string out = run("run walk.mp4 --detector onnx --tracks tracks.txt --max-confidence 4");
  EXPECT_NE(out.find("\nnetwork "), std::string::npos) << out;
  EXPECT_NE(out.find(" % of their sum\n"), std::string::npos) << out;
  // Of the 720 boxes some are hidden for more than half while figures pass each other.
  const TrackScore score = scoreOf("tracks.txt", 0.5);
  EXPECT_GT(score.recall(), 0.9) << score.table();
  EXPECT_GT(score.precision(), 0.85) << score.table();
  EXPECT_LE(score.identity_switches, 6) << score.table();
}

// Points of a diamond are narrower than what the network counts as covered, so its boxes are smaller by
// a few pixels; all others fit to a pixel or two of the network's input. In the narrow picture one of
// the six figures stands half behind another.
TEST_F(NetworkRun, BoxesFitInLandscapeAndPortrait) {
  for (const auto& [size, found] : {std::pair<const char*, int>{"640x360", 6}, {"320x480", 5}}) {
    makeSample(3, size, "figures");
    run("run walk.mp4 --detector onnx --tracks tracks.txt");
    EXPECT_EQ(scoreOf("tracks.txt", 0.7).matches, 3 * found) << size;
  }
}

// What the network's own config says is what holds without one.
TEST_F(NetworkRun, FileAndConfigGiveTheSameTracks) {
  makeSample(5, "320x240", "figures");
  TarnCPU::ToolExportInferenceConfig().exportConfig(BLOB_DETECTOR, 3, 256, 256, path("config.txt"),
                                                    nullptr);
  EXPECT_NE(read("config.txt").find("saturation"), std::string::npos);
  write("names.txt", "\xEF\xBB\xBFrot\r\n  gr\xC3\xBCn \r\nblau\n\n");
  run("run walk.mp4 --detector onnx --tracks built-in.txt");
  run("run walk.mp4 --detector onnx:" BLOB_DETECTOR
      " --labels names.txt --config config.txt --tracks file.txt");
  EXPECT_EQ(read("file.txt"), read("built-in.txt"));
  EXPECT_EQ(readLabelNames(path("names.txt")), (std::vector<std::string>{"rot", "gr\xC3\xBCn", "blau"}));

  // What a config asks for and the network lacks is said, and the rest goes on.
  write("odd.txt", "tarn-inference-config 1\nlayer nolayer bf16\nthreads 1\n");
  const tn_test::ToolResult result = tool("run walk.mp4 --detector onnx --config odd.txt");
  EXPECT_EQ(result.status, 0);
  EXPECT_TRUE(tn_test::isOneLineWith(result.err, "nolayer"));
}

TEST(NetworkDetector, NamesItsClassesAndATensorOfAnotherSize) {
  NetworkOptions options;
  NetworkDetector detector(options);
  EXPECT_EQ(detector.labelName(1), "green");
  EXPECT_EQ(detector.labelName(7), "class 7");
  options.model = BLOB_DETECTOR;
  EXPECT_EQ(NetworkDetector(options).labelName(1), "class 1");

  std::vector<float> values(3 * 64 * 32);
  const _TN_Image tensor = {0, TN_PIX_FMT_CHW_F32, 64, 32, 0, values.data()};
  std::string said;
  try {
    detector.runNetwork({1, tensor, tensor, {0, 0, 64, 32}});
  } catch (const Failure& fault) {
    said = fault.what();
  }
  EXPECT_NE(said.find("; its tensor was 1x3x32x64"), std::string::npos) << said;
}

TEST_F(NetworkRun, FaultsAreOneLineAndStatusOne) {
  makeSample(2, "320x240", "figures");
  const std::string model = read(BLOB_DETECTOR);
  write("net.onnx", model);
  write("cut.onnx", model.substr(0, model.size() / 2));
  write("empty.onnx", "");
  write("blank.txt", "\n \n");
  write("two.txt", "red\ngreen\n");
  write("gap.txt", "red\n\nblue\n");
  write("bell.txt", "red\ngr\x07n\nblue\n");
  write("endless.txt", "");
  std::filesystem::resize_file(path("endless.txt"), (1u << 20) + 1);
  expectRefused(
      "run walk.mp4 ",
      {
          {"--detector onnx:nofile.onnx", "nofile.onnx: "},
          {"--detector onnx:empty.onnx", "empty.onnx: is empty"},
          {"--detector onnx:cut.onnx", "cut.onnx: "},
          // Ten scores, no table of boxes.
          {"--detector onnx:" TN_TEST_DATA "/small.onnx",
           "(scores) is 1x10, neither N x (4 + 1 + classes) nor (4 + classes) x N"},
          {"--detector onnx:" TN_TEST_DATA "/two-inputs.onnx", "takes 2 inputs, not one picture"},
          // Runs at any size, so at the one asked for.
          {"--detector onnx:" TN_TEST_DATA "/open-size.onnx --size 32x16", ", neither N x "},
          {"--detector onnx --size 320x320", "--size: the network takes 256x256"},
          {"--detector onnx --labels blank.txt", "blank.txt: has no labels"},
          {"--detector onnx --labels gap.txt", "gap.txt:2: is empty; each line names a class"},
          {"--detector onnx --labels endless.txt", "endless.txt: is too long for a file of labels"},
          {"--detector onnx --labels bell.txt", "bell.txt:2: a label has control characters"},
          {"--detector onnx --labels two.txt",
           "two.txt: has 2 labels for the 3 classes of built-in network"},
          {"--detector onnx --config nofile.txt", "nofile.txt: cannot be read: "},
          {"--detector onnx --score 1.5", "--score: must be from 0 to 1"},
          {"--detector onnx --nms nan", "--nms: must be from 0 to 1"},
          {"--detector onnx:net.onnx --tracks net.onnx", "net.onnx: is the input"},
      });
}

}  // namespace
