// Networks: what is refused, what comes out, what is reported, and what rounding changes.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <opencv2/core.hpp>
#include <opencv2/core/utils/logger.hpp>
#include <random>
#include <regex>
#include <tuple>
#include <utility>

#include "tests/support/log_lines.h"
#include "tests/support/test_support.h"
#include "tests/support/threads.h"
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

TarnNet build(const std::string& file, const LayerInferenceConfig* config = nullptr) {
  KRNetLoader loader;
  EXPECT_TRUE(loader.LoadFile(dataFile(file).c_str(), false)) << file;
  TarnNet net;
  net.load_tarn_net_with_inference_config(loader, config);
  return net;
}

// Values without a pattern that could hide a swap of channels or rows; exact in f32.
Mat makeInput(int w, int h, int c, std::uint32_t seed = 1) {
  Mat input(w, h, c);
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
  void on_layer(const LayerReport& report) override {
    EXPECT_GT(network.threads, 0) << "the network's report comes first";
    layers.push_back(report);
  }
};

// The blobs of all layers of a network, the input's first.
using Blobs = std::vector<std::vector<float>>;
Blobs runAll(const TarnNet& net, const Mat& input, Statistician* stats = nullptr, int threads = 1,
             bool light = false) {
  TarnNetExtractor extractor = net.create_extractor();
  extractor.set_light_mode(light);
  extractor.set_num_threads(threads);
  EXPECT_EQ(extractor.input(0, input), 0);
  Blobs blobs;
  Mat blob;
  EXPECT_EQ(extractor.extract(extractor.get_last_layer_index(), blob, stats), 0);
  for (int index = 0; index <= extractor.get_last_layer_index(); ++index) {
    EXPECT_EQ(extractor.extract(index, blob), 0);
    blobs.push_back(valuesOf(blob));
  }
  return blobs;
}

Blobs runSmall(const TarnNet& net, Statistician* stats = nullptr, int threads = 1) {
  return runAll(net, makeInput(6, 6, 3), stats, threads);
}

// Parts of an ONNX file: a number of up to 10 bytes, a field with a number, a field with bytes.
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
std::string floatsCalled(const char* name, const std::vector<std::int64_t>& sizes) {
  std::string shape;
  for (const std::int64_t size : sizes) shape += part(1, number(1, size));
  return part(1, name) + part(2, part(1, number(1, 1) + part(2, shape)));
}
std::string nodeCalled(const char* name, const char* type, const std::string& inputs, const char* out) {
  return part(1, inputs + part(2, out) + part(3, name) + part(4, type));
}
std::string modelOf(const std::string& graph) {
  return number(1, 6) + part(7, graph) + part(8, part(1, "") + number(2, 11));
}
std::string nodeOf(const std::string& attribute) { return part(1, part(5, attribute)); }
std::string graphsNested(int depth) {
  return depth == 0 ? "" : nodeOf(part(6, graphsNested(depth - 1)));
}

// The fault in the one line that a model in memory gives when it is refused, each time.
std::string faultOf(const std::string& model) {
  LogLines log(LogLines::What::kWholeOfEach);
  for (const bool checks_only : {true, false})
    EXPECT_FALSE(KRNetLoader().LoadMemory(model.data(), model.size(), checks_only));
  const Lines lines = log.take();
  const std::string start = "E/Tarn: model in memory: ";
  const bool is_one = lines.size() == 2 && lines[0] == lines[1] && lines[0].rfind(start, 0) == 0 &&
                      lines[0].find('\n') == std::string::npos;
  EXPECT_TRUE(is_one) << model.size() << " bytes, " << testing::PrintToString(lines);
  return is_one ? lines[0].substr(start.size()) : "";
}

