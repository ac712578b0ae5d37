// The export, linked with a network library that runs nothing and records each call.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "tests/support/test_support.h"
#include "tn_cnn.h"
#include "tool_export_inference_config.h"

namespace {

using Lines = std::vector<std::string>;

struct Platform {
  bool loads = true;
  int code = 0;  // of input and extract
  std::string text = "the text";
  bool aloud = false;  // writes calls to standard error too, for tests of how the program ends
  Lines calls;
} platform;

void note(const std::string& call) {
  platform.calls.push_back(call);
  if (platform.aloud) std::fprintf(stderr, "%s\n", call.c_str());
}
std::string text(int number) { return std::to_string(number); }

}  // namespace

namespace TarnCPU {

struct KRNetLoader::Model {};
KRNetLoader::KRNetLoader() { note("loader"); }
KRNetLoader::~KRNetLoader() { note("~loader"); }
bool KRNetLoader::LoadFile(const char* path, bool flag) {
  note("LoadFile " + std::string(path) + (flag ? " true" : " false"));
  return platform.loads;
}

LayerInferenceConfig::LayerInferenceConfig() = default;
int LayerInferenceConfig::get_num_threads() const { return threads_; }
void LayerInferenceConfig::set_num_threads(int threads) { threads_ = threads; }

struct TarnNet::Built {};
TarnNet::TarnNet() { note("net"); }
TarnNet::~TarnNet() { note("~net"); }
void TarnNet::load_tarn_net_with_inference_config(const KRNetLoader&,
                                                  const LayerInferenceConfig* config) {
  note(config == nullptr ? "load without config"
                         : "load with threads " + text(config->get_num_threads()));
}

struct TarnNetExtractor::State {};
TarnNetExtractor TarnNet::create_extractor() const { return TarnNetExtractor(nullptr); }
TarnNetExtractor::TarnNetExtractor(std::unique_ptr<State>) { note("extractor"); }
TarnNetExtractor::~TarnNetExtractor() { note("~extractor"); }
void TarnNetExtractor::set_num_threads(int threads) { note("set_num_threads " + text(threads)); }
void TarnNetExtractor::set_light_mode(bool light) { note(light ? "light" : "heavy"); }
int TarnNetExtractor::input(int index, const Mat& blob) {
  const float* const values = static_cast<const float*>(blob.data);
  const int count = blob.w * blob.h * blob.c;
  const bool zero = std::all_of(values, values + count, [](float value) { return value == 0.0f; });
  note("input " + text(index) + ": " + text(count) + (zero ? " zeros" : " values"));
  return platform.code;
}
int TarnNetExtractor::get_last_layer_index() const {
  note("get_last_layer_index");
  return 41;
}
int TarnNetExtractor::extract(int index, Mat& out, Statistician* stats) {
  note("extract " + text(index) + (out.data == nullptr ? " into nothing" : " into something") +
       (dynamic_cast<ConfigPrinter*>(stats) != nullptr ? " for the printer" : ""));
  return platform.code;
}

Statistician::~Statistician() = default;
void Statistician::on_network(const NetworkReport&) {}
struct ConfigPrinter::Notes {};
ConfigPrinter::ConfigPrinter() : notes_(nullptr) { note("printer"); }
ConfigPrinter::~ConfigPrinter() {
  delete notes_;
  note("~printer");
}
void ConfigPrinter::add_header() { note("add_header"); }
void ConfigPrinter::add_tail() { note("add_tail"); }
void ConfigPrinter::on_network(const NetworkReport&) {}
void ConfigPrinter::on_layer(const LayerReport&) {}
std::string ConfigPrinter::get_config_string() const {
  note("get_config_string");
  return platform.text;
}

Mat Mat::from_float_array(const float* data, int w, int h, int c, TensorShape::Layout layout,
                          Allocator* allocator) {
  note("from_float_array " + text(w) + " " + text(h) + " " + text(c) + " layout " + text(layout) +
       (allocator == nullptr ? "" : " with an allocator"));
  Mat view;
  view.data = const_cast<float*>(data);
  view.w = w;
  view.h = h;
  view.c = c;
  return view;
}
Mat::~Mat() { note(data == nullptr ? "~output" : "~input"); }

}  // namespace TarnCPU

namespace {

using TarnCPU::LayerInferenceConfig;
using TarnCPU::ToolExportInferenceConfig;

class ExportInferenceConfig : public testing::Test {
 protected:
  ExportInferenceConfig() { platform = Platform(); }
  ~ExportInferenceConfig() override { std::filesystem::remove(path_); }
  std::string written() const {
    std::ifstream in(path_);
    EXPECT_TRUE(in);
    return std::string(std::istreambuf_iterator<char>(in), {});
  }
  const std::string path_ = tn_test::TempPath();
};

TEST_F(ExportInferenceConfig, CallsThePlatformInOrder) {
  LayerInferenceConfig config;
  config.set_num_threads(5);
  ToolExportInferenceConfig tool;
  tool.exportConfig("model.onnx", 3, 224, 220, path_, &config);
  EXPECT_EQ(platform.calls, (Lines{"loader",
                                   "LoadFile model.onnx false",
                                   "net",
                                   "load with threads 5",
                                   "from_float_array 220 224 3 layout 1",
                                   "extractor",
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
  platform.text = "a longer text\nof two lines\n";
  ToolExportInferenceConfig tool, other;
  tool.exportConfig("model.onnx", 3, 224, 224, path_, nullptr);
  EXPECT_EQ(written(), platform.text);
  EXPECT_EQ(platform.calls[3], "load without config");
  EXPECT_EQ(platform.calls[4], "from_float_array 224 224 3 layout 1");
  EXPECT_EQ(platform.calls[8], "input 0: 150528 zeros");

  const std::size_t calls = platform.calls.size();
  platform.code = -1;
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
  platform.loads = false;
  platform.aloud = true;
  EXPECT_DEATH(
      ToolExportInferenceConfig().exportConfig("none.onnx", 1, 1, 1, path_, nullptr),
      assertionAfter("loader\nLoadFile none.onnx false\n", 27, "false && \"Cann't load model file\""));
  EXPECT_FALSE(std::filesystem::exists(path_));
}

TEST_F(ExportInferenceConfigDeathTest, StopsAfterTheRunIfTheFileCannotBeOpened) {
  platform.aloud = true;
  const std::string text = "false && \"Cann't load file\"";
  EXPECT_DEATH(ToolExportInferenceConfig().exportConfig("m", 1, 1, 1, path_ + "/no/file", nullptr),
               assertionAfter(".*\nadd_tail\nget_config_string\n", 12, text));
  EXPECT_DEATH(ToolExportInferenceConfig().saveToFile("", "text"), assertionAfter("", 12, text));
}

}  // namespace
