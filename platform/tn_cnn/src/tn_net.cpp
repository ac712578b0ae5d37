// The network classes: the interface to an engine, where every fault becomes one log line.
#include "tn_net.h"

#include <algorithm>
#include <exception>
#include <mutex>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>

#include "common/tn_one_line.h"
#include "platform/tn_cnn/src/engine/tn_engine.h"
#include "platform/tn_cnn/src/tn_config_text.h"
#include "platform/tn_cnn/src/tn_file.h"
#include "tn_core.h"

namespace TarnCPU {
namespace {

// The format, protocol buffers, allows no more.
constexpr std::size_t kMostModelBytes = 0x7FFFFFFF;
constexpr char kMemoryModel[] = "model in memory";
constexpr int kOk = 0, kFailed = -1;

// where: a function that gives the start of the line; it may run out of memory.
template <class Where>
void logFault(const Where& where, const char* fault) {
  try {
    Tarn::_LogError("Tarn", "%s: %s", where().c_str(), Tarn::onOneLine(fault).c_str());
  } catch (const std::bad_alloc&) {
    Tarn::_LogError("Tarn", "network: %s", fault);
  }
}

// A copy of a tensor in CHW order.
Mat planesOf(const Mat& blob) {
  Mat planes(blob.w, blob.h, blob.c);
  const float* const from = static_cast<const float*>(blob.data);
  float* const to = static_cast<float*>(planes.data);
  const std::size_t channels = static_cast<std::size_t>(blob.c), plane = blob.total() / channels;
  if (blob.layout != TensorShape::HWC) {
    std::copy_n(from, blob.total(), to);
    return planes;
  }
  for (std::size_t pixel = 0; pixel < plane; ++pixel)
    for (std::size_t channel = 0; channel < channels; ++channel)
      to[channel * plane + pixel] = from[pixel * channels + channel];
  return planes;
}

// Runs `body`. An exception becomes one log line and the result false.
template <class Where, class Body>
bool succeeds(const Where& where, const Body& body) {
  try {
    body();
    return true;
  } catch (const std::bad_alloc&) {
    logFault(where, "out of memory");
  } catch (const std::exception& fault) {
    logFault(where, fault.what());
  } catch (...) {
    logFault(where, "unknown fault");
  }
  return false;
}

}  // namespace

struct KRNetLoader::Model : ModelFile {};

struct TarnNet::Built {
  std::string path;  // of the model, for messages
  std::unique_ptr<EngineNetwork> engine;
  int threads = 0;
  std::mutex running;
};

struct TarnNetExtractor::State {
  std::shared_ptr<TarnNet::Built> net;
  RunRequest request;
  RunResult result;  // of the last run since an input changed

  // The start of a log line.
  std::string where(const char* call, int index) const {
    return (net ? net->path : "network") + ": " + call + " " + std::to_string(index);
  }

  int lastLayer() const { return net ? net->engine->lastLayer() : 0; }

  EngineNetwork& engine() const {
    if (!net) throw std::runtime_error("no network was built");
    return *net->engine;
  }

  void feed(int index, const Mat& blob) {
    const int count = engine().inputCount();
    if (index < 0 || index >= count)
      throw std::runtime_error("the network has inputs 0 to " + std::to_string(count - 1));
    if (blob.total() == 0 || blob.data == nullptr) throw std::runtime_error("the tensor is empty");
    if (blob.elem_size != sizeof(float)) throw std::runtime_error("the tensor is not of floats");
    request.inputs[index] = planesOf(blob);
    result = RunResult();
  }

  const Mat& blob(int index, bool report) {
    const int last = lastLayer(), count = engine().inputCount();
    if (index < 0 || index > last)
      throw std::runtime_error("the network has layers 1 to " + std::to_string(last));
    for (int input = 0; input < count; ++input)
      if (request.inputs.count(input) == 0)
        throw std::runtime_error("input " + std::to_string(input) + " was not fed");
    if (index == 0) return request.inputs.at(0);
    const bool kept = result.blobs.count(index) != 0 && (!report || !result.layers.empty());
    if (!kept) run(index, report);
    return result.blobs.at(index);
  }

  void tell(int index, Statistician& stats) const {
    stats.on_network({net->threads, result.threads});
    for (const LayerReport& layer : result.layers)
      if (layer.index <= index) stats.on_layer(layer);
  }