TEST(NetLoader, RefusesWhatIsNoModelInOneLine) {
  const std::string model = readFile(dataFile("small.onnx"));
  for (const std::string& content :
       {std::string("These are notes.\n"), std::string(1000, '\0'), std::string(1000, '\xFF')})
    faultOf(content);
  // Names and shapes are at both ends of the file, weights between: cuts at every byte of the former.
  for (std::size_t size = 1; size < model.size();
       size += size < 750 || size + 150 > model.size() ? 1u : 97u)
    faultOf(model.substr(0, size));
  const std::string long_key = varint(std::uint64_t{1} << 32 | 7 << 3 | 2) + varint(0);
  for (const std::string& field : {long_key, part(0, "")})
    EXPECT_EQ(faultOf(model + field), "is no ONNX model, or is damaged or cut off");
  EXPECT_EQ(faultOf(model + model), "has more than one graph");
  EXPECT_EQ(faultOf(""), "is empty");
  EXPECT_EQ(faultOf(part(8, "")), "is no ONNX model: it has no graph");
  EXPECT_EQ(faultOf(part(7, "")), "does not say which operators it uses, or is cut off");

  LogLines log;
  KRNetLoader loader;
  EXPECT_FALSE(loader.LoadMemory(nullptr, 10, false));
  EXPECT_FALSE(loader.LoadMemory(model.data(), std::size_t{1} << 31, false));
  EXPECT_EQ(log.take(), (Lines{"model in memory: is empty", "model in memory: is too large"}));
  const std::pair<const char*, std::string> paths[] = {
      {TN_TEST_DATA, TN_TEST_DATA ": cannot be read: "},
      {"", ": cannot be read: "},
      {"mis\nsing\x1B.onnx", "mis sing .onnx: cannot be read: "},
      {TN_TEST_DATA "/make_models.py", TN_TEST_DATA "/make_models.py: is no ONNX model"},
      {nullptr, "LoadFile: no path was given"}};
  for (const auto& [path, text] : paths) {
    EXPECT_FALSE(loader.LoadFile(path, false));
    const Lines lines = log.take();
    ASSERT_EQ(lines.size(), 1u) << text;
    EXPECT_EQ(lines[0].substr(0, text.size()), text);
  }
}

// Larger than a config may be, by a field that readers skip.
TEST(NetLoader, TakesLargeFiles) {
  constexpr std::size_t kPadding = std::size_t{65} << 20;
  const std::string path = tn_test::TempPath(".onnx");
  std::ofstream(path, std::ios::binary)
      << readFile(dataFile("small.onnx")) << varint(100 << 3 | 2) << varint(kPadding);
  std::filesystem::resize_file(path, std::filesystem::file_size(path) + kPadding);
  EXPECT_TRUE(KRNetLoader().LoadFile(path.c_str(), true));
  std::filesystem::remove(path);
}

