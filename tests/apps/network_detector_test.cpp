// tarnkit run with networks: the built-in one against the truth, and files that cannot be used.
#include "apps/detectors/network_detector.h"

#include <gtest/gtest.h>

#include <regex>

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
  double network = 0.0, around = 0.0;  // most of the time is the network's
  std::sscanf(out.c_str() + std::min(out.size(), out.rfind("network ")),
              "network %lf %%, tensor, detect and track %lf %% of their sum", &network, &around);
  EXPECT_GT(network, 55.0) << out;
  EXPECT_NEAR(around, 100.0 - network, 0.11) << out;
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
  std::string names = "\xEF\xBB\xBFrot\r\n  gr\xC3\xBCn \t\r\n\tblau\n\n";
  write("names.txt", names.append((1u << 20) - names.size(), ' '));  // as long as it may be
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

// Without --nms each cell of a figure gives a box, most of them with less than full scores.
TEST_F(NetworkRun, ScoresAndOverlapsHaveTheirOptions) {
  makeSample(1, "320x240", "figures");
  std::map<std::string, int> found;
  for (const char* options : {"", "--nms 1", "--nms 1 --score 0.9"}) {
    const std::string out = run(std::string("run walk.mp4 --detector onnx ") + options);
    EXPECT_EQ(std::sscanf(out.c_str(), "frames 1, detections %d", &found[options]), 1) << out;
  }
  EXPECT_EQ(found[""], 6);
  EXPECT_GT(found["--nms 1"], 60);
  EXPECT_GT(found["--nms 1"], 2 * found["--nms 1 --score 0.9"]);
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
  // The open sizes as numbers, 32 x 48, in as many bytes.
  const std::string open = read(TN_TEST_DATA "/open-size.onnx");
  write("fixed.onnx",
        std::regex_replace(std::regex_replace(open, std::regex("\x12\x06height"),
                                              std::string("\x08\xB0\x80\x80\x80\x80\x80\x00", 8)),
                           std::regex("\x12\x05width"), std::string("\x08\xA0\x80\x80\x80\x80\x00", 7)));
  write("two.onnx", std::regex_replace(open, std::regex("\x0A\x02\x08\x01"), "\x0A\x02\x08\x02"));
  write("blank.txt", "\n \n");
  write("two.txt", "red\ngreen\n");
  write("four.txt", "red\ngreen\nblue\ngrey\n");
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
          {"--detector onnx:fixed.onnx --size 48x32", "--size: the network takes 32x48"},
          {"--detector onnx:fixed.onnx", "is 1x3x48x32, neither N x "},
          {"--detector onnx:" TN_TEST_DATA "/large-blob.onnx",
           "takes a tensor of 1x1x?x?, not 1x3xHEIGHTxWIDTH"},
          {"--detector onnx:two.onnx", "takes a tensor of 2x3x?x?, not 1x3x"},
          {"--detector onnx --labels blank.txt", "blank.txt: has no labels"},
          {"--detector onnx --labels gap.txt", "gap.txt:2: is empty; each line names a class"},
          {"--detector onnx --labels endless.txt", "endless.txt: is too long for a file of labels"},
          {"--detector onnx --labels bell.txt", "bell.txt:2: a label has control characters"},
          {"--detector onnx --labels two.txt",
           "two.txt: has 2 labels for the 3 classes of built-in network"},
          {"--detector onnx --labels four.txt", "four.txt: has 4 labels for the 3 classes of "},
          {"--detector onnx --config nofile.txt", "nofile.txt: cannot be read: "},
          {"--detector onnx --score 1.5", "--score: must be from 0 to 1"},
          {"--detector onnx --nms nan", "--nms: must be from 0 to 1"},
          {"--detector onnx:net.onnx --tracks net.onnx", "net.onnx: is the input"},
          {"--detector onnx --labels two.txt --tracks two.txt", "two.txt: is the input"},
          {"--detector onnx --config two.txt --contact-sheet two.txt", "two.txt: is the input"},
      });
}

}  // namespace
