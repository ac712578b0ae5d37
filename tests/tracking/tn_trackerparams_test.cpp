#include "tarnkit/src/tracking/tn_trackerparams.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <string>

#include "tests/support/test_support.h"
#include "tests/tracking/tracking_test_support.h"

namespace {

using namespace Tarn;
using Params = TarnBoundingBoxesTrackerParams;

constexpr float kInfinity = std::numeric_limits<float>::infinity();

std::uint32_t bits(float value) {
  std::uint32_t result;
  std::memcpy(&result, &value, sizeof(result));
  return result;
}

TEST(TrackerParams, DefaultsAreExact) {
  const Params p = getTrackerParams();
  EXPECT_EQ(bits(p.iouThreshold), 0x3E4CCCCDu);
  EXPECT_EQ(p.lostThreshold, 0);
  EXPECT_EQ(p.validThreshold, 1);
  EXPECT_EQ(p.maxConfidence, 1);
  EXPECT_EQ(bits(p.fps), 0x41C80000u);
  EXPECT_EQ(bits(p.minCutoff), 0x3F800000u);
  EXPECT_EQ(bits(p.beta), 0x3C23D70Au);
  EXPECT_EQ(bits(p.dCutoff), 0x41200000u);
  EXPECT_EQ(bits(p.processNoise), 0x3A83126Fu);
  EXPECT_EQ(bits(p.measurementNoise), 0x3A83126Fu);
  EXPECT_EQ(bits(p.reserved), 0x3F800000u);
}

TEST(TrackerParams, RefusalsNameTheFieldAndChangeNothing) {
  const tn_test::RestoreTracking restore;
  struct Case {
    const char* field;
    void (*spoil)(Params&);
  };
  static const Case cases[] = {
      {"iouThreshold", [](Params& p) { p.iouThreshold = -0.001f; }},
      {"iouThreshold", [](Params& p) { p.iouThreshold = 1.001f; }},
      {"iouThreshold", [](Params& p) { p.iouThreshold = std::numeric_limits<float>::quiet_NaN(); }},
      {"fps", [](Params& p) { p.fps = 0.0f; }},
      {"fps", [](Params& p) { p.fps = -25.0f; }},
      {"fps", [](Params& p) { p.fps = kInfinity; }},
      {"minCutoff", [](Params& p) { p.minCutoff = -1.0f; }},
      {"beta", [](Params& p) { p.beta = -kInfinity; }},
      {"dCutoff", [](Params& p) { p.dCutoff = -0.5f; }},
      {"processNoise", [](Params& p) { p.processNoise = -1e-9f; }},
      {"measurementNoise", [](Params& p) { p.measurementNoise = -1.0f; }},
      {"measurementNoise", [](Params& p) { p.measurementNoise = kInfinity; }},
      {"maxConfidence", [](Params& p) { p.maxConfidence = 0; }},
      {"validThreshold", [](Params& p) { p.validThreshold = 2; }},
      {"lostThreshold", [](Params& p) { p.lostThreshold = 1; }},
  };
  for (const Case& c : cases) {
    Params params;
    params.reserved = 7.0f;  // would show if a refused record got through
    c.spoil(params);
    const std::string fault = tn_test::FaultOf([&] { setTrackerParams(params); });
    EXPECT_EQ(fault.find(std::string(c.field) + " "), 0u) << c.field << ": " << fault;
    EXPECT_EQ(getTrackerParams().reserved, 1.0f) << c.field;
    EXPECT_EQ(getTrackerParams().maxConfidence, 1) << c.field;
  }
}

TEST(TrackerParams, TakesTheEdgesIntoTheOneRecord) {
  const tn_test::RestoreTracking restore;
  const auto* const record = trackerParams.get();
  for (float threshold : {0.0f, 1.0f}) {
    Params params;
    params.iouThreshold = threshold;
    params.minCutoff = params.dCutoff = params.processNoise = params.measurementNoise = 0.0f;
    params.beta = -3.0f;
    params.reserved = std::numeric_limits<float>::quiet_NaN();  // read by nothing
    params.lostThreshold = -100;
    params.validThreshold = params.maxConfidence = 5;
    setTrackerParams(params);
    EXPECT_EQ(trackerParams.get(), record);
    EXPECT_EQ(std::memcmp(record, &params, sizeof(Params)), 0);
  }
}

}  // namespace
