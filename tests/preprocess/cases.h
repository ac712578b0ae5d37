// Drawn cases of preprocessing, for tests and the fuzz target: what is drawn is never refused.
#ifndef TN_KITS_TESTS_PREPROCESS_CASES_H_
#define TN_KITS_TESTS_PREPROCESS_CASES_H_

#include <algorithm>
#include <utility>

#include "tn_preprocess.h"

namespace tn_test {

// Everything of a view but its memory.
template <class Dice>
Tarn::FrameView drawView(Dice& dice, int largest) {
  Tarn::FrameView view;
  view.format = static_cast<Tarn::FrameFormat>(dice.between(0, 14));
  view.width = dice.between(1, largest);
  view.height = dice.between(1, largest);
  view.matrix = static_cast<Tarn::YuvMatrix>(dice.between(0, 2));
  view.range = static_cast<Tarn::YuvRange>(dice.between(0, 1));
  view.siting = static_cast<Tarn::ChromaSiting>(dice.between(0, 2));
  view.orientation = dice.between(1, 8);
  return view;
}

// The usual normalisations, and any.
template <class Dice>
void drawNormalisation(Dice& dice, Tarn::TensorSpec& spec) {
  const auto real = [&](int low, int high) { return static_cast<float>(dice.between(low, high)) / 64; };
  const int kind = dice.between(0, 4);
  spec.divisor = kind == 0 ? 1.0f : kind == 3 ? 127.5f : kind == 4 ? real(-900, -1) : 255.0f;
  const float mean[3] = {0.485f, 0.456f, 0.406f}, deviation[3] = {0.229f, 0.224f, 0.225f};
  for (int k = 0; k < 3 && kind >= 2; ++k) {
    spec.mean[k] = kind == 2 ? mean[k] : kind == 3 ? 1.0f : real(-250, 250);
    spec.deviation[k] = kind == 2 ? deviation[k] : kind == 3 ? 1.0f : real(1, 999);
    spec.scale[k] = kind == 4 ? real(-250, 250) : 1.0f;
  }
}

template <class Dice>
Tarn::TensorSpec drawSpec(Dice& dice, int largest) {
  Tarn::TensorSpec spec;
  spec.width = dice.between(1, largest);
  spec.height = dice.between(1, largest);
  spec.type = static_cast<Tarn::ElementType>(dice.between(0, 4));
  spec.layout = static_cast<Tarn::TensorLayout>(dice.between(0, 1));
  spec.colour = static_cast<Tarn::TensorColour>(dice.between(0, 2));
  spec.fit = static_cast<Tarn::Fit>(dice.between(0, 3));
  const bool letterbox = spec.fit == Tarn::Fit::kLetterbox || spec.fit == Tarn::Fit::kLetterboxTopLeft;
  spec.never_enlarge = letterbox && dice.between(0, 1) == 1;
  if (spec.fit == Tarn::Fit::kCrop) spec.short_side = std::max(0, dice.between(-20, 60));
  for (float& bar : spec.bar) bar = static_cast<float>(dice.between(0, 255 * 4)) / 4;
  const bool bytes = spec.type == Tarn::ElementType::kUint8,
             signed_bytes = spec.type == Tarn::ElementType::kInt8;
  if (signed_bytes || (bytes && dice.between(0, 1) == 1)) {
    spec.step = static_cast<float>(dice.between(1, 200)) / 64;
    spec.zero_point = signed_bytes ? dice.between(-128, 127) : dice.between(0, 255);
  }
  if (!bytes || spec.step > 0) drawNormalisation(dice, spec);
  spec.resampling = static_cast<Tarn::Resampling>(dice.between(0, 6));
  spec.pillow = dice.between(12, 13);
  return spec;
}

// Partly outside, now and then; the whole picture for half of them.
template <class Dice>
Tarn::Region drawRegion(Dice& dice, const Tarn::FrameView& view) {
  if (dice.between(0, 1) == 0) return {};
  int width = view.width, height = view.height;
  if (view.orientation >= 5) std::swap(width, height);
  const int x = dice.between(-4, width - 1), y = dice.between(-4, height - 1);
  return {x, y, dice.between(std::max(1, 1 - x), width + 4 - x),
          dice.between(std::max(1, 1 - y), height + 4 - y)};
}

}  // namespace tn_test

#endif  // TN_KITS_TESTS_PREPROCESS_CASES_H_
