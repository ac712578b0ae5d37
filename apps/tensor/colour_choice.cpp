// The colour conversion of tensors from what the user and the video say.
#include "apps/tensor/colour_choice.h"

#include <cmath>
#include <cstddef>

#include "apps/support/failure.h"

namespace tarnkit {

Tarn::YuvToRgbOptions resolveColour(const ColourChoice& choice, const YuvColour& video,
                                    float default_scale) {
  Tarn::YuvToRgbOptions resolved;
  resolved.standard = choice.standard.value_or(video.standard);
  resolved.range = choice.range.value_or(video.range);
  resolved.channel_order = choice.order;
  for (std::size_t channel = 0; channel < 3; ++channel) {
    resolved.mean[channel] = choice.mean[channel];
    resolved.scale[channel] = choice.scale.empty() ? default_scale : choice.scale[channel];
    if (!std::isfinite(choice.mean[channel])) throw Failure("--mean", "values must be finite");
    if (!std::isfinite(resolved.scale[channel])) throw Failure("--scale", "values must be finite");
  }
  return resolved;
}

}  // namespace tarnkit