// The engine copies a tensor's data by its shape.
TEST(NetLoader, TensorsMustHaveTheDataOfTheirShape) {
  constexpr std::int64_t kLarge = std::int64_t{1} << 31;
  const std::string floats = number(2, 1), integers = number(2, 7), two = number(1, 2);
  const auto raw = [](std::size_t bytes) { return part(9, std::string(bytes, '\x3E')); };
  const std::string good = two + floats + raw(8);
  const std::string two_by_three = part(1, varint(2) + varint(3)), lacks_two = "does not hold the 2 ";
  std::vector<std::pair<std::string, std::string>> cases = {
      {good, ""},
      {two_by_three + floats + raw(24), ""},
      {two + number(1, 0) + floats, ""},
      {floats + raw(4), ""},
      {two + floats + part(4, std::string(8, '\0')), ""},
      {two + integers + number(7, 300) + part(7, varint(300)), ""},
      {two + number(2, 11) + part(10, std::string(16, '\0')), ""},
      {two + floats + raw(7), lacks_two},
      {two + number(2, (std::int64_t{1} << 32) + 1) + raw(7),
       lacks_two},  // of which parsers keep 32 bits
      {two + floats + raw(9), lacks_two},
      {two + floats, lacks_two},
      {two_by_three + floats + raw(8), "does not hold the 6 "},
      {two + integers + part(7, varint(300)), lacks_two},
      {two + floats + part(7, std::string(2, '\1')), lacks_two},  // data of another type
      {good + part(4, std::string(8, '\0')), lacks_two},          // data twice
      {number(1, -2) + floats + raw(8), "is out of range"},
      {number(1, kLarge) + floats + raw(8), "is out of range"},
      {number(1, kLarge - 1) + number(1, kLarge - 1) + number(1, 0) + floats, "is out of range"},
      {number(1, 4) + number(1, kLarge << 31) + floats, "is out of range"},
  };
  // Bytes in an element of each type, by ONNX's codes of the types; 0 where engines refuse it.
  const std::size_t sizes[] = {0, 4, 1, 1, 2, 2, 4, 8, 0, 1, 2, 8, 4, 8, 0, 0, 2};
  for (std::size_t type = 0; type < std::size(sizes); ++type)
    for (const std::size_t bytes : {sizes[type] * 2 - 1, sizes[type] * 2})
      if (sizes[type] != 0)
        cases.emplace_back(two + number(2, static_cast<std::int64_t>(type)) + raw(bytes),
                           bytes % 2 == 0 ? "" : lacks_two);
  for (const auto& [tensor, fault] : cases)
    for (const std::string& graph :
         {part(5, tensor), nodeOf(part(5, tensor)), nodeOf(part(10, good) + part(10, tensor)),
          nodeOf(part(6, part(5, tensor))), nodeOf(part(11, "") + part(11, part(5, tensor)))}) {
      const std::string found = faultOf(modelOf(graph));
      EXPECT_NE(found.find(fault.empty() ? "has no inputs" : fault), std::string::npos)
          << found << ", not " << fault;
    }
  EXPECT_EQ(faultOf(modelOf(nodeOf(part(5, good) + part(5, good)))), "has two tensors in one attribute");
  for (const int depth : {32, 33, 5000})
    EXPECT_EQ(faultOf(modelOf(graphsNested(depth))),
              depth <= 32 ? "has no inputs" : "has graphs nested too deeply");
}

TEST(NetLoader, TheEnginesFaultsAreToldWithoutPlacesInItsSource) {
  std::string model = readFile(dataFile("small.onnx"));
  model.replace(model.find("MaxPool"), 7, "MaxPoll");
  EXPECT_EQ(
      faultOf(model),
      "Node [MaxPoll@ai.onnx]:(pool1) parse error: Can't create layer \"pool1\" of type \"MaxPoll\"");
  const std::string axis = number(1, 1) + number(2, 7) + part(8, "axis") + part(9, std::string(8, '\0'));
  EXPECT_EQ(faultOf(modelOf(nodeCalled("sum", "CumSum", part(1, "x") + part(1, "axis"), "y") +
                            part(5, axis) + part(11, floatsCalled("x", {1, 3, 4, 4})) +
                            part(12, floatsCalled("y", {1, 3, 4, 4})))),
            "has a CumSum, with which the engine overruns memory");
}

TEST(NetLoader, KeepsTheLastModelUnlessItOnlyCheckedOrFailed) {
  enum From { kFile, kMissing, kMemory, kNothing };
  const std::pair<From, bool> steps[] = {{kFile, true},     {kMemory, false}, {kMemory, true},
                                         {kFile, false},    {kFile, true},    {kMemory, false},
                                         {kMissing, false}, {kMemory, false}, {kNothing, false}};
  const Blobs expected = runSmall(build("small.onnx"));
  KRNetLoader loader;
  TarnNet net;
  LogLines log;
  for (const auto& [from, checks_only] : steps) {
    std::string model = readFile(dataFile("small.onnx"));
    const std::string path = dataFile(from == kFile ? "small.onnx" : "missing.onnx");
    const char* const bytes = from == kMemory ? model.data() : nullptr;
    const bool loads = from == kFile || from == kMemory, keeps = loads && !checks_only;
    EXPECT_EQ(from < kMemory ? loader.LoadFile(path.c_str(), checks_only)
                             : loader.LoadMemory(bytes, model.size(), checks_only),
              loads);
    EXPECT_EQ(log.take().size(), loads ? 0u : 1u);
    std::fill(model.begin(), model.end(), '\0');  // the loader has a copy
    net.load_tarn_net_with_inference_config(loader, nullptr);
    EXPECT_EQ(log.take(), keeps ? Lines{} : Lines{"network: no model file was loaded"});
    EXPECT_EQ(net.empty(), !keeps);
    EXPECT_EQ(keeps ? runSmall(net) : expected, expected);
  }
}

