// Networks that cannot be loaded: what the library's inference config export calls.
#include "tn_cnn.h"

namespace TarnCPU {

struct KRNetLoader::Model {};
KRNetLoader::KRNetLoader() = default;
KRNetLoader::~KRNetLoader() = default;
bool KRNetLoader::LoadFile(const char*, bool) { return false; }

struct TarnNet::Built {};
TarnNet::TarnNet() = default;
TarnNet::~TarnNet() = default;
void TarnNet::load_tarn_net_with_inference_config(const KRNetLoader&, const LayerInferenceConfig*) {}
TarnNetExtractor TarnNet::create_extractor() const { return TarnNetExtractor(nullptr); }

struct TarnNetExtractor::State {};
TarnNetExtractor::TarnNetExtractor(std::unique_ptr<State>) {}
TarnNetExtractor::~TarnNetExtractor() = default;
void TarnNetExtractor::set_num_threads(int) {}
void TarnNetExtractor::set_light_mode(bool) {}
int TarnNetExtractor::input(int, const Mat&) { return -1; }
int TarnNetExtractor::get_last_layer_index() const { return 0; }
int TarnNetExtractor::extract(int, Mat&, Statistician*) { return -1; }

Statistician::~Statistician() = default;
void Statistician::on_network(const NetworkReport&) {}

struct ConfigPrinter::Notes {};
ConfigPrinter::ConfigPrinter() : notes_(nullptr) {}
ConfigPrinter::~ConfigPrinter() = default;
void ConfigPrinter::add_header() {}
void ConfigPrinter::add_tail() {}
void ConfigPrinter::on_network(const NetworkReport&) {}
void ConfigPrinter::on_layer(const LayerReport&) {}
std::string ConfigPrinter::get_config_string() const { return ""; }

}  // namespace TarnCPU
