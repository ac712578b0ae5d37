// The export against a platform that records: which calls it makes, in which order, and where it stops.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "tests/platform/recording_platform.h"
#include "tests/support/test_support.h"
#include "tool_export_inference_config.h"

namespace {

using TarnCPU::LayerInferenceConfig;
using TarnCPU::ToolExportInferenceConfig;
using tn_test::RecordingPlatform;
using Lines = std::vector<std::string>;

class ExportInferenceConfig : public testing::Test {
 protected:
  ExportInferenceConfig() : path_(tn_test::TempPath()) {
    RecordingPlatform::get() = RecordingPlatform();
  }
  ~ExportInferenceConfig() override { std::filesystem::remove(path_); }

  std::string written() const {
    std::ifstream in(path_);
    EXPECT_TRUE(in);
    return std::string(std::istreambuf_iterator<char>(in), {});
  }

  std::string path_;
};

TEST_F(ExportInferenceConfig, CallsThePlatformInOrder) {
  RecordingPlatform& platform = RecordingPlatform::get();
  LayerInferenceConfig config;
  config.set_num_threads(5);
  ToolExportInferenceConfig tool;
  tool.exportConfig("model.onnx", 3, 224, 220, path_, &config);
  EXPECT_EQ(platform.calls, (Lines{"loader",
                                   "LoadFile model.onnx false",
                                   "net",
                                   "load with config of threads 5",
                                   "from_float_array 220 224 3 layout 1",
                                   "create_extractor",
                                   "set_num_threads 1",
                                   "light",
                                   "input 0: 147840 zeros",
                                   "get_last_layer_index",
                                   "printer",
                                   "add_header",
                                   "extract 41 into nothing for the printer",
                                   "add_tail",
                                   "get_config_string",
                                   "~output",
                                   "~printer",
                                   "~extractor",
                                   "~input",
                                   "~net",
                                   "~loader"}));
  EXPECT_EQ(written(), "the text");
}

TEST_F(ExportInferenceConfig, FailingRunsAreNotItsBusinessAndFilesAreReplaced) {
  RecordingPlatform& platform = RecordingPlatform::get();
  platform.text = "a longer text\nof two lines\n";
  ToolExportInferenceConfig tool, other;
  tool.exportConfig("model.onnx", 3, 224, 224, path_, nullptr);
  EXPECT_EQ(written(), platform.text);
  EXPECT_EQ(platform.calls[3], "load without config");
  EXPECT_EQ(platform.calls[4], "from_float_array 224 224 3 layout 1");
  EXPECT_EQ(platform.calls[8], "input 0: 150528 zeros");

  const std::size_t calls = platform.calls.size();
  platform.input_code = platform.extract_code = -1;
  platform.text = std::string("100%s\0rest", 10);
  EXPECT_EQ(&(other = tool), &other);
  other.exportConfig("model.onnx", 3, 224, 224, path_, nullptr);
  EXPECT_EQ(written(), "100%s") << "up to the first zero byte";
  EXPECT_EQ(platform.calls.size(), 2 * calls);
}

using ExportInferenceConfigDeathTest = ExportInferenceConfig;

// What the assertion says at the end of output whose earlier lines match `calls`.
std::string assertionAfter(const std::string& calls, int line, const std::string& text) {
  const std::string file = "tarnkit/src/cpu_x86/tool_export_inference_config_cpu_x86";
#if defined(_WIN32)
  // GoogleTest's own patterns, used there, are too simple for the lines before.
  static_cast<void>(calls);
  return tn_test::FailedCheck(text, file, line);
#else
  return "^" + calls + "[^\n]*" + file + ":" + std::to_string(line) + ": [^\n]*`" + text + "' failed";
#endif
}

TEST_F(ExportInferenceConfigDeathTest, StopsBeforeTheNetworkIfTheModelDoesNotLoad) {
  RecordingPlatform::get().loads = false;
  RecordingPlatform::get().aloud = true;
  EXPECT_DEATH(
      ToolExportInferenceConfig().exportConfig("none.onnx", 1, 1, 1, path_, nullptr),
      assertionAfter("loader\nLoadFile none.onnx false\n", 27, "false && \"Cann't load model file\""));
  EXPECT_FALSE(std::filesystem::exists(path_));
}

TEST_F(ExportInferenceConfigDeathTest, StopsAfterTheRunIfTheFileCannotBeOpened) {
  RecordingPlatform::get().aloud = true;
  const std::string text = "false && \"Cann't load file\"";
  EXPECT_DEATH(ToolExportInferenceConfig().exportConfig("m", 1, 1, 1, path_ + "/no/file", nullptr),
               assertionAfter(".*\nadd_tail\nget_config_string\n", 12, text));
  EXPECT_DEATH(ToolExportInferenceConfig().saveToFile("", "text"), assertionAfter("", 12, text));
}

}  // namespace