// The recurrent layers know their outputs by other names than the layer's.
TEST(Net, LightModeChangesNoBit) {
  for (const char* file : {"small.onnx", "recurrent.onnx"})
    for (const int threads : {0, 1, 2}) {
      const TarnNet net = build(file);
      const std::vector<int> sizes = net.get_input_shape(0);
      const Mat input = makeInput(sizes.back(), sizes[sizes.size() - 2], sizes[sizes.size() - 3]);
      EXPECT_EQ(runAll(net, input, nullptr, threads, true), runAll(net, input, nullptr, threads));
    }
}

// A node without a name has that of its output; another one has that of the network's output too.
TEST(Net, NamesAndShapesAreThoseOfTheFile) {
  using Sizes = std::vector<std::int64_t>;
  constexpr std::int64_t kLarge = std::int64_t{1} << 31;
  const std::tuple<Sizes, std::vector<int>, int> cases[] = {
      {{1, 3, 4, 5}, {1, 3, 4, 5}, 3},
      {{1, 3, 0, -7}, {1, 3, -1, -1}, 3},
      {{1, 3, kLarge, 5}, {1, 3, -1, 5}, 3},
      {{1, 2 * kLarge + 3, 4, 5}, {1, -1, 4, 5}, 3},
      {{}, {}, 3},
      {{2, 3, 1, 4, 5}, {2, 3, 1, 4, 5}, 6},
  };
  for (const auto& [sizes, shape, channels] : cases) {
    const std::string weights = number(1, 1) + number(2, 1) + part(8, "w") + part(9, "\1\2\3\4");
    const std::string model =
        modelOf(nodeCalled("", "Relu", part(1, "x"), "t") + nodeCalled("y", "Neg", part(1, "t"), "y") +
                part(5, weights) + part(11, floatsCalled("w", {1})) +
                part(11, floatsCalled("x", sizes)) + part(12, floatsCalled("y", {})));
    KRNetLoader loader;
    ASSERT_TRUE(loader.LoadMemory(model.data(), model.size(), false));
    TarnNet net;
    net.load_tarn_net_with_inference_config(loader, nullptr);
    EXPECT_EQ(net.get_input_count(), 1) << "an initialiser is no input";
    EXPECT_EQ(net.get_input_shape(0), shape);
    EXPECT_EQ(net.get_input_shape(-1), std::vector<int>());
    TarnNetExtractor extractor = net.create_extractor();
    EXPECT_EQ(extractor.input(0, makeInput(5, 4, channels)), 0);
    Mat out;
    Collector stats;
    EXPECT_EQ(extractor.extract(3, out, &stats), 0);
    EXPECT_EQ((std::tuple{out.c, out.h, out.w}), (std::tuple{channels, 4, 5}));
    Lines names;
    for (const LayerReport& layer : stats.layers) names.push_back(layer.name);
    EXPECT_EQ(names, (Lines{"t", "onnx_node!y", "y"}));
  }
}

