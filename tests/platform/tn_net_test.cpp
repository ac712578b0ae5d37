// Networks: what is refused, what comes out, what is reported, and what rounding changes.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <opencv2/core.hpp>
#include <opencv2/core/utils/logger.hpp>
#include <random>
#include <regex>
#include <thread>

#include "tests/support/log_lines.h"
#include "tests/support/test_support.h"
#include "tn_cnn.h"

namespace {

using namespace TarnCPU;
using tn_test::LogLines;
using Lines = std::vector<std::string>;

std::string dataFile(const std::string& name) { return TN_TEST_DATA "/" + name; }

std::string readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  EXPECT_TRUE(in) << path;
  return std::string(std::istreambuf_iterator<char>(in), {});
}

// A file of its own for each test, gone afterwards.
class TempFile {
 public:
  TempFile() : path_(tn_test::TempPath(".onnx")) {}
  TempFile(const TempFile&) = delete;
  TempFile& operator=(const TempFile&) = delete;
  ~TempFile() { std::filesystem::remove(path_); }

  const std::string& path() const { return path_; }
  void write(const std::string& content) const {
    std::ofstream(path_, std::ios::binary | std::ios::trunc) << content;
  }

 private:
  std::string path_;
};

TarnNet build(const std::string& file, const LayerInferenceConfig* config = nullptr) {
  KRNetLoader loader;
  EXPECT_TRUE(loader.LoadFile(dataFile(file).c_str(), false)) << file;
  TarnNet net;
  net.load_tarn_net_with_inference_config(loader, config);
  EXPECT_FALSE(net.empty()) << file;
  return net;
}

// Values without a pattern that could hide a swap of channels or rows; exact in f32.
Mat makeInput(int w, int h, int c, std::uint32_t seed = 1,
              TensorShape::Layout layout = TensorShape::CHW) {
  Mat input(w, h, c, layout);
  std::mt19937 random(seed);
  for (std::size_t i = 0; i < input.total(); ++i)
    static_cast<float*>(input.data)[i] = static_cast<float>(random() % 2001) / 1000.0f - 1.0f;
  return input;
}

std::vector<float> valuesOf(const Mat& tensor) {
  const float* const values = static_cast<const float*>(tensor.data);
  return std::vector<float>(values, values + tensor.total());
}

struct Collector : Statistician {
  NetworkReport network;
  std::vector<LayerReport> layers;
  void on_network(const NetworkReport& report) override { network = report; }
  void on_layer(const LayerReport& report) override { layers.push_back(report); }
};

// The blobs of all layers of a network, the input's first.
std::vector<std::vector<float>> runAll(const TarnNet& net, const Mat& input,
                                       Statistician* stats = nullptr, int threads = 1) {
  TarnNetExtractor extractor = net.create_extractor();
  extractor.set_num_threads(threads);
  EXPECT_EQ(extractor.input(0, input), 0);
  std::vector<std::vector<float>> blobs;
  Mat blob;
  EXPECT_EQ(extractor.extract(extractor.get_last_layer_index(), blob, stats), 0);
  for (int index = 0; index <= extractor.get_last_layer_index(); ++index) {
    EXPECT_EQ(extractor.extract(index, blob), 0);
    blobs.push_back(valuesOf(blob));
  }
  return blobs;
}

std::vector<std::vector<float>> runSmall(const TarnNet& net, Statistician* stats = nullptr,
                                         int threads = 1) {
  return runAll(net, makeInput(6, 6, 3), stats, threads);
}

// The small models begin and end with names and shapes; weights lie between.
bool isStructure(const std::string& model, std::size_t at) {
  return at < 750 || at + 150 > model.size();
}

