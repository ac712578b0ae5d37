// Networks for which no memory is left, in the library and in its engine.
#include <gtest/gtest.h>

#include <iterator>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "tests/support/allocation_count.h"
#include "tn_cnn.h"
#include "tn_core.h"

namespace {

using namespace TarnCPU;

constexpr char kModel[] = TN_TEST_DATA "/small.onnx";

// What a pipeline has of a network, as far as it has got.
struct Pipeline {
  KRNetLoader loader;
  TarnNet net;
  std::unique_ptr<TarnNetExtractor> extractor;
  Mat image{6, 6, 3}, out;

  Pipeline() {
    for (std::size_t i = 0; i < image.total(); ++i)
      static_cast<float*>(image.data)[i] = static_cast<float>(i % 7) - 3.0f;
  }
  std::vector<float> output() const {
    const float* const values = static_cast<const float*>(out.data);
    return std::vector<float>(values, values + out.total());
  }
};

// Each step says whether it came through.
const struct Step {
  const char* name;
  bool (*run)(Pipeline&);
} kSteps[] = {
    {"LoadFile", [](Pipeline& p) { return p.loader.LoadFile(kModel, false); }},
    {"load_tarn_net",
     [](Pipeline& p) {
       p.net.load_tarn_net_with_inference_config(p.loader, nullptr);
       return !p.net.empty();
     }},
    {"create_extractor",
     [](Pipeline& p) {
       try {
         p.extractor = std::make_unique<TarnNetExtractor>(p.net.create_extractor());
       } catch (const std::bad_alloc&) {
         Tarn::_LogError("Tarn", "not made");  // the one that throws
       }
       return p.extractor != nullptr;
     }},
    {"input", [](Pipeline& p) { return p.extractor->input(0, p.image) == 0; }},
    {"extract",
     [](Pipeline& p) { return p.extractor->extract(p.extractor->get_last_layer_index(), p.out) == 0; }},
};

TEST(NetOutOfMemory, AStepFailsWithALineAndCanBeTakenAgain) {
  // Once with memory first: the engine's own set-up, at its first use in a process, cannot be begun
  // twice.
  Pipeline first;
  for (const Step& step : kSteps) ASSERT_TRUE(step.run(first)) << step.name;
  const std::vector<float> wanted = first.output();

  for (const bool and_later : {false, true})
    for (const Step& step : kSteps) {
      std::size_t nth = 1, failures = 0;
      // Thousands in all: the first ones, which are mostly the library's, and a sample of the engine's.
      for (bool done = false; !done; nth += nth < 100 ? 1 : 17) {
        SCOPED_TRACE(testing::Message()
                     << step.name << " without block " << nth << (and_later ? " and later ones" : ""));
        Pipeline pipeline;
        const Step* next = kSteps;
        for (; next != &step; ++next) ASSERT_TRUE(next->run(pipeline));
        // Counted, since keeping them takes memory.
        int lines = 0;
        const auto count_line = [](Tarn::LogLevel, const char*, const char*, void* user) {
          ++*static_cast<int*>(user);
        };
        Tarn::setLogSink(count_line, &lines);
        const std::size_t before = tn_test::allocationCount();
        bool passed;
        {
          const tn_test::FailingAllocation failing(nth, and_later);
          passed = step.run(pipeline);
        }
        Tarn::setLogSink(nullptr);
        done = tn_test::allocationCount() - before < nth;
        if (!passed) {
          ++failures;
          EXPECT_EQ(lines, 1);
          ASSERT_TRUE(step.run(pipeline));
        }
        for (++next; next != std::end(kSteps); ++next) ASSERT_TRUE(next->run(pipeline));
        ASSERT_EQ(pipeline.output(), wanted);
      }
      EXPECT_GT(failures, 0u);
    }
}

}  // namespace