// Layers 4 and 5 of this network are its outputs.
TEST(Net, ARunKeepsAllBlobsOrInLightModeTheOutputs) {
  const TarnNet net = build("two-inputs.onnx");
  for (const Lines& modes : {Lines{}, {"light"}, {"light", "not"}}) {
    const bool light = modes.size() == 1;
    TarnNetExtractor extractor = net.create_extractor();
    for (const std::string& mode : modes) extractor.set_light_mode(mode == "light");
    for (const int i : {0, 1})
      EXPECT_EQ(extractor.input(i, makeInput(4, 3, 2, static_cast<std::uint32_t>(3 - i))), 0);
    const auto blob = [&](int index, Statistician* stats = nullptr) {
      Mat out;
      EXPECT_EQ(extractor.extract(index, out, stats), 0);
      return out;
    };
    const Mat first = blob(5);
    blob(4);
    EXPECT_EQ(blob(5).data, first.data);
    blob(3);
    EXPECT_EQ(blob(5).data == first.data, !light);
    const std::vector<float> values = valuesOf(first);
    EXPECT_EQ(valuesOf(blob(5)), values);

    Collector whole, fewer;  // of a run that is made for them, and once
    blob(5, &whole);
    blob(4, &fewer);
    ASSERT_EQ(whole.layers.size(), 5u);
    ASSERT_EQ(fewer.layers.size(), 4u);
    EXPECT_EQ(fewer.layers[3].milliseconds, whole.layers[3].milliseconds);

    for (const int i : {0, 1}) {
      EXPECT_EQ(extractor.input(i, makeInput(5, 3, 2)), 0);
      LogLines log;
      Mat out;
      EXPECT_EQ(extractor.extract(5, out), -1) << "other sizes than the other input";
      EXPECT_EQ(extractor.input(i, makeInput(4, 3, 2, 7)), 0);
      EXPECT_NE(valuesOf(blob(5)), values);
      EXPECT_EQ(extractor.input(i, makeInput(4, 3, 2, static_cast<std::uint32_t>(3 - i))), 0);
      EXPECT_EQ(valuesOf(blob(5)), values);
    }
    EXPECT_EQ(valuesOf(first), values) << "the caller's to keep";
  }
}

TEST(Net, TimesOfLayersAreMillisecondsOfTheRun) {
  TarnNetExtractor extractor = build("open-size.onnx").create_extractor();
  std::chrono::duration<double, std::milli> whole{}, layers{};
  for (int run = 0; run < 4; ++run) {
    Mat out;
    Collector stats;
    EXPECT_EQ(extractor.input(0, makeInput(500, 500, 3)), 0);
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(extractor.extract(1, out, &stats), 0);
    whole += std::chrono::steady_clock::now() - begin;
    layers += decltype(layers)(stats.layers.at(0).milliseconds);
  }
  EXPECT_LT(layers, whole);
  EXPECT_GT(layers, whole / 900) << "copies take longer, but not by so much";
}

TEST(Net, InputsKeepTheirOrderLayoutAndShape) {
  const TarnNet net = build("two-inputs.onnx");
  EXPECT_EQ(net.get_input_count(), 2);
  EXPECT_EQ(net.get_input_shape(1), (std::vector<int>{1, 2, 3, 4}));
  EXPECT_EQ(net.get_input_shape(2), std::vector<int>());
  const Mat left = makeInput(4, 3, 2, 1), right = makeInput(4, 3, 2, 2);
  const std::vector<float> left_values = valuesOf(left), right_values = valuesOf(right);
  Mat right_pixels(4, 3, 2, TensorShape::HWC);
  for (std::size_t i = 0; i < 24; ++i)
    static_cast<float*>(right_pixels.data)[i % 12 * 2 + i / 12] = right_values[i];
  for (const Mat& second : {right, right_pixels}) {
    TarnNetExtractor extractor = net.create_extractor();
    EXPECT_EQ(extractor.input(1, second), 0);
    EXPECT_EQ(extractor.input(0, left), 0);
    std::fill_n(static_cast<float*>(second.data), 24, 0.0f);  // the extractor has a copy
    Mat positive, negative;
    ASSERT_EQ(extractor.extract(3, negative), 0);
    ASSERT_EQ(extractor.extract(2, positive), 0);
    ASSERT_EQ(positive.c * 100 + positive.h * 10 + positive.w, 234);
    for (std::size_t i = 0; i < 24; ++i) {
      ASSERT_EQ(valuesOf(positive)[i], std::max(left_values[i] - right_values[i], 0.0f)) << i;
      ASSERT_EQ(valuesOf(negative)[i], right_values[i] - left_values[i]) << i;
    }
  }
}