TEST(NetLoader, RefusesWhatIsNoModelInOneLine) {
  const std::string model = readFile(dataFile("small.onnx"));
  std::vector<std::string> contents = {"", "These are notes.\n", std::string(1000, '\0'),
                                       std::string(1000, '\xFF'), model + model};
  for (std::uint32_t seed = 1; seed <= 20; ++seed) {
    std::mt19937 random(seed);
    std::string noise(500 * seed, '\0');
    for (char& byte : noise) byte = static_cast<char>(random());
    contents.push_back(noise);
  }
  // All cuts in the structure at either end, some in the weights between.
  for (std::size_t size = 1; size < model.size(); size += isStructure(model, size) ? 1u : 97u)
    contents.push_back(model.substr(0, size));

  const TempFile file;
  LogLines log;
  KRNetLoader loader;
  for (const std::string& content : contents) {
    file.write(content);
    EXPECT_FALSE(loader.LoadFile(file.path().c_str(), content.size() % 2 == 0));
    const Lines lines = log.take();
    ASSERT_EQ(lines.size(), 1u) << content.size() << " bytes";
    EXPECT_EQ(lines[0].rfind(file.path() + ": ", 0), 0u) << lines[0];
    EXPECT_EQ(lines[0].find('\n'), std::string::npos) << lines[0];
  }
  const std::string folder = std::filesystem::temp_directory_path().string();
  const std::string missing = dataFile("missing.onnx");
  for (const char* path :
       {folder.c_str(), missing.c_str(), "", "mis\nsing.onnx", static_cast<const char*>(nullptr)}) {
    EXPECT_FALSE(loader.LoadFile(path, false));
    const Lines lines = log.take();
    ASSERT_EQ(lines.size(), 1u) << (path == nullptr ? "null" : path);
    EXPECT_EQ(lines[0].find('\n'), std::string::npos) << lines[0];
  }
}

// Whatever a damaged file says must be refused or run, not trusted.
TEST(NetLoader, DamagedModelsNeverCrash) {
  const std::string model = readFile(dataFile("small.onnx"));
  const TempFile file;
  LogLines log;
  int loaded = 0;
  const auto damage = [&](std::size_t at, char mask) {
    std::string content = model;
    content[at] = static_cast<char>(content[at] ^ mask);
    file.write(content);
    KRNetLoader loader;
    const bool ok = loader.LoadFile(file.path().c_str(), false);
    ASSERT_EQ(log.take().size(), ok ? 0u : 1u) << "byte " << at;
    if (!ok) return;
    ++loaded;
    TarnNet net;
    net.load_tarn_net_with_inference_config(loader, nullptr);
    TarnNetExtractor extractor = net.create_extractor();
    Mat blob;
    if (extractor.input(0, makeInput(6, 6, 3)) == 0)
      extractor.extract(extractor.get_last_layer_index(), blob);
    log.take();
  };
  for (std::size_t at = 0; at < model.size(); at += isStructure(model, at) ? 1u : 50u) {
    damage(at, at % 2 == 0 ? 0x01 : 0x40);
  }
  EXPECT_GT(loaded, 100) << "changed weights and names must not matter";
}

// A model of one node, written by hand: what makes models refuses to write these.
struct OneNode {
  struct Constant {
    std::vector<std::int64_t> sizes;
    std::vector<std::int64_t> integers;  // none: floats
  };
  const char* type;
  std::vector<std::pair<const char*, std::vector<std::int64_t>>> attributes;
  std::vector<Constant> constants;  // further inputs
  std::vector<std::int64_t> input;
  bool hides_rank;  // the node takes what another one makes of the input
  const char* fault;
};

std::string varint(std::uint64_t value) {
  std::string bytes;
  for (; value >= 0x80; value >>= 7) bytes += static_cast<char>(value | 0x80);
  return bytes + static_cast<char>(value);
}
std::string number(unsigned field, std::int64_t value) {
  return varint(field << 3) + varint(static_cast<std::uint64_t>(value));
}
std::string part(unsigned field, const std::string& bytes) {
  return varint(field << 3 | 2) + varint(bytes.size()) + bytes;
}

std::string tensorPart(const std::string& name, const OneNode::Constant& constant) {
  std::string tensor = part(8, name), packed;
  for (const std::int64_t size : constant.sizes) tensor += number(1, size);
  if (!constant.integers.empty()) {
    for (const std::int64_t value : constant.integers)
      packed += varint(static_cast<std::uint64_t>(value));
    return tensor + number(2, 7) + part(7, packed);
  }
  std::size_t bytes = sizeof(float);
  for (const std::int64_t size : constant.sizes) bytes *= static_cast<std::size_t>(size);
  return tensor + number(2, 1) + part(9, std::string(bytes, '\x3E'));
}

