// The text form of inference configs, and the rounding that they ask for.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <limits>
#include <memory>
#include <regex>

#include "platform/tn_cnn/src/engine/tn_weight_rounding.h"
#include "tests/support/log_lines.h"
#include "tests/support/test_support.h"
#include "tn_cnn.h"

namespace {

using TarnCPU::ConfigPrinter;
using TarnCPU::LayerInferenceConfig;
using TarnCPU::WeightPrecision;
using tn_test::LogLines;
using Lines = std::vector<std::string>;
using Precisions = std::map<std::string, WeightPrecision>;

TEST(InferenceConfigText, SettingsAreReadAndFaultsNamed) {
  struct Case {
    const char *line, *fault;
    Precisions precisions = {};
    int threads = 0;
  };
  constexpr auto f16 = WeightPrecision::kF16, bf16 = WeightPrecision::kBf16, f32 = WeightPrecision::kF32;
  const char* const escape = "a backslash is not followed by ";
  const Case cases[] = {
      {"layer conv1 f16", nullptr, {{"conv1", f16}}},
      {"\tlayer  conv1\tbf16   # rest # of it \"\r", nullptr, {{"conv1", bf16}}},
      {"layer conv1 f32#1", nullptr, {{"conv1", f32}}},
      {"layer conv1 \"f16\"#", nullptr, {{"conv1", f16}}},
      {"layer pool1 -", nullptr, {{"pool1", f32}}},
      {"layer \"a \\\"b\\\\ # \\x09\" f16", nullptr, {{"a \"b\\ # \t", f16}}},
      {"layer \"\" f16", nullptr, {{"", f16}}},
      {"layer \"\\xC3\\xb6\" f16", nullptr, {{"ö", f16}}},
      {"threads 3", nullptr, {}, 3},
      {"threads 1024", nullptr, {}, 1024},
      {"threads auto", nullptr},
      {"", nullptr},
      {"layer", "lacks the layer's name"},
      {"layer conv1 # f16", "lacks the precision"},
      {"layer conv1 f8", "the precision is f8, not f32, f16 or bf16"},
      {"layer conv1 f16 f32", "does not end before f32"},
      {"layer \"conv1 f16", "a quote is not closed"},
      {"layer \"conv1\"f16", "no blank follows the name conv1"},
      {"layer con\"v1 f16", "a quote stands inside the word \"con\\\"v1\""},
      {"layer \"a\\n\" f16", escape},
      {"layer \"a\\x1", escape},
      {"layer \"a\\x1g\" f16", escape},
      {"layer \"a\\", escape},
      {"threads", "lacks the number of threads"},
      {"threads +3", "the number of threads is +3, "},
      {"threads 0", "the number of threads is 0, not auto or 1 to 1024"},
      {"threads 1025", "the number of threads is 1025, "},
      {"threads 2x", "the number of threads is 2x, "},
      {"threads 99999999999", "the number of threads is 99999999999, "},
      {"threads 2 3", "does not end before 3"},
      {"Layer conv1 f16", "begins with Layer, not layer or threads"},
      {"\xEF\xBB\xBFlayer conv1 f16", "begins with \xEF\xBB\xBFlayer, "},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.line);
    LogLines log(LogLines::What::kWholeOfEach);
    // The lines around it apply whatever becomes of it.
    const LayerInferenceConfig config = LayerInferenceConfig::from_text(
        std::string("\xEF\xBB\xBF# a comment\n\ntarn-inference-config 1\nlayer before f16\n") + c.line +
            "\nlayer after bf16",
        "here");
    Precisions expected = c.precisions;
    expected.insert({{"before", f16}, {"after", bf16}});
    EXPECT_EQ(config.get_precisions(), expected);
    EXPECT_EQ(config.get_num_threads(), c.threads);
    const Lines lines = log.take();
    ASSERT_EQ(lines.size(), c.fault == nullptr ? 0u : 1u);
    if (c.fault == nullptr) continue;
    EXPECT_EQ(lines[0].rfind(std::string("E/Tarn: here:5: ") + c.fault, 0), 0u) << lines[0];
  }
}

