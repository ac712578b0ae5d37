// The commands that run model files: export-config and layers.
#include <gtest/gtest.h>

#include <regex>

#include "apps/networks/layer_times.h"
#include "tests/apps/tool_test_support.h"
#include "tn_inference_config.h"
#include "tool_export_inference_config.h"

namespace {

using TarnCPU::WeightPrecision;
using tn_test::ToolTest;

class NetworkCommands : public ToolTest {
 protected:
  NetworkCommands() {
    for (const std::string name : {"small", "two-inputs", "open-size"})
      std::filesystem::copy_file(TN_TEST_DATA "/" + name + ".onnx", path(name + ".onnx"));
  }
};

std::string withoutTimes(const std::string& text) {
  return std::regex_replace(text, std::regex(" +([0-9]+\\.[0-9]{3}|ms\\b)"), " T");
}

TEST_F(NetworkCommands, ExportedEditedAndFedBackConfigsComeOutAsEdited) {
  write("net.txt", "what was there before, and longer than what comes");
  EXPECT_EQ(run("export-config small.onnx --input 3x6x6 -o net.txt"), "");
  std::string text = read("net.txt");
  EXPECT_EQ(text.rfind("tarn-inference-config 1\n", 0), 0u);

  const std::string line = "layer conv1             f32 ";
  ASSERT_NE(text.find(line), std::string::npos) << text;
  text.replace(text.find(line), line.size(), "layer conv1             bf16");
  text.replace(text.find("threads auto"), 12, "threads 2");
  write("edited.txt", text);
  run("export-config small.onnx --config edited.txt -o again.txt");
  const auto config = TarnCPU::LayerInferenceConfig::from_file(path("again.txt"));
  EXPECT_EQ(config.get_precision("conv1"), WeightPrecision::kBf16);
  EXPECT_EQ(config.get_precision("fc1"), WeightPrecision::kF32);
  EXPECT_EQ(config.get_num_threads(), 2);

  TarnCPU::ToolExportInferenceConfig().exportConfig(path("small.onnx"), 3, 6, 6, path("library.txt"),
                                                    &config);
  EXPECT_EQ(withoutTimes(read("library.txt")), withoutTimes(read("again.txt")));

  EXPECT_EQ(withoutTimes(run("export-config small.onnx --config again.txt -o -")),
            withoutTimes(read("again.txt")));
}

TEST_F(NetworkCommands, ConfigLinesThatDoNotApplyAreNamedAndTheRestIsApplied) {
  write("net.txt", "tarn-inference-config 1\nlayer conv1 bf16\nnonsense\nlayer none f16\n");
  for (const char* command : {"export-config -o -", "layers --runs 1"}) {
    const tn_test::ToolResult result = tool(std::string(command) + " small.onnx --config net.txt");
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err,
              "tarnkit: net.txt:3: begins with nonsense, not layer or threads\n"
              "tarnkit: small.onnx: the inference config names layer none, which the network does not "
              "have\n");
    EXPECT_NE(result.out.find(" bf16 "), std::string::npos) << result.out;
  }
}

TEST_F(NetworkCommands, LayersAreShownInOrderWithTheTotalLast) {
  const std::string out = run("layers small.onnx --runs 3");
  const std::regex shown(
      "^index  name[^]*conv1[^]*bn1[^]*relu 1[^]*pool1[^]*conv2[^]*flatten1/flatten[^]*flatten1 [^]*"
      "fc1[^]*scores[^]*total[^]*runs: 3\n$");
  EXPECT_TRUE(std::regex_search(out, shown)) << out;
  run("layers open-size.onnx --input 3x40x50 --runs 1");
}

TEST_F(NetworkCommands, FaultsAreOneLineAndTouchNoFile) {
  write("notes.onnx", "These are notes.\n");
  write("head.onnx", read("small.onnx").substr(0, 1000));
  write("out.txt", "kept");
  write("odd.txt", "tarn-inference-config 1\nnonsense\n");  // named, but no reason to stop
  const std::vector<tn_test::Refusal> refusals = {
      {"missing.onnx", "missing.onnx: cannot be read: No such file or directory"},
      {".", ".: cannot be read: Is a directory"},
      {"notes.onnx", "notes.onnx: is no ONNX model"},
      {"head.onnx", "head.onnx: is no ONNX model, or is damaged or cut off"},
      {"small.onnx --config missing.txt", "missing.txt: cannot be read: No such file or directory"},
      {"small.onnx --config odd.txt --input 3x9x9", "small.onnx: extract 9: "},
      {"small.onnx --input 0x9x9", "--input: ?x9x9: sizes must be 1 or more"},
      {"small.onnx --input 3x99999x99999", "--input: 3x99999x99999: "},
      {"two-inputs.onnx", "two-inputs.onnx: extract 5: input 1 was not fed"},
      {"open-size.onnx", "open-size.onnx: leaves the size of its input open, 1x3x?x?; give it with"},
  };
  expectRefused("export-config -o out.txt ", refusals);
  expectRefused("layers ", {refusals[0], refusals[3], refusals[5]});
  expectRefused("export-config small.onnx ",
                {{"-o no/where", "no/where: cannot be written: No such file or directory"},
                 {"-o .", ".: cannot be written: Is a directory"},
                 {"-o ./small.onnx", "./small.onnx: is the input"},
                 {"--config out.txt -o out.txt", "out.txt: is the input"}});
  expectRefused("layers ", {{"small.onnx --runs 0", "--runs: 0: "}});
  // No text at all, but more bytes than a config has.
  std::filesystem::resize_file(path("out.txt"), (1u << 26) + 1);
  expectRefused("layers ",
                {{"small.onnx --config out.txt", "out.txt: is too long for an inference config"}});
}

TEST(LayerTimes, TakesMediansAndDrawsShares) {
  tarnkit::LayerTimes times;
  for (const double scale : {1.0, 100.0, 2.0}) {
    times.on_network({0, 4});
    times.on_layer(
        {1, "größe\n1", "Convolution", {1, 2, 3}, 1.5 * scale, 70, 12, true, WeightPrecision::kF16});
    times.on_layer({2, "größe\n1", "ReLU", {1, 2}, 0.5 * scale});
  }
  EXPECT_EQ(
      times.table(),
      "index  name     type         output  weights  multiply-adds  parameter bytes     ms   share\n"
      "    1  größe 1  Convolution  1x2x3   f16                 70               12  3.000  75.0 %  "
      "#######################\n"
      "    2  größe 1  ReLU         1x2     -                    0                0  1.000  25.0 %  "
      "########\n"
      "       total                                             70               12  4.000          "
      "threads: 4, runs: 3\n");
}

}  // namespace
