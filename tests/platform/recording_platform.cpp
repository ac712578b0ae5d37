#include "tests/platform/recording_platform.h"

#include <algorithm>
#include <cstdio>

#include "tn_cnn.h"

namespace tn_test {

RecordingPlatform& RecordingPlatform::get() {
  static RecordingPlatform platform;
  return platform;
}

}  // namespace tn_test

namespace TarnCPU {
namespace {

tn_test::RecordingPlatform& platform() { return tn_test::RecordingPlatform::get(); }
void note(const std::string& call) {
  platform().calls.push_back(call);
  if (platform().aloud) std::fprintf(stderr, "%s\n", call.c_str());
}
std::string text(int number) { return std::to_string(number); }

const Mat* fed = nullptr;

}  // namespace

struct KRNetLoader::Model {};
KRNetLoader::KRNetLoader() { note("loader"); }
KRNetLoader::~KRNetLoader() { note("~loader"); }
bool KRNetLoader::LoadFile(const char* path, bool flag) {
  note("LoadFile " + std::string(path) + (flag ? " true" : " false"));
  return platform().loads;
}

LayerInferenceConfig::LayerInferenceConfig() = default;

struct TarnNet::Built {};
TarnNet::TarnNet() { note("net"); }
TarnNet::~TarnNet() { note("~net"); }
void TarnNet::load_tarn_net_with_inference_config(const KRNetLoader&,
                                                  const LayerInferenceConfig* config) {
  note(config == nullptr ? "load without config"
                         : "load with config of threads " + text(config->get_num_threads()));
}
int LayerInferenceConfig::get_num_threads() const { return threads_; }
void LayerInferenceConfig::set_num_threads(int threads) { threads_ = threads; }

struct TarnNetExtractor::State {};
TarnNetExtractor TarnNet::create_extractor() const {
  note("create_extractor");
  return TarnNetExtractor(nullptr);
}
TarnNetExtractor::TarnNetExtractor(std::unique_ptr<State>) {}
TarnNetExtractor::~TarnNetExtractor() { note("~extractor"); }
void TarnNetExtractor::set_num_threads(int threads) { note("set_num_threads " + text(threads)); }
void TarnNetExtractor::set_light_mode(bool light) { note(light ? "light" : "heavy"); }

int TarnNetExtractor::input(int index, const Mat& blob) {
  const float* const values = static_cast<const float*>(blob.data);
  const std::size_t count = static_cast<std::size_t>(blob.w) * static_cast<std::size_t>(blob.h) *
                            static_cast<std::size_t>(blob.c);
  const bool zero = std::all_of(values, values + count, [](float value) { return value == 0.0f; });
  note("input " + text(index) + ": " + std::to_string(count) + (zero ? " zeros" : " values"));
  fed = &blob;
  return platform().input_code;
}

int TarnNetExtractor::get_last_layer_index() const {
  note("get_last_layer_index");
  return platform().last_layer;
}

int TarnNetExtractor::extract(int index, Mat& out, Statistician* stats) {
  note("extract " + text(index) + (out.data == nullptr ? " into nothing" : " into something") +
       (dynamic_cast<ConfigPrinter*>(stats) != nullptr ? " for the printer" : ""));
  return platform().extract_code;
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
  return platform().text;
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
Mat::~Mat() { note(this == fed ? "~input" : "~output"); }

}  // namespace TarnCPU