TEST(Net, WhatCannotBeRunIsOneLineAndTheNextRunWorks) {
  LogLines log;
  LayerInferenceConfig config;
  config.set_num_threads(1);
  const TarnNet net = build("small.onnx", &config);
  TarnNetExtractor extractor = net.create_extractor();
  Mat blob(1, 1, 1), no_floats = makeInput(6, 6, 3);
  no_floats.elem_size = 1;
  Collector stats;
  stats.network.threads = -1;
  const auto fault = [&](int code) {
    const Lines lines = log.take();
    return code == -1 && lines.size() == 1 ? lines[0].substr(dataFile("small.onnx: ").size()) : "none";
  };
  const Mat image = makeInput(6, 6, 3);
  EXPECT_EQ(fault(extractor.extract(9, blob, &stats)), "extract 9: input 0 was not fed");
  for (const int index : {-1, 1})
    EXPECT_EQ(fault(extractor.input(index, image)),
              "input " + std::to_string(index) + ": the network has inputs 0 to 0");
  for (const Mat& empty :
       {Mat(), Mat::from_float_array(image.row(0), 6, 0, 3, TensorShape::CHW, nullptr)})
    EXPECT_EQ(fault(extractor.input(0, empty)), "input 0: the tensor is empty");
  EXPECT_EQ(fault(extractor.input(0, no_floats)), "input 0: the tensor is not of floats");
  for (const auto& [w, h, c] : {std::array{9, 6, 3}, {6, 6, 4}, {600, 1, 3}}) {
    EXPECT_EQ(extractor.input(0, makeInput(w, h, c)), 0) << "sizes show when the network runs";
    const std::string text = fault(extractor.extract(9, blob, &stats));
    EXPECT_EQ(text.rfind("extract 9: ", 0), 0u) << text;
    EXPECT_EQ(text.find("OpenCV("), std::string::npos) << text;
  }
  EXPECT_EQ(extractor.input(0, image), 0);
  for (const int index : {-1, 10})
    EXPECT_EQ(fault(extractor.extract(index, blob, &stats)),
              "extract " + std::to_string(index) + ": the network has layers 1 to 9");
  EXPECT_EQ(blob.total(), 1u) << "as it was";
  EXPECT_TRUE(stats.layers.empty());
  EXPECT_EQ(extractor.extract(0, blob, &stats), 0);
  EXPECT_EQ(stats.network.threads, -1) << "nothing ran";
  EXPECT_EQ(extractor.extract(9, blob, &stats), 0);
  EXPECT_EQ(valuesOf(blob), runSmall(net)[9]);
  EXPECT_EQ((std::tuple{blob.c, blob.h, blob.w}), (std::tuple{1, 1, 10}));
  EXPECT_EQ(stats.network.threads, 1) << "as the config says";
  const int cpus = cv::getNumberOfCPUs(), engines = cv::getNumThreads();
  for (const auto& [set, used] : {std::pair{-1, 1}, {1025, 1}, {1024, cpus}, {0, engines}}) {
    extractor.set_num_threads(set);
    const std::string refusal = std::to_string(set) + " threads: must be from 0 to 1024";
    EXPECT_EQ(log.take(), used == 1 ? Lines{"set_num_threads: " + refusal} : Lines());
    EXPECT_EQ(extractor.input(0, image), 0);
    EXPECT_EQ(extractor.extract(9, blob, &stats), 0);
    EXPECT_EQ(stats.network.threads, used) << set;
    EXPECT_EQ(stats.network.configured_threads, 1);
  }

  // A blob too large is refused every time, and does not hinder runs of other sizes.
  extractor = build("large-blob.onnx").create_extractor();
  const Lines refusal = {dataFile("large-blob.onnx") +
                         ": extract 1: a blob would have more than 268435456 elements"};
  for (const int side : {1, 4, 4, 1, 4}) {
    EXPECT_EQ(extractor.input(0, makeInput(side, side, 1)), 0);
    for (int run = 0; run < 2; ++run) {
      EXPECT_EQ(extractor.extract(1, blob), side == 1 ? 0 : -1);
      EXPECT_EQ(log.take(), side == 1 ? Lines() : refusal);
    }
  }
}

