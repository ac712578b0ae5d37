// The setter of the process-wide parameters: what it takes, and what it refuses.
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

bool sameParams(const Params& a, const Params& b) { return std::memcmp(&a, &b, sizeof(Params)) == 0; }

TEST(TrackerParams, DefaultsAreExact) {
  EXPECT_TRUE(sameParams(getTrackerParams(), {0.2f, 0, 1, 1, 25, 1, 0.01f, 10, 0.001f, 0.001f, 1}));
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
    params.reserved = 7.0f;  // would show in a record that is refused too late
    c.spoil(params);
    const std::string fault = tn_test::FaultOf([&] { setTrackerParams(params); });
    EXPECT_EQ(fault.find(std::string(c.field) + " "), 0u) << c.field << ": " << fault;
    EXPECT_TRUE(sameParams(getTrackerParams(), Params())) << c.field;
  }
}

TEST(TrackerParams, TakesTheEdges) {
  const tn_test::RestoreTracking restore;
  for (float threshold : {0.0f, 1.0f}) {
    Params params;
    params.iouThreshold = threshold;
    params.minCutoff = params.dCutoff = params.processNoise = params.measurementNoise = 0.0f;
    params.beta = -3.0f;
    params.reserved = std::numeric_limits<float>::quiet_NaN();  // read by nothing
    params.lostThreshold = -100;
    params.validThreshold = params.maxConfidence = 5;
    setTrackerParams(params);
    EXPECT_TRUE(sameParams(getTrackerParams(), params));
  }
}

}  // namespace
