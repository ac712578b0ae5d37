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

struct Platform {
  bool loads = true;
  int code = 0;  // of input and extract
  std::string text = "the text";
  std::string calls;
} platform;

void note(const std::string& call) {
  platform.calls += call + "; ";
  std::fprintf(stderr, "%s; ", call.c_str());  // for tests of how the program ends
}
std::string text(std::ptrdiff_t number) { return std::to_string(number); }

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
  const auto zeros = std::count(values, values + blob.w * blob.h * blob.c, 0.0f);
  note("input " + text(index) + ": " + text(zeros) + " zeros");
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

struct ExportInferenceConfig : testing::Test {
  ExportInferenceConfig() { platform = Platform(); }
  ~ExportInferenceConfig() override { std::filesystem::remove(path); }
  std::string written() const {
    std::ifstream in(path);
    return std::string(std::istreambuf_iterator<char>(in), {});
  }
  const std::string path = tn_test::TempPath();
};

TEST_F(ExportInferenceConfig, CallsThePlatformInOrder) {
  LayerInferenceConfig config;
  config.set_num_threads(5);
  ToolExportInferenceConfig().exportConfig("model.onnx", 3, 224, 220, path, &config);
  EXPECT_EQ(platform.calls,
            "loader; LoadFile model.onnx false; net; load with threads 5; "
            "from_float_array 220 224 3 layout 1; extractor; set_num_threads 1; light; "
            "input 0: 147840 zeros; get_last_layer_index; printer; add_header; "
            "extract 41 into nothing for the printer; add_tail; get_config_string; "
            "~output; ~printer; ~extractor; ~input; ~net; ~loader; ");
  EXPECT_EQ(written(), "the text");
}

TEST_F(ExportInferenceConfig, IgnoresRunsThatFailAndReplacesFiles) {
  platform.text = "a longer text\nof two lines\n";
  ToolExportInferenceConfig tool, other;
  tool.exportConfig("model.onnx", 3, 224, 224, path, nullptr);
  EXPECT_EQ(written(), platform.text);
  const std::string calls = platform.calls;
  EXPECT_NE(calls.find("load without config; from_float_array 224 224 3 layout 1"), std::string::npos);

  platform = Platform();
  platform.code = -1;
  platform.text = std::string("100%s\0rest", 10);
  EXPECT_EQ(&(other = tool), &other);
  other.exportConfig("model.onnx", 3, 224, 224, path, nullptr);
  EXPECT_EQ(written(), "100%s") << "up to the first zero byte";
  EXPECT_EQ(platform.calls, calls);
}

using ExportInferenceConfigDeathTest = ExportInferenceConfig;

// The assertion's output right behind the last call.
std::string failedAfter(const std::string& call, const std::string& text, int line) {
  const std::string file = "tarnkit/src/cpu_x86/tool_export_inference_config_cpu_x86";
  return call + "; \\w*:? ?" + tn_test::FailedCheck("false && \"Cann't load " + text + "\"", file, line);
}

TEST_F(ExportInferenceConfigDeathTest, StopsIfTheModelDoesNotLoadAndIfTheFileCannotBeOpened) {
  ToolExportInferenceConfig tool;
  const std::string text = failedAfter("^loader; LoadFile none.onnx false", "model file", 27);
  const auto without_model = [&] {
    platform.loads = false;
    tool.exportConfig("none.onnx", 1, 1, 1, path, nullptr);
  };
  EXPECT_DEATH(without_model(), text);
  EXPECT_FALSE(std::filesystem::exists(path));
  EXPECT_DEATH(tool.exportConfig("m", 1, 1, 1, path + "/no/file", nullptr),
               failedAfter("add_tail; get_config_string", "file", 12));
  EXPECT_DEATH(tool.saveToFile("", "text"), failedAfter("", "file", 12).substr(2));
}

}  // namespace