TEST(InferenceConfigText, OfTwoLinesTheLaterCountsAndOtherVersionsAreRefused) {
  LogLines log;
  const LayerInferenceConfig twice = LayerInferenceConfig::from_text(
      "tarn-inference-config 1\nlayer a\nthreads 2x\nthreads 2\nlayer a f16\nlayer a bf16\n"
      "threads 0\nthreads auto\nlayer c f16\nlayer c -\n",
      "t\n");
  EXPECT_EQ(twice.get_precision("a"), WeightPrecision::kBf16);
  EXPECT_EQ(twice.get_precision("b"), WeightPrecision::kF32);
  EXPECT_EQ(twice.get_precision("c"), WeightPrecision::kF32);
  EXPECT_EQ(twice.get_num_threads(), 0);
  EXPECT_EQ(log.take(), (Lines{"t :2: lacks the precision",
                               "t :3: the number of threads is 2x, not auto or 1 to 1024",
                               "t :6: replaces an earlier line for layer a",
                               "t :7: the number of threads is 0, not auto or 1 to 1024",
                               "t :8: replaces an earlier line for threads",
                               "t :10: replaces an earlier line for layer c"}));

  for (const char* text : {"tarn-inference-config 2\nlayer a f16\nnonsense\n",
                           "layer a f16\nthreads 2\n", "tarn-inference-config 1 1\nthreads 2\n",
                           "tarn-inference-config 10\nthreads 2\n", "# nothing\n", ""}) {
    const LayerInferenceConfig config = LayerInferenceConfig::from_text(text);
    EXPECT_TRUE(config.get_precisions().empty()) << text;
    EXPECT_EQ(config.get_num_threads(), 0) << text;
    EXPECT_EQ(log.take().size(), 1u) << text;
  }
  LayerInferenceConfig::from_text("tarn-inference-config 1\nlayer b f16");
  EXPECT_EQ(log.take(), Lines()) << "the faults before are forgotten";
}

// The number that the next open file would get.
int nextFile(const std::string& path) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "r"), std::fclose);
#if defined(_WIN32)
  return _fileno(file.get());
#else
  return fileno(file.get());
#endif
}

TEST(InferenceConfigText, FilesThatCannotBeReadOrAreTooLargeGiveDefaultsAndOneLine) {
  constexpr std::uintmax_t kMost = std::uintmax_t{64} << 20;
  const std::string file = tn_test::TempPath(".txt");
  std::ofstream(file) << "tarn-inference-config 1\nlayer a f16\nlayer\n#";
  LogLines log;
  const int next_file = nextFile(file);
  for (const std::string path : {"no/such.txt", "no\nsuch.txt", ".", file.c_str()}) {
    if (path == file) std::filesystem::resize_file(file, kMost + 1);
    EXPECT_TRUE(LayerInferenceConfig::from_file(path).get_precisions().empty());
    const Lines lines = log.take();
    ASSERT_EQ(lines.size(), 1u) << path;
    const std::string shown = std::regex_replace(path, std::regex("\n"), " ");
    const char* const fault = path == file ? ": has more than 67108864 bytes" : ": cannot be read: ";
    EXPECT_EQ(lines[0].rfind(shown + fault, 0), 0u) << lines[0];
  }
  std::filesystem::resize_file(file, kMost);
  EXPECT_EQ(LayerInferenceConfig::from_file(file).get_precisions().size(), 1u);
  EXPECT_EQ(log.take(), Lines{file + ":3: lacks the layer's name"});
  EXPECT_EQ(nextFile(file), next_file) << "a file is left open";
  std::filesystem::remove(file);
  LayerInferenceConfig config;
  for (const int threads : {1024, 1025, -1, 1, 0}) {
    const bool is_taken = threads >= 0 && threads <= 1024;
    config.set_num_threads(threads);
    EXPECT_EQ(config.get_num_threads(), is_taken ? threads : 1024);
    EXPECT_EQ(log.take(),
              is_taken ? Lines() : Lines{std::to_string(threads) + " threads: must be from 0 to 1024"});
  }
}