// Half of the runs fail. The engine's messages and its number of threads belong to the process.
TEST(Net, ExtractorsOutliveTheirNetworksAndShareThemAndTheProcessAmongThreads) {
  using namespace cv::utils::logging;
  constexpr int kThreads = 4;
  const int threads = cv::getNumThreads();
  const LogLevel level = setLogLevel(LOG_LEVEL_WARNING);
  int calls = 0;
  const auto count = [](int, const char*, const char*, const char*, int, void* counter) {
    return ++*static_cast<int*>(counter);
  };
  cv::redirectError(count, &calls);
  {
    // Its line comes while the network is being built.
    LogLevel inside = LOG_LEVEL_WARNING;
    const auto build_another = [](Tarn::LogLevel, const char*, const char*, void* level_inside) {
      build("small.onnx");
      *static_cast<LogLevel*>(level_inside) = getLogLevel();
    };
    Tarn::setLogSink(build_another, &inside);
    LayerInferenceConfig config;
    config.set_precision("none", WeightPrecision::kF16);
    build("small.onnx", &config);
    EXPECT_EQ(inside, LOG_LEVEL_SILENT) << "until the last is done";
  }
  LogLines log;
  Blobs expected;
  std::vector<TarnNetExtractor> extractors;
  {
    const TarnNet nets[] = {build("small.onnx"), build("small.onnx")};
    for (int i = 0; i < kThreads; ++i) {
      expected.push_back(runSmall(nets[i % 2], nullptr, i)[9]);
      extractors.push_back(nets[i % 2].create_extractor());
      extractors.back().set_num_threads(i);
    }
  }
  std::array<int, kThreads> same = {};
  tn_test::onThreads(kThreads, [&](int i) {
    const auto at = static_cast<std::size_t>(i);
    for (int run = 0; run < 20; ++run) {
      Mat blob;
      extractors[at].input(0, makeInput(6 + run % 2 * 3, 6, 3, 2));
      extractors[at].extract(9, blob);  // is not to be taken for the next input's
      extractors[at].input(0, makeInput(6, 6, 3));
      same[at] += extractors[at].extract(9, blob) == 0 && valuesOf(blob) == expected[at];
    }
  });
  EXPECT_EQ(same, (std::array{20, 20, 20, 20}));
  EXPECT_EQ(log.take().size(), 40u);
  EXPECT_EQ(calls, 0) << "our faults are ours to report";
  EXPECT_THROW(cv::Mat(2, 2, CV_8U).reshape(3), cv::Exception);
  EXPECT_EQ(calls, 1);
  cv::redirectError(nullptr);
  EXPECT_EQ(cv::getNumThreads(), threads);
  EXPECT_EQ(setLogLevel(level), LOG_LEVEL_WARNING);
}