 private:
  void run(int index, bool report) {
    request.last = index;
    request.report = report;
    const std::lock_guard<std::mutex> lock(net->running);
    result = net->engine->run(request);
  }
};

KRNetLoader::KRNetLoader() = default;
KRNetLoader::KRNetLoader(KRNetLoader&&) noexcept = default;
KRNetLoader& KRNetLoader::operator=(KRNetLoader&&) noexcept = default;
KRNetLoader::~KRNetLoader() = default;

bool KRNetLoader::LoadFile(const char* path, bool flag) {
  model_.reset();
  const auto where = [&] { return path == nullptr ? "LoadFile" : withoutControls(path); };
  return succeeds(where, [&] {
    if (path == nullptr) throw std::runtime_error("no path was given");
    auto model = std::make_unique<Model>();
    model->path = withoutControls(path);
    model->bytes = readFile(path, kMostModelBytes);
    load(std::move(model), flag);
  });
}

bool KRNetLoader::LoadMemory(const void* bytes, std::size_t size, bool flag) {
  model_.reset();
  return succeeds([] { return std::string(kMemoryModel); },
                  [&] {
                    if (size > kMostModelBytes) throw std::runtime_error("is too large");
                    auto model = std::make_unique<Model>();
                    model->path = kMemoryModel;
                    const unsigned char* const first = static_cast<const unsigned char*>(bytes);
                    if (first != nullptr) model->bytes.assign(first, first + size);
                    load(std::move(model), flag);
                  });
}

void KRNetLoader::load(std::unique_ptr<Model> model, bool check_only) {
  if (model->bytes.empty()) throw std::runtime_error("is empty");
  buildNetwork(*model, LayerInferenceConfig());
  if (!check_only) model_ = std::move(model);
}

TarnNet::TarnNet() = default;
TarnNet::TarnNet(TarnNet&&) noexcept = default;
TarnNet& TarnNet::operator=(TarnNet&&) noexcept = default;
TarnNet::~TarnNet() = default;

void TarnNet::load_tarn_net_with_inference_config(const KRNetLoader& loader,
                                                  const LayerInferenceConfig* config) {
  built_.reset();
  const auto where = [&] { return loader.model_ ? loader.model_->path : "network"; };
  succeeds(where, [&] {
    if (!loader.model_) throw std::runtime_error("no model file was loaded");
    const LayerInferenceConfig defaults;
    const LayerInferenceConfig& settings = config == nullptr ? defaults : *config;
    const auto built = std::make_shared<Built>();
    built->path = loader.model_->path;
    built->engine = buildNetwork(*loader.model_, settings);
    built->threads = settings.get_num_threads();
    built_ = built;
  });
}

TarnNetExtractor TarnNet::create_extractor() const {
  auto state = std::make_unique<TarnNetExtractor::State>();
  state->net = built_;
  state->request.keep_all = true;
  if (built_) state->request.threads = built_->threads;
  return TarnNetExtractor(std::move(state));
}

bool TarnNet::empty() const { return !built_; }
int TarnNet::get_input_count() const { return built_ ? built_->engine->inputCount() : 0; }

std::vector<int> TarnNet::get_input_shape(int index) const {
  if (index < 0 || index >= get_input_count()) return {};
  return built_->engine->inputShape(index);
}

TarnNetExtractor::TarnNetExtractor(std::unique_ptr<State> state) : state_(std::move(state)) {}
TarnNetExtractor::TarnNetExtractor(TarnNetExtractor&&) noexcept = default;
TarnNetExtractor& TarnNetExtractor::operator=(TarnNetExtractor&&) noexcept = default;
TarnNetExtractor::~TarnNetExtractor() = default;

void TarnNetExtractor::set_num_threads(int threads) {
  if (threads < 0 || threads > LayerInferenceConfig::kMostThreads) {
    Tarn::_LogError("Tarn", "set_num_threads: %d threads: must be from 0 to %d", threads,
                    LayerInferenceConfig::kMostThreads);
    return;
  }
  state_->request.threads = threads;
}

void TarnNetExtractor::set_light_mode(bool light) { state_->request.keep_all = !light; }

int TarnNetExtractor::input(int index, const Mat& blob) {
  const auto where = [&] { return state_->where("input", index); };
  return succeeds(where, [&] { state_->feed(index, blob); }) ? kOk : kFailed;
}

int TarnNetExtractor::get_last_layer_index() const { return state_->lastLayer(); }

int TarnNetExtractor::extract(int index, Mat& out, Statistician* stats) {
  const auto where = [&] { return state_->where("extract", index); };
  const bool done = succeeds(where, [&] {
    out = state_->blob(index, stats != nullptr);
    // The input is not the result of a run.
    if (stats != nullptr && index != 0) state_->tell(index, *stats);
  });
  return done ? kOk : kFailed;
}

}  // namespace TarnCPU
