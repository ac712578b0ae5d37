// Sequences of frames through the multi-box trackers, compared with the tracker that has the full table
// of overlaps: any boxes, any parameters that the setter takes, any clock.
#include <memory>
#include <stdexcept>

#include "fuzz/fuzz_input.h"
#include "tests/reference/literal_boxes_tracker.h"
#include "tests/support/same_bits.h"
#include "tn_boxtracker.h"

namespace {

using tn_fuzz::FuzzInput;
using tn_test::sameBox;
using Boxes = std::vector<Tarn::TarnBoundingBox2D>;

double seconds = 0.0;

void setParams(FuzzInput& input) {
  Tarn::TarnBoundingBoxesTrackerParams params;
  params.iouThreshold = static_cast<float>(input.byte()) / 255.0f;
  params.maxConfidence = input.coin() ? input.between(1, 4) : input.between(1, 2147483647);
  params.validThreshold = input.coin() ? input.between(-2, 4) : params.maxConfidence;
  params.lostThreshold = params.validThreshold - (input.coin() ? 1 : input.between(1, 6));
  if (input.coin())
    for (float* const value : {&params.fps, &params.minCutoff, &params.beta, &params.dCutoff,
                               &params.processNoise, &params.measurementNoise})
      *value = input.real();
  try {
    Tarn::setTrackerParams(params);
  } catch (const std::invalid_argument&) {
    Tarn::setTrackerParams(Tarn::TarnBoundingBoxesTrackerParams());
  }
}

Boxes frameOf(FuzzInput& input, const Boxes& before) {
  Boxes boxes;
  for (int i = input.between(0, 6); i > 0; --i) {
    // Mostly near a box of the frame before, else anywhere.
    Tarn::TarnBoundingBox2D box = {0, 0, 0, 0, static_cast<float>(input.byte()), input.between(0, 2)};
    if (!before.empty() && input.byte() % 4 != 0) {
      const Tarn::TarnBoundingBox2D& near = before[input.byte() % before.size()];
      box.x = near.x + input.fraction() / 8;
      box.y = near.y + input.fraction() / 8;
      box.w = near.w;
      box.h = near.h;
    } else {
      for (float* const value : {&box.x, &box.y, &box.w, &box.h}) *value = input.real();
    }
    boxes.push_back(box);
  }
  return boxes;
}

template <class T>
void follow(FuzzInput& input) {
  const int width = input.between(0, 2000), height = input.between(0, 2000);
  auto tracker = std::make_unique<Tarn::TarnBoundingBoxesTracker<T>>(width, height);
  Tarn::TarnIdentifiedBoxesTracker<T> identified(width, height);
  tn_test::LiteralBoxesTracker<T> literal(width, height);
  Boxes detections;
  for (int frames = 0; frames < 24 && !input.empty(); ++frames) {
    if (input.byte() % 8 == 0) setParams(input);
    // A copy replaces its source.
    if (input.byte() % 8 == 0) tracker = std::make_unique<Tarn::TarnBoundingBoxesTracker<T>>(*tracker);
    seconds += input.byte() % 4 == 0 ? static_cast<double>(input.real()) : 0.04;
    detections = frameOf(input, detections);
    const Boxes got = tracker->track(detections);
    const auto expected = literal.track(detections), numbered = identified.track(detections);
    FUZZ_CHECK(got.size() == expected.size() && numbered.size() == expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i)
      FUZZ_CHECK(sameBox(got[i], expected[i]) && sameBox(numbered[i], expected[i]));
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzInput input(data, size);
  seconds = 0.0;
  Tarn::setTrackerClock([] { return seconds; });
  setParams(input);
  if (input.coin())
    follow<Tarn::TarnKalmanFilterBoxTracker2D>(input);
  else
    follow<Tarn::TarnOneEuroFilterBoxTracker2D>(input);
  return 0;
}