// Rounding in a config must be what rounding in the model file is, to the bit, and change one layer. In
// constants.onnx constants are either operand, and two layers share one. Newer OpenCVs make a layer of
// each constant.
TEST(NetConfig, RoundsTheLayerThatItNamesAndNothingElse) {
  const std::map<std::string, std::string> rounded_files = {{"conv1", "small-conv1-bf16.onnx"},
                                                            {"bn1", "small-bn1-f16.onnx"},
                                                            {"fc1", "small-fc1-bf16.onnx"},
                                                            {"sub1/const", "constants-first-bf16.onnx"},
                                                            {"first", "constants-first-bf16.onnx"}};
  const Mat input = makeInput(6, 6, 3);
  int rounded_layers = 0, compared = 0;
  for (const char* file : {"small.onnx", "constants.onnx"}) {
    Collector plain_stats;
    const Blobs plain = runAll(build(file), input, &plain_stats);
    for (std::size_t i = 0; i < plain_stats.layers.size(); ++i) {
      const LayerReport& layer = plain_stats.layers[i];
      EXPECT_TRUE(layer.milliseconds > 0.0 && layer.milliseconds < 1000.0) << "no layer is fused away";
      if (!layer.has_weights) continue;
      SCOPED_TRACE(layer.name);
      LayerInferenceConfig config;
      const bool is_f16 = layer.name == "bn1";
      config.set_precision(layer.name, is_f16 ? WeightPrecision::kF16 : WeightPrecision::kBf16);
      Collector stats;
      const Blobs rounded = runAll(build(file, &config), input, &stats);
      for (std::size_t before = 0; before <= i; ++before) EXPECT_EQ(rounded[before], plain[before]);
      EXPECT_NE(rounded[i + 1], plain[i + 1]);
      EXPECT_NE(rounded.back(), plain.back());
      EXPECT_EQ(stats.layers[i].precision, config.get_precision(layer.name));
      EXPECT_EQ(stats.layers[i].parameter_bytes, layer.parameter_bytes / 2);
      ++rounded_layers;
      const auto rounded_file = rounded_files.find(layer.name);
      if (rounded_file == rounded_files.end()) continue;
      EXPECT_EQ(rounded, runAll(build(rounded_file->second), input));
      ++compared;
    }
    EXPECT_EQ(runAll(build(file), input), plain) << "later networks are not rounded";
  }
  EXPECT_EQ(rounded_layers, CV_VERSION_MAJOR == 4 && CV_VERSION_MINOR < 7 ? 7 : 6);
  EXPECT_EQ(compared, 4);
  // The last two layers multiply and divide by the same constant.
  const Blobs blobs = runAll(build("constants.onnx"), input);
  const std::vector<float>& difference = blobs[2];
  for (std::size_t i = 0; i < difference.size(); ++i)
    ASSERT_NEAR(blobs.back()[i], difference[i], 1e-5) << "neither takes the other's constant";
}

// Times, and the width of their column, differ from run to run.
std::string exportText(const LayerInferenceConfig& config) {
  ConfigPrinter printer;
  printer.add_header();
  runSmall(build("small.onnx", &config), &printer);
  printer.add_tail();
  return std::regex_replace(printer.get_config_string(), std::regex(" +([0-9]+\\.[0-9]{3}|ms\\b)"),
                            " T");
}

TEST(NetConfig, WhatAppliesIsExportedAsATextThatReadsBack) {
  LayerInferenceConfig config;
  config.set_num_threads(1000);
  config.set_precision("conv1", WeightPrecision::kBf16);
  config.set_precision("fc1", WeightPrecision::kF16);
  config.set_precision("no such", WeightPrecision::kF32);
  config.set_precision("pool1", WeightPrecision::kF16);
  config.set_precision("relu 1", WeightPrecision::kF32);  // as it is anyway
  LogLines log;
  const std::string text = exportText(config), model = dataFile("small.onnx");
  EXPECT_EQ(
      log.take(),
      (Lines{model + ": the inference config names layer \"no such\", which the network does not have",
             model + ": the inference config names layer pool1, which has no weights to round"}));
  EXPECT_EQ(text, R"(tarn-inference-config 1
# Weights can be f32, f16 or bf16; - marks a layer that has none. The rest of a line from # on is not read.

threads 1000  # measured with 1

#     name              weights  # index  type          output T  multiply-adds  parameter bytes
layer conv1             bf16     #     1  Convolution   1x8x6x6 T           7776              448
layer bn1               f32      #     2  BatchNorm     1x8x6x6 T              0              128
layer "relu 1"          -        #     3  ReLU          1x8x6x6 T              0                0
layer pool1             -        #     4  Pooling       1x8x3x3 T              0                0
layer conv2             f32      #     5  Convolution   1x5x3x3 T            360              180
layer flatten1/flatten  -        #     6  Flatten       1x5x3x3 T              0                0
layer flatten1          -        #     7  Flatten       1x45 T              0                0
layer fc1               f16      #     8  InnerProduct  1x10 T            450              920
layer scores            -        #     9  Identity      1x10 T              0                0
# total: layers 9, T T, multiply-adds 8586, parameter bytes 1676
)");
  EXPECT_EQ(exportText(LayerInferenceConfig::from_text(text)), text);
  EXPECT_EQ(log.take(), Lines());
}

}  // namespace
