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
using Limits = std::numeric_limits<float>;

bool sameParams(const Params& a, const Params& b) { return std::memcmp(&a, &b, sizeof(Params)) == 0; }

TEST(TrackerParams, DefaultsAreExact) {
  EXPECT_TRUE(sameParams(getTrackerParams(), {0.2f, 0, 1, 1, 25, 1, 0.01f, 10, 0.001f, 0.001f, 1}));
}

TEST(TrackerParams, RefusalsNameTheFieldAndChangeNothing) {
  const tn_test::RestoreTracking restore;
  Params kept;
  kept.fps = 30.0f;
  kept.maxConfidence = 9;
  setTrackerParams(kept);
  const auto expect_refusal = [&](const std::string& name, auto field, auto value) {
    Params params;
    params.*field = value;
    const std::string fault = tn_test::FaultOf([&] { setTrackerParams(params); });
    EXPECT_EQ(fault.find(name + " "), 0u) << name << " " << value << ": " << fault;
    EXPECT_TRUE(sameParams(getTrackerParams(), kept)) << name;
  };
  struct Case {
    const char* name;
    float Params::*field;
    float beyond;
  };
  static const Case cases[] = {
      {"iouThreshold", &Params::iouThreshold, -0.001f},
      {"iouThreshold", &Params::iouThreshold, 1.001f},
      {"fps", &Params::fps, 0.0f},
      {"minCutoff", &Params::minCutoff, -1.0f},
      {"beta", &Params::beta, Limits::infinity()},
      {"dCutoff", &Params::dCutoff, -0.5f},
      {"processNoise", &Params::processNoise, -1e-9f},
      {"measurementNoise", &Params::measurementNoise, -1.0f},
  };
  for (const Case& c : cases)
    for (const float value : {c.beyond, Limits::infinity(), -Limits::infinity(), Limits::quiet_NaN()})
      expect_refusal(c.name, c.field, value);
  expect_refusal("maxConfidence", &Params::maxConfidence, 0);
  expect_refusal("validThreshold", &Params::validThreshold, 2);
  expect_refusal("lostThreshold", &Params::lostThreshold, 1);
}

TEST(TrackerParams, TakesTheEdges) {
  const tn_test::RestoreTracking restore;
  constexpr std::int32_t kMost = std::numeric_limits<std::int32_t>::max();
  for (const bool high : {false, true}) {
    Params params;
    params.iouThreshold = high ? 1.0f : 0.0f;
    params.minCutoff = params.dCutoff = params.processNoise = params.measurementNoise =
        high ? Limits::max() : 0.0f;
    params.fps = high ? Limits::max() : Limits::denorm_min();
    params.beta = high ? Limits::max() : Limits::lowest();
    params.reserved = Limits::quiet_NaN();  // read by nothing
    params.maxConfidence = high ? kMost : 1;
    params.validThreshold = high ? kMost : -kMost;
    params.lostThreshold = params.validThreshold - 1;
    setTrackerParams(params);
    EXPECT_TRUE(sameParams(getTrackerParams(), params));
  }
}

}  // namespace
