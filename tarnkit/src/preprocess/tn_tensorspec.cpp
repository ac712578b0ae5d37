// What a tensor may be, and the ready-made ones.
#include <cmath>
#include <cstddef>

#include "tarnkit/src/preprocess/tn_geometry.h"
#include "tarnkit/src/preprocess/tn_refusal.h"

namespace Tarn {
namespace {

using preprocess::channelsOf;
using preprocess::checkEnumerator;
using preprocess::checkRange;
using preprocess::elementBytes;
using preprocess::elementName;
using preprocess::kMaxSide;
using preprocess::refuse;

void checkShape(const TensorSpec& spec) {
  checkRange("width", spec.width, 1, kMaxSide);
  checkRange("height", spec.height, 1, kMaxSide);
  checkEnumerator("type", spec.type, ElementType::kInt8);
  checkEnumerator("layout", spec.layout, TensorLayout::kNhwc);
  checkEnumerator("colour", spec.colour, TensorColour::kGray);
}

void checkFit(const TensorSpec& spec) {
  checkEnumerator("fit", spec.fit, Fit::kCrop);
  const bool letterbox = spec.fit == Fit::kLetterbox || spec.fit == Fit::kLetterboxTopLeft;
  if (spec.never_enlarge && !letterbox) refuse("never_enlarge", "only letterboxes have it");
  if (spec.short_side != 0 && spec.fit != Fit::kCrop) refuse("short_side", "only crops have it");
  checkRange("short_side", spec.short_side, 0, kMaxSide);
  checkEnumerator("resampling", spec.resampling, Resampling::kPillowBox);
  if (spec.pillow != 12 && spec.pillow != 13)
    refuse("pillow", std::to_string(spec.pillow) + " is neither 12 nor 13");
}

void checkNormalisation(const TensorSpec& spec) {
  if (!std::isfinite(spec.divisor) || spec.divisor == 0.0f)
    refuse("divisor", "must be finite and not 0");
  for (int c = 0; c < 3; ++c) {
    if (!(spec.bar[c] >= 0.0f && spec.bar[c] <= 255.0f))
      refuse(elementName("bar", c), "is not from 0 to 255");
    if (!std::isfinite(spec.mean[c])) refuse(elementName("mean", c), "must be finite");
    if (!std::isfinite(spec.deviation[c]) || spec.deviation[c] == 0.0f)
      refuse(elementName("deviation", c), "must be finite and not 0");
    if (!std::isfinite(spec.scale[c])) refuse(elementName("scale", c), "must be finite");
    // Every element lies between those of black and white.
    for (const float value : {0.0f, 255.0f})
      if (!std::isfinite(preprocess::normalised(spec, c, value)))
        refuse("divisor", "with mean, deviation and scale makes elements that are not finite");
  }
}

void checkQuantisation(const TensorSpec& spec) {
  const bool bytes = spec.type == ElementType::kUint8 || spec.type == ElementType::kInt8;
  if (!std::isfinite(spec.step) || spec.step < 0.0f) refuse("step", "must be finite and not below 0");
  if (!bytes && spec.step != 0.0f) refuse("step", "only bytes have it");
  if (!bytes && spec.zero_point != 0) refuse("zero_point", "only bytes have it");
  if (spec.type == ElementType::kInt8) {
    if (spec.step == 0.0f) refuse("step", "signed bytes need one");
    checkRange("zero_point", spec.zero_point, -128, 127);
  }
  if (spec.type != ElementType::kUint8) return;
  checkRange("zero_point", spec.zero_point, 0, 255);
  if (spec.step != 0.0f) return;
  if (spec.zero_point != 0) refuse("zero_point", "has no meaning without a step");
  if (spec.divisor != 1.0f) refuse("divisor", "bytes that are kept take no normalisation");
  for (int c = 0; c < 3; ++c) {
    if (spec.mean[c] != 0.0f)
      refuse(elementName("mean", c), "bytes that are kept take no normalisation");
    if (spec.deviation[c] != 1.0f)
      refuse(elementName("deviation", c), "bytes that are kept take no normalisation");
    if (spec.scale[c] != 1.0f)
      refuse(elementName("scale", c), "bytes that are kept take no normalisation");
  }
}

template <std::size_t kCount>
void assign(float (&to)[kCount], const float (&from)[kCount]) {
  for (std::size_t i = 0; i < kCount; ++i) to[i] = from[i];
}

TensorSpec classifier(int short_side, Resampling resampling, const float (&mean)[3],
                      const float (&deviation)[3]) {
  TensorSpec spec;
  spec.width = spec.height = 224;
  spec.fit = Fit::kCrop;
  spec.short_side = short_side;
  spec.divisor = 255.0f;
  assign(spec.mean, mean);
  assign(spec.deviation, deviation);
  spec.resampling = resampling;
  return spec;
}

}  // namespace

namespace preprocess {

void checkSpec(const TensorSpec& spec) {
  checkShape(spec);
  checkFit(spec);
  checkNormalisation(spec);
  checkQuantisation(spec);
}

}  // namespace preprocess

std::size_t TensorSpec::bytes() const {
  checkShape(*this);
  return static_cast<std::size_t>(width) * static_cast<std::size_t>(height) *
         static_cast<std::size_t>(channelsOf(colour)) * elementBytes(type);
}

TensorSpec TensorSpec::detector640() {
  TensorSpec spec;
  spec.divisor = 255.0f;
  spec.resampling = Resampling::kOpencvLinear;
  return spec;
}

TensorSpec TensorSpec::imagenet224() {
  return classifier(256, Resampling::kPillowBilinear, {0.485f, 0.456f, 0.406f},
                    {0.229f, 0.224f, 0.225f});
}

TensorSpec TensorSpec::clip224() {
  return classifier(224, Resampling::kPillowBicubic, {0.48145466f, 0.4578275f, 0.40821073f},
                    {0.26862954f, 0.26130258f, 0.27577711f});
}

}  // namespace Tarn
