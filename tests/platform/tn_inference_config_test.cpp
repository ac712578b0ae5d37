// The text form of inference configs, and the rounding that they ask for.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <limits>
#include <regex>
#include <sstream>

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
      {"layer pool1 -", nullptr, {{"pool1", f32}}},
      {"layer \"a \\\"b\\\\ # \\x09\" f16", nullptr, {{"a \"b\\ # \t", f16}}},
      {"layer \"\" f16", nullptr, {{"", f16}}},
      {"threads 3", nullptr, {}, 3},
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
    LogLines log;
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
    EXPECT_EQ(lines[0].rfind(std::string("here:5: ") + c.fault, 0), 0u) << lines[0];
  }
}

TEST(InferenceConfigText, OfTwoLinesTheLaterCountsAndOtherVersionsAreRefused) {
  LogLines log;
  const LayerInferenceConfig twice = LayerInferenceConfig::from_text(
      "tarn-inference-config 1\nthreads 2\nlayer a f16\nlayer a bf16\nthreads 4\nlayer c f16\nlayer c "
      "-\n",
      "t\n");
  EXPECT_EQ(twice.get_precision("a"), WeightPrecision::kBf16);
  EXPECT_EQ(twice.get_precision("b"), WeightPrecision::kF32);
  EXPECT_EQ(twice.get_precision("c"), WeightPrecision::kF32);
  EXPECT_EQ(twice.get_num_threads(), 4);
  EXPECT_EQ(log.take(), (Lines{"t :4: replaces an earlier line for layer a",
                               "t :5: replaces an earlier line for threads",
                               "t :7: replaces an earlier line for layer c"}));

  for (const char* text :
       {"tarn-inference-config 2\nlayer a f16\nnonsense\n", "layer a f16\nthreads 2\n",
        "tarn-inference-config 1 1\nthreads 2\n", "# nothing\n", ""}) {
    const LayerInferenceConfig config = LayerInferenceConfig::from_text(text);
    EXPECT_TRUE(config.get_precisions().empty()) << text;
    EXPECT_EQ(config.get_num_threads(), 0) << text;
    EXPECT_EQ(log.take().size(), 1u) << text;
  }
  LayerInferenceConfig::from_text("tarn-inference-config 1\nlayer b f16");
  EXPECT_EQ(log.take(), Lines()) << "the faults before are forgotten";
}

TEST(InferenceConfigText, FilesThatCannotBeReadOrAreTooLargeGiveDefaultsAndOneLine) {
  constexpr std::uintmax_t kMost = std::uintmax_t{64} << 20;
  const std::string file = tn_test::TempPath(".txt");
  std::ofstream(file) << "tarn-inference-config 1\nlayer a f16\n#";
  LogLines log;
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
  std::filesystem::remove(file);
  LayerInferenceConfig config;
  for (const int threads : {-1, 1025}) config.set_num_threads(threads);
  EXPECT_EQ(config.get_num_threads(), 0);
  EXPECT_EQ(log.take().size(), 2u);
}

TEST(ConfigPrinter, NamesOfAnyKindComeBackFromAlignedColumns) {
  const Lines names = {"conv1", "a b", "\"", "#", "\\x41", "", "\n\t\x7F", "größe", "-", "/m/x.1"};
  ConfigPrinter printer;
  printer.add_header();
  printer.on_network({7, 1});
  int index = 0;
  for (const std::string& name : names) {
    TarnCPU::LayerReport layer;
    layer.index = ++index;
    layer.name = name;
    layer.type = "Odd\ntype";
    layer.output_shape = {1, index * 100, 3};
    layer.milliseconds = std::pow(10.0, index - 3);
    layer.has_weights = true;
    layer.precision = index % 2 == 0 ? WeightPrecision::kF16 : WeightPrecision::kBf16;
    printer.on_layer(layer);
  }
  printer.add_tail();
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

  // All lines of the table have the same width; the one with umlauts has two bytes more.
  std::istringstream lines(text);
  std::size_t width = 0, rows = 0;
  for (std::string row; std::getline(lines, row);) {
    if (row.rfind("layer ", 0) != 0) continue;
    if (rows++ == 0) width = row.size();
    EXPECT_EQ(row.size(), width + (row.find("größe") == std::string::npos ? 0u : 2u)) << row;
  }
  EXPECT_EQ(rows, names.size());
  EXPECT_NE(text.find("# total: layers 10, "), std::string::npos);
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