std::string write(const OneNode& model) {
  std::string graph, shape;
  if (model.hides_rank)
    graph += part(1, part(1, "x") + part(2, "s") + part(3, "first") + part(4, "Sum"));
  std::string node = part(3, "bad") + part(4, model.type) + part(1, model.hides_rank ? "s" : "x");
  for (std::size_t i = 0; i < model.constants.size(); ++i) {
    const std::string name = "c" + std::to_string(i);
    node += part(1, name);
    graph += part(5, tensorPart(name, model.constants[i]));
  }
  for (const auto& [name, values] : model.attributes) {
    std::string attribute = part(1, name);
    if (values.size() == 1) attribute += number(3, values[0]) + number(20, 2);
    for (std::size_t i = 0; values.size() > 1 && i < values.size(); ++i)
      attribute += number(8, values[i]);
    node += part(5, attribute + (values.size() > 1 ? number(20, 7) : ""));
  }
  for (const std::int64_t size : model.input) shape += part(1, number(1, size));
  const auto value = [](const char* name, const std::string& sizes) {
    return part(1, name) + part(2, part(1, number(1, 1) + part(2, sizes)));
  };
  graph += part(1, node + part(2, "y")) + part(11, value("x", shape)) + part(12, value("y", ""));
  return number(1, 6) + part(7, graph) + part(8, part(1, "") + number(2, 11));
}

// OpenCV would divide by these numbers, take them for places in memory or fill memory with them.
TEST(NetLoader, NumbersThatNoNetworkHasAreOneLine) {
  constexpr std::int64_t kLeast = std::numeric_limits<std::int32_t>::min();
  const std::vector<std::int64_t> image = {1, 3, 8, 8};
  const OneNode::Constant filter = {{4, 3, 3, 3}, {}}, one = {{1}, {}};
  const OneNode models[] = {
      {"Conv", {{"group", {0}}}, {filter}, image, false, "has group 0, not from 1"},
      {"Conv", {{"group", {-1}}}, {filter}, image, false, "has group -1, not from 1"},
      {"Conv", {{"strides", {1, 1 << 30}}}, {filter}, image, true, "has strides 1073741824"},
      {"Conv", {{"kernel_shape", {7, 7}}}, {filter}, image, false, "weights of another kernel"},
      {"Conv", {{"kernel_shape", {3, 3}}, {"strides", {1}}}, {filter}, image, false, "as many strides"},
      {"Conv", {{"kernel_shape", {3, 3}}}, {{{0, 3, 3, 3}, {}}}, image, false, "has no elements"},
      {"Conv", {{"kernel_shape", {3, 3}}}, {filter}, {1, 3, 8, 8, 8}, false, "of another rank"},
      {"Conv", {{"kernel_shape", {3, 3}}}, {filter}, {1, 3, 8, 8, 8}, true, "of another rank"},
      {"Conv", {{"kernel_shape", {3, 3}}}, {}, image, false, "lacks input 1"},
      {"ConvTranspose",
       {{"kernel_shape", {3, 3}}, {"strides", {3000, 3000}}},
       {{{3, 4, 3, 3}, {}}},
       image,
       false,
       "268435456"},
      {"MaxPool", {{"kernel_shape", {2, 2}}}, {}, {1, 1, 1, 1, 1, 1, 1, 1}, true, "of another rank"},
      {"BatchNormalization", {}, {one, one, one, one}, {1, 3, 8, 8}, false, "as many parameters"},
      {"BatchNormalization", {}, {one, one, one, one}, {1, 100000, 1, 1}, true, "as many parameters"},
      {"BatchNormalization", {}, {one, {{3}, {}}, one, one}, {1, 1, 8, 8}, false, "different lengths"},
      {"Gather", {{"axis", {9}}}, {{{1}, {0}}}, image, false, "has axis 9, not from 0 to 3"},
      {"Gather", {{"axis", {-1}}}, {{{1}, {0}}}, image, false, "has axis -1, not from 0 to 3"},
      {"Gather", {{"axis", {1}}}, {{{1}, {0}}}, {8}, true, "has axis 1, not from 0 to 0"},
      {"Squeeze", {{"axes", {kLeast, 0}}}, {}, image, true, "has axis -2147483648"},
      {"Slice", {}, {{{1}, {0}}, {{1}, {4}}, {{0}, {}}}, image, false, "has no elements"},
      {"Expand", {}, {{{4}, {1 << 20, 3, 8, 8}}}, image, false, "has repetitions 1048576"},
      {"Expand", {}, {{{4}, {1, 9999, 9999, 9999}}}, {1, 1, 1, 1}, true, "more than 268435456"},
      {"Add", {}, {{{1, 1, 3, 1, 1}, {}}}, image, false, "of more dimensions than its first"},
      {"GRU", {{"hidden_size", {2}}}, {{{1, 6, 3}, {}}, {{1, 6, 2}, {}}}, {}, false, "has rank 0"},
      {"CumSum", {}, {{{1}, {1}}}, image, false, "is not supported"},
  };
  LogLines log;
  for (const OneNode& model : models) {
    SCOPED_TRACE(testing::Message() << model.type << ", " << model.fault);
    const std::string bytes = write(model);
    KRNetLoader loader;
    if (loader.LoadMemory(bytes.data(), bytes.size(), false)) {
      TarnNet net;
      net.load_tarn_net_with_inference_config(loader, nullptr);
      TarnNetExtractor extractor = net.create_extractor();
      Mat blob;
      EXPECT_EQ(extractor.input(0, makeInput(8, 8, 3)), 0);
      EXPECT_LT(extractor.extract(extractor.get_last_layer_index(), blob), 0);
    }
    const Lines lines = log.take();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_NE(lines[0].find(model.fault), std::string::npos) << lines[0];
  }
  const OneNode good = {"Conv", {{"kernel_shape", {3, 3}}}, {filter}, image, true, ""};
  const std::string bytes = write(good);
  EXPECT_TRUE(KRNetLoader().LoadMemory(bytes.data(), bytes.size(), true));
}

