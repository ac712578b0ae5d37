// The network classes of a library that was built without an engine.
#include <gtest/gtest.h>

#include "tests/support/log_lines.h"
#include "tn_cnn.h"

namespace {

using Lines = std::vector<std::string>;

TEST(WithoutAnEngine, NothingLoadsAndOneLineSaysWhy) {
  const std::string path = TN_TEST_DATA "/small.onnx";
  tn_test::LogLines log;
  TarnCPU::KRNetLoader loader;
  TarnCPU::TarnNet net;
  EXPECT_FALSE(loader.LoadFile(path.c_str(), false));
  net.load_tarn_net_with_inference_config(loader, nullptr);
  EXPECT_TRUE(net.empty());
  EXPECT_EQ(net.get_input_count(), 0);
  EXPECT_TRUE(net.get_input_shape(0).empty());

  TarnCPU::TarnNetExtractor extractor = net.create_extractor();
  EXPECT_EQ(extractor.get_last_layer_index(), 0);
  TarnCPU::Mat tensor(1, 1, 1);
  EXPECT_LT(extractor.input(0, tensor), 0);
  EXPECT_LT(extractor.extract(0, tensor), 0);
  EXPECT_EQ(tensor.total(), 1u);
  EXPECT_EQ(log.take(),
            (Lines{path + ": the library was built without a network engine",
                   "network: no model file was loaded", "network: input 0: no network was built",
                   "network: extract 0: no network was built"}));
}

}  // namespace
