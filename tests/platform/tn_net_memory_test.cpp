// Models from memory: the same network as from the file, the same care about what is none.
#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "tn_cnn.h"
#include "tn_core.h"

namespace {

using namespace TarnCPU;

constexpr char kSmallNetwork[] = TN_TEST_DATA "/small.onnx";

std::vector<std::string> log_lines;

class NetFromMemory : public testing::Test {
 protected:
  NetFromMemory() {
    log_lines.clear();
    Tarn::setLogSink([](Tarn::LogLevel, const char*, const char* message, void*) {
      log_lines.emplace_back(message);
    });
    std::ifstream in(kSmallNetwork, std::ios::binary);
    model_.assign(std::istreambuf_iterator<char>(in), {});
  }
  ~NetFromMemory() override { Tarn::setLogSink(nullptr); }

  std::string model_;
};

std::vector<float> outputOf(const KRNetLoader& loader) {
  TarnNet net;
  net.load_tarn_net_with_inference_config(loader, nullptr);
  if (net.empty()) return {};
  Mat image(6, 6, 3), out;
  for (std::size_t i = 0; i < image.total(); ++i)
    static_cast<float*>(image.data)[i] = static_cast<float>(i % 7) - 3.0f;
  TarnNetExtractor extractor = net.create_extractor();
  EXPECT_EQ(extractor.input(0, image), 0);
  EXPECT_EQ(extractor.extract(extractor.get_last_layer_index(), out), 0);
  const float* const values = static_cast<const float*>(out.data);
  return std::vector<float>(values, values + out.total());
}

TEST_F(NetFromMemory, IsTheNetworkOfTheFile) {
  KRNetLoader file, memory;
  ASSERT_TRUE(file.LoadFile(kSmallNetwork, false));
  {
    std::string copy = model_;
    ASSERT_TRUE(memory.LoadMemory(copy.data(), copy.size(), false));
    std::fill(copy.begin(), copy.end(), '\0');  // the loader has its own
  }
  const std::vector<float> wanted = outputOf(file), got = outputOf(memory);
  ASSERT_EQ(wanted.size(), 10u);
  ASSERT_EQ(got.size(), wanted.size());
  EXPECT_EQ(std::memcmp(got.data(), wanted.data(), 10 * sizeof(float)), 0);
  EXPECT_TRUE(log_lines.empty());
}

TEST_F(NetFromMemory, CheckingKeepsNothing) {
  KRNetLoader loader;
  EXPECT_TRUE(loader.LoadMemory(model_.data(), model_.size(), false));
  EXPECT_TRUE(loader.LoadMemory(model_.data(), model_.size(), true));
  EXPECT_TRUE(log_lines.empty());
  EXPECT_TRUE(outputOf(loader).empty()) << "the earlier one is forgotten too";
}

TEST_F(NetFromMemory, WhatIsNoModelGivesOneLine) {
  const std::string notes = "These are notes.\n", zeros(100, '\0');
  struct Case {
    const char* name;
    const void* bytes;
    std::size_t size;
  };
  const Case cases[] = {{"nothing", nullptr, 0},
                        {"null", nullptr, 10},
                        {"no bytes", model_.data(), 0},
                        {"half", model_.data(), model_.size() / 2},
                        {"all but one", model_.data(), model_.size() - 1},
                        {"too large", model_.data(), std::size_t{1} << 40},
                        {"text", notes.data(), notes.size()},
                        {"zeros", zeros.data(), zeros.size()}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    log_lines.clear();
    KRNetLoader loader;
    EXPECT_FALSE(loader.LoadMemory(c.bytes, c.size, false));
    ASSERT_EQ(log_lines.size(), 1u);
    EXPECT_EQ(log_lines[0].rfind("model in memory: ", 0), 0u) << log_lines[0];
  }
}

}  // namespace