// OpenCV's importer says where in OpenCV a fault arose.
TEST(NetLoader, FaultsAreToldWithoutOpenCvsPlaces) {
  const std::string bytes = write({"Transpose", {{"perm", {0, 0, 0, 0}}}, {}, {1, 3, 8, 8}, false, ""});
  LogLines log;
  EXPECT_FALSE(KRNetLoader().LoadMemory(bytes.data(), bytes.size(), true));
  EXPECT_EQ(log.take(),
            (Lines{"model in memory: Node [Transpose@ai.onnx]:(bad) parse error: Permute layer "
                   "parameter contains duplicated orders."}));
}

TEST(NetLoader, MemoryHoldsTheNetworkOfTheFileOrGivesOneLine) {
  const std::string model = readFile(dataFile("small.onnx")), notes = "These are notes.\n";
  const std::string zeros(100, '\0');
  LogLines log;
  KRNetLoader loader;
  {
    std::string copy = model;
    ASSERT_TRUE(loader.LoadMemory(copy.data(), copy.size(), false));
    std::fill(copy.begin(), copy.end(), '\0');  // the loader has its own
  }
  TarnNet net;
  net.load_tarn_net_with_inference_config(loader, nullptr);
  EXPECT_EQ(runSmall(net), runSmall(build("small.onnx")));
  EXPECT_EQ(log.take(), Lines());

  const struct {
    const char* name;
    const void* bytes;
    std::size_t size;
  } cases[] = {{"nothing", nullptr, 0},
               {"null", nullptr, 10},
               {"no bytes", model.data(), 0},
               {"half", model.data(), model.size() / 2},
               {"all but one", model.data(), model.size() - 1},
               {"too large", model.data(), std::size_t{1} << 40},
               {"text", notes.data(), notes.size()},
               {"zeros", zeros.data(), zeros.size()}};
  for (const auto& c : cases) {
    EXPECT_FALSE(loader.LoadMemory(c.bytes, c.size, false)) << c.name;
    const Lines lines = log.take();
    ASSERT_EQ(lines.size(), 1u) << c.name;
    EXPECT_EQ(lines[0].rfind("model in memory: ", 0), 0u) << lines[0];
  }
}

