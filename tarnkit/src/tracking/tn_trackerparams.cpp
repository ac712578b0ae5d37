// The parameters of all trackers, and the setter that checks them.
#include "tarnkit/src/tracking/tn_trackerparams.h"

#include <cmath>
#include <stdexcept>
#include <string>

namespace Tarn {
namespace {

void require(bool holds, const char* field, const char* rule) {
  if (!holds) throw std::invalid_argument(std::string(field) + " " + rule);
}

}  // namespace

std::shared_ptr<TarnBoundingBoxesTrackerParams> trackerParams =
    std::make_shared<TarnBoundingBoxesTrackerParams>();

TarnBoundingBoxesTrackerParams getTrackerParams() { return *trackerParams; }

void setTrackerParams(const TarnBoundingBoxesTrackerParams& params) {
  const struct {
    const char* name;
    float value;
  } floats[] = {
      {"iouThreshold", params.iouThreshold},
      {"fps", params.fps},
      {"minCutoff", params.minCutoff},
      {"beta", params.beta},
      {"dCutoff", params.dCutoff},
      {"processNoise", params.processNoise},
      {"measurementNoise", params.measurementNoise},
  };
  for (const auto& field : floats) require(std::isfinite(field.value), field.name, "must be finite");

  // The matching relies on a threshold that is not negative: see Matching.
  require(params.iouThreshold >= 0.0f && params.iouThreshold <= 1.0f, "iouThreshold",
          "must lie between 0 and 1");
  require(params.fps > 0.0f, "fps", "must be above 0");
  require(params.minCutoff >= 0.0f, "minCutoff", "must not be negative");
  require(params.dCutoff >= 0.0f, "dCutoff", "must not be negative");
  require(params.processNoise >= 0.0f, "processNoise", "must not be negative");
  require(params.measurementNoise >= 0.0f, "measurementNoise", "must not be negative");
  require(params.maxConfidence >= 1, "maxConfidence", "must be at least 1");
  require(params.validThreshold <= params.maxConfidence, "validThreshold",
          "must not be above maxConfidence");
  require(params.lostThreshold < params.validThreshold, "lostThreshold", "must be below validThreshold");
  *trackerParams = params;
}

}  // namespace Tarn