TEST(ConfigPrinter, NamesOfAnyKindComeBackFromAlignedColumns) {
  const Lines names = {"conv1", "a b", "\"", "#", "\\x41", "", "\n\t\x7F", "größe", "-", "/m/x.1"};
  ConfigPrinter printer;
  printer.add_tail();
  printer.on_network({7, 1});
  int index = 0;
  for (const std::string& name : names) {
    TarnCPU::LayerReport layer;
    layer.index = ++index;
    layer.name = name;
    layer.type = "Odd\ntype";
    if (index > 1) layer.output_shape = {1, index * 100, 3};
    layer.milliseconds = std::pow(10.0, index - 3);
    layer.multiply_adds = 1'000'000'000;
    layer.parameter_bytes = 300'000'000;
    layer.has_weights = true;
    layer.precision = index % 2 == 0 ? WeightPrecision::kF16 : WeightPrecision::kBf16;
    printer.on_layer(layer);
  }
  printer.add_header();
  const std::string text = printer.get_config_string();

  LogLines log;
  const LayerInferenceConfig config = LayerInferenceConfig::from_text(text);
  EXPECT_EQ(log.take(), Lines());
  EXPECT_EQ(config.get_num_threads(), 7);
  ASSERT_EQ(config.get_precisions().size(), names.size());
  for (std::size_t i = 0; i < names.size(); ++i)
    EXPECT_EQ(config.get_precision(names[i]),
              i % 2 == 1 ? WeightPrecision::kF16 : WeightPrecision::kBf16)
        << names[i];

  for (const char* line :
       {"layer conv1           bf16     #     1  Odd type  -                0.010     1000000000        "
        "300000000\n",
        "layer größe           f16      #     8  Odd type  1x800x3     100000.000     1000000000        "
        "300000000\n",
        "# total: layers 10, ms 11111111.110, multiply-adds 10000000000, parameter bytes 3000000000\n"})
    EXPECT_NE(text.find(line), std::string::npos) << line;
}

// The positive value of a code with `significand` stored bits below its exponent.
double valueOf(unsigned code, int significand, int bias) {
  const unsigned low = code & ((1u << significand) - 1);
  const int exponent = static_cast<int>(code >> significand);
  const double scale = std::ldexp(1.0, std::max(exponent, 1) - bias - significand);
  return (exponent == 0 ? low : low + (1u << significand)) * scale;
}

TEST(WeightRounding, GoesToTheNearestAndOnTiesToTheEven) {
  static const struct {
    WeightPrecision precision;
    int significand, bias;
    unsigned infinity;  // the code after the largest finite one
  } formats[] = {{WeightPrecision::kF16, 10, 15, 0x7C00}, {WeightPrecision::kBf16, 7, 127, 0x7F80}};
  constexpr float kInfinity = std::numeric_limits<float>::infinity();
  for (const auto& f : formats) {
    SCOPED_TRACE(to_string(f.precision));
    const auto expect = [&](float value, float rounded) {
      ASSERT_EQ(TarnCPU::roundWeight(value, f.precision), rounded) << value;
      const float negative = TarnCPU::roundWeight(-value, f.precision);
      ASSERT_EQ(negative, -rounded) << -value;
      ASSERT_TRUE(std::signbit(negative)) << -value;
    };
    for (unsigned code = 0; code < f.infinity; ++code) {
      const double exact = valueOf(code, f.significand, f.bias);
      const double next = valueOf(code + 1, f.significand, f.bias);  // even where that is infinite
      const float low = static_cast<float>(exact), middle = static_cast<float>((exact + next) / 2);
      const float high = code + 1 == f.infinity ? kInfinity : static_cast<float>(next);
      expect(low, low);
      expect(middle, code % 2 == 0 ? low : high);
      expect(std::nextafter(middle, 0.0f), low);
      expect(std::nextafter(middle, kInfinity), high);
    }
    expect(kInfinity, kInfinity);
    const float nan = std::numeric_limits<float>::quiet_NaN();
    EXPECT_TRUE(std::isnan(TarnCPU::roundWeight(nan, f.precision)));
  }
  EXPECT_EQ(TarnCPU::roundWeight(0.1f, WeightPrecision::kF32), 0.1f);
}

}  // namespace