TEST(NetLoader, CheckingKeepsNothingAndFailingForgets) {
  LogLines log;
  KRNetLoader loader;
  const std::string small = dataFile("small.onnx");
  const auto is_kept = [&] {
    TarnNet net;
    net.load_tarn_net_with_inference_config(loader, nullptr);
    return !net.empty();
  };
  EXPECT_TRUE(loader.LoadFile(small.c_str(), true));
  EXPECT_EQ(log.take(), Lines());
  EXPECT_FALSE(is_kept());
  EXPECT_EQ(log.take(), (Lines{"network: no model file was loaded"}));
  const std::string model = readFile(small);
  EXPECT_TRUE(loader.LoadMemory(model.data(), model.size(), false));
  EXPECT_TRUE(is_kept());
  EXPECT_TRUE(loader.LoadMemory(model.data(), model.size(), true));
  EXPECT_FALSE(is_kept()) << "the earlier one is forgotten too";
  EXPECT_TRUE(loader.LoadFile(small.c_str(), false));
  EXPECT_TRUE(is_kept());
  EXPECT_FALSE(loader.LoadFile(dataFile("missing.onnx").c_str(), false));
  EXPECT_FALSE(is_kept());
}

TEST(Net, ReportsEveryLayer) {
  struct Expected {
    const char *name, *type;
    std::vector<int> shape;
    std::int64_t multiply_adds, bytes;
  };
  const Expected expected[] = {
      {"conv1", "Convolution", {1, 8, 6, 6}, 8 * 36 * 27, 4 * (8 * 27 + 8)},
      {"bn1", "BatchNorm", {1, 8, 6, 6}, 0, 4 * 8 * 4},
      {"relu 1", "ReLU", {1, 8, 6, 6}, 0, 0},
      {"pool1", "Pooling", {1, 8, 3, 3}, 0, 0},
      {"conv2", "Convolution", {1, 5, 3, 3}, 5 * 9 * 8, 4 * (5 * 8 + 5)},
      {"flatten1/flatten", "Flatten", {1, 5, 3, 3}, 0, 0},
      {"flatten1", "Flatten", {1, 45}, 0, 0},
      {"fc1", "InnerProduct", {1, 10}, 450, 4 * (450 + 10)},
      {"scores", "Identity", {1, 10}, 0, 0},
  };
  LayerInferenceConfig config;
  config.set_num_threads(1000);
  const TarnNet net = build("small.onnx", &config);
  EXPECT_EQ(net.get_input_count(), 1);
  EXPECT_EQ(net.get_input_shape(0), (std::vector<int>{1, 3, 6, 6}));
  EXPECT_EQ(net.get_input_shape(1), std::vector<int>());
  Collector stats;
  runSmall(net, &stats);
  EXPECT_EQ(stats.network.configured_threads, 1000);
  EXPECT_EQ(stats.network.threads, 1);
  ASSERT_EQ(stats.layers.size(), std::size(expected));
  for (std::size_t i = 0; i < stats.layers.size(); ++i) {
    const LayerReport& layer = stats.layers[i];
    SCOPED_TRACE(expected[i].name);
    EXPECT_EQ(layer.index, static_cast<int>(i) + 1);
    EXPECT_EQ(layer.name, expected[i].name);
    EXPECT_EQ(layer.type, expected[i].type);
    EXPECT_EQ(layer.output_shape, expected[i].shape);
    EXPECT_EQ(layer.multiply_adds, expected[i].multiply_adds);
    EXPECT_EQ(layer.parameter_bytes, expected[i].bytes);
    EXPECT_EQ(layer.has_weights, expected[i].bytes != 0);
    EXPECT_EQ(layer.precision, WeightPrecision::kF32);
    EXPECT_GT(layer.milliseconds, 0.0) << "no layer is fused away";
    EXPECT_LT(layer.milliseconds, 1000.0);
  }
}

TEST(Net, LightModeChangesNoBit) {
  struct Case {
    const char* file;
    Mat input;
  };
  // Recurrent layers know their outputs by other names than the layer's.
  for (const Case& c :
       {Case{"small.onnx", makeInput(6, 6, 3)}, Case{"recurrent.onnx", makeInput(3, 1, 5)}}) {
    SCOPED_TRACE(c.file);
    const TarnNet net = build(c.file);
    for (const int threads : {0, 1, 2}) {
      const auto blobs = runAll(net, c.input, nullptr, threads);
      TarnNetExtractor extractor = net.create_extractor();
      extractor.set_light_mode(true);
      extractor.set_num_threads(threads);
      EXPECT_EQ(extractor.input(0, c.input), 0);
      const int last = extractor.get_last_layer_index();
      for (int step = 0; step < last; ++step) {
        const int index = step * 5 % last + 1;  // back and forth
        Mat blob;
        Collector stats;
        ASSERT_EQ(extractor.extract(index, blob, &stats), 0);
        EXPECT_EQ(valuesOf(blob), blobs[static_cast<std::size_t>(index)]) << "layer " << index;
        EXPECT_EQ(stats.layers.size(), static_cast<std::size_t>(index));
      }
    }
  }
}

TEST(Net, InputsKeepTheirOrderLayoutAndShape) {
  const TarnNet net = build("two-inputs.onnx");
  EXPECT_EQ(net.get_input_count(), 2);
  const Mat left = makeInput(4, 3, 2, 1), right = makeInput(4, 3, 2, 2);
  Mat right_pixels(4, 3, 2, TensorShape::HWC);
  for (std::size_t i = 0; i < 24; ++i)
    static_cast<float*>(right_pixels.data)[i % 12 * 2 + i / 12] =
        static_cast<const float*>(right.data)[i];
  for (const Mat& second : {right, right_pixels}) {
    TarnNetExtractor extractor = net.create_extractor();
    EXPECT_EQ(extractor.input(1, second), 0);
    EXPECT_EQ(extractor.input(0, left), 0);
    Mat positive, negative;
    ASSERT_EQ(extractor.extract(3, negative), 0);
    ASSERT_EQ(extractor.extract(2, positive), 0);
    ASSERT_EQ(positive.c * 100 + positive.h * 10 + positive.w, 234);
    for (std::size_t i = 0; i < 24; ++i) {
      const float difference = valuesOf(left)[i] - valuesOf(right)[i];
      ASSERT_EQ(valuesOf(positive)[i], std::max(difference, 0.0f)) << i;
      ASSERT_EQ(valuesOf(negative)[i], -difference) << i;
    }
  }
}

TEST(Net, WhatCannotBeRunIsOneLineAndTheNextRunWorks) {
  LogLines log;
  const TarnNet net = build("small.onnx");
  TarnNetExtractor extractor = net.create_extractor();
  Mat blob, no_floats = makeInput(6, 6, 3);
  no_floats.elem_size = 1;
  Collector stats;
  stats.network.threads = -1;
  const auto is_refused = [&](int code) { return code < 0 && log.take().size() == 1; };
  EXPECT_TRUE(is_refused(extractor.extract(9, blob, &stats))) << "nothing was fed";
  EXPECT_TRUE(is_refused(extractor.input(-1, makeInput(6, 6, 3))));
  EXPECT_TRUE(is_refused(extractor.input(1, makeInput(6, 6, 3))));
  EXPECT_TRUE(is_refused(extractor.input(0, Mat())));
  EXPECT_TRUE(is_refused(extractor.input(0, no_floats)));
  for (const auto& [w, h, c] : {std::array{9, 6, 3}, {6, 6, 4}, {600, 1, 3}}) {
    EXPECT_EQ(extractor.input(0, makeInput(w, h, c)), 0) << "sizes show when the network runs";
    EXPECT_TRUE(is_refused(extractor.extract(9, blob, &stats)));
  }
  EXPECT_EQ(extractor.input(0, makeInput(6, 6, 3)), 0);
  EXPECT_TRUE(is_refused(extractor.extract(-1, blob, &stats)));
  EXPECT_TRUE(is_refused(extractor.extract(10, blob, &stats)));
  EXPECT_TRUE(blob.empty());
  EXPECT_TRUE(stats.layers.empty());
  extractor.set_num_threads(-1);
  EXPECT_EQ(log.take().size(), 1u);
  EXPECT_EQ(extractor.extract(0, blob, &stats), 0);
  EXPECT_EQ(stats.network.threads, -1) << "nothing ran";
  EXPECT_EQ(extractor.extract(9, blob, &stats), 0);
  EXPECT_EQ(valuesOf(blob), runSmall(net, nullptr, 0)[9]);
}

TEST(Net, ExtractorsOutliveTheirNetworksAndShareThemAmongThreads) {
  std::vector<TarnNet> nets;
  for (int i = 0; i < 2; ++i) nets.push_back(build("small.onnx"));
  std::vector<std::vector<float>> expected;
  std::vector<TarnNetExtractor> extractors;
  for (int threads = 0; threads < 4; ++threads) {
    TarnNet& net = nets[static_cast<std::size_t>(threads) % 2];
    expected.push_back(runSmall(net, nullptr, threads)[9]);
    extractors.push_back(net.create_extractor());
    extractors.back().set_num_threads(threads);
  }
  nets.clear();
  std::vector<std::thread> threads;
  std::vector<int> same(extractors.size(), 0);
  for (std::size_t i = 0; i < extractors.size(); ++i)
    threads.emplace_back([&, i] {
      for (int run = 0; run < 20; ++run) {
        Mat blob;
        extractors[i].input(0, makeInput(6, 6, 3, static_cast<std::uint32_t>(run)));
        extractors[i].input(0, makeInput(6, 6, 3));
        same[i] += extractors[i].extract(9, blob) == 0 && valuesOf(blob) == expected[i];
      }
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(same, std::vector<int>(extractors.size(), 20));
}

TEST(Net, TheProcessGetsItsOpenCvSettingsBack) {
  using namespace cv::utils::logging;
  const int threads = cv::getNumThreads();
  const LogLevel level = setLogLevel(LOG_LEVEL_WARNING);
  int calls = 0;
  const auto count = [](int, const char*, const char*, const char*, int, void* counter) {
    return ++*static_cast<int*>(counter);
  };
  cv::redirectError(count, &calls);
  LogLines log;
  TarnNetExtractor extractor = build("small.onnx").create_extractor();
  extractor.set_num_threads(1);
  Mat blob;
  EXPECT_EQ(extractor.input(0, makeInput(9, 9, 3)), 0);
  EXPECT_LT(extractor.extract(9, blob), 0);
  EXPECT_EQ(calls, 0) << "our faults are ours to report";
  EXPECT_THROW(cv::Mat(2, 2, CV_8U).reshape(3), cv::Exception);
  EXPECT_EQ(calls, 1);
  cv::redirectError(nullptr);
  EXPECT_EQ(cv::getNumThreads(), threads);
  EXPECT_EQ(setLogLevel(level), LOG_LEVEL_WARNING);
}

// Rounding in a config must be what rounding in the model file is, to the bit, and touch one layer.
TEST(NetConfig, RoundsTheLayerThatItNamesAndNothingElse) {
  struct Case {
    const char *layer, *file;
    WeightPrecision precision;
    std::size_t index;
    std::int64_t bytes;
  };
  static const Case cases[] = {
      {"conv1", "small-conv1-bf16.onnx", WeightPrecision::kBf16, 1, 448},
      {"bn1", "small-bn1-f16.onnx", WeightPrecision::kF16, 2, 64},
      {"fc1", "small-fc1-bf16.onnx", WeightPrecision::kBf16, 8, 920},
  };
  const auto plain = runSmall(build("small.onnx"));
  for (const Case& c : cases) {
    SCOPED_TRACE(c.layer);
    LayerInferenceConfig config;
    config.set_precision(c.layer, c.precision);
    Collector stats;
    const auto rounded = runSmall(build("small.onnx", &config), &stats);
    EXPECT_EQ(rounded, runSmall(build(c.file)));
    for (std::size_t i = 0; i < c.index; ++i) EXPECT_EQ(rounded[i], plain[i]) << "layer " << i;
    EXPECT_NE(rounded[c.index], plain[c.index]);
    EXPECT_NE(rounded.back(), plain.back());
    EXPECT_EQ(stats.layers[c.index - 1].precision, c.precision);
    EXPECT_EQ(stats.layers[c.index - 1].parameter_bytes, c.bytes);
  }
  EXPECT_EQ(runSmall(build("small.onnx")), plain) << "later networks are as they were";
}

TEST(NetConfig, RoundsConstantsWhicheverOperandTheyAre) {
  const Mat input = makeInput(6, 6, 3);
  const auto run = [&](const char* file, const LayerInferenceConfig* config, Collector& stats) {
    return runAll(build(file, config), input, &stats);
  };
  Collector stats;
  const auto plain = run("constants.onnx", nullptr, stats);
  const std::vector<LayerReport> layers = stats.layers;
  // The network ends in a multiplication and the division by the same constant.
  const std::vector<float>& difference = plain[plain.size() - 4];
  for (std::size_t i = 0; i < difference.size(); ++i)
    ASSERT_NEAR(plain.back()[i], difference[i], 1e-5) << "neither takes the other's constant";

  int rounded_layers = 0;
  for (std::size_t i = 0; i < layers.size(); ++i) {
    if (!layers[i].has_weights) continue;
    SCOPED_TRACE(layers[i].name);
    LayerInferenceConfig config;
    config.set_precision(layers[i].name, WeightPrecision::kBf16);
    const auto rounded = run("constants.onnx", &config, stats);
    EXPECT_NE(rounded[i + 1], plain[i + 1]);
    EXPECT_EQ(std::vector(rounded.begin(), rounded.begin() + static_cast<std::ptrdiff_t>(i) + 1),
              std::vector(plain.begin(), plain.begin() + static_cast<std::ptrdiff_t>(i) + 1));
    Collector ignored;
    if (layers[i].type == "Const") {
      EXPECT_EQ(rounded, run("constants-first-bf16.onnx", nullptr, ignored));
    }
    ++rounded_layers;
  }
  EXPECT_EQ(rounded_layers, 3);
}

TEST(NetConfig, WhatDoesNotApplyIsNamedAndTheRestIsApplied) {
  LogLines log;
  LayerInferenceConfig config;
  config.set_precision("conv1", WeightPrecision::kBf16);
  config.set_precision("no such", WeightPrecision::kF32);
  config.set_precision("pool1", WeightPrecision::kF16);
  config.set_precision("relu 1", WeightPrecision::kF32);  // as it is anyway
  const TarnNet net = build("small.onnx", &config);
  const std::string start = dataFile("small.onnx") + ": the inference config names layer ";
  EXPECT_EQ(log.take(), (Lines{start + "\"no such\", which the network does not have",
                               start + "pool1, which has no weights to round"}));
  EXPECT_EQ(runSmall(net), runSmall(build("small-conv1-bf16.onnx")));
}

std::string exportText(const LayerInferenceConfig& config) {
  ConfigPrinter printer;
  printer.add_header();
  runSmall(build("small.onnx", &config), &printer);
  printer.add_tail();
  return printer.get_config_string();
}

// Times differ from run to run, and with them the width of their column.
std::string withoutTimes(const std::string& text) {
  return std::regex_replace(text, std::regex(" +([0-9]+\\.[0-9]{3}|ms\\b)"), " T");
}

TEST(NetConfig, ExportParseExportIsTheSameTextButForTimes) {
  LayerInferenceConfig config;
  config.set_num_threads(2);
  config.set_precision("conv1", WeightPrecision::kBf16);
  config.set_precision("fc1", WeightPrecision::kF16);
  const std::string text = exportText(config);
  LogLines log;
  const LayerInferenceConfig parsed = LayerInferenceConfig::from_text(text);
  EXPECT_EQ(withoutTimes(exportText(parsed)), withoutTimes(text));
  EXPECT_EQ(log.take(), Lines());
  EXPECT_EQ(parsed.get_precision("conv1"), WeightPrecision::kBf16);
  EXPECT_NE(withoutTimes(exportText(LayerInferenceConfig())), withoutTimes(text));
}

}  // namespace
