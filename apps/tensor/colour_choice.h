// How a tensor's values come from a video's samples: what the user chose, and what the video says.
#ifndef TN_KITS_APPS_TENSOR_COLOUR_CHOICE_H_
#define TN_KITS_APPS_TENSOR_COLOUR_CHOICE_H_

#include <optional>
#include <vector>

#include "tn_colormatrix.h"

namespace tarnkit {

// How YUV samples are to be read: whose matrix, which range.
struct YuvColour {
  Tarn::YuvStandard standard = Tarn::YuvStandard::kBt601;
  Tarn::YuvRange range = Tarn::YuvRange::kLimited;
};

struct ColourChoice {
  std::optional<Tarn::YuvStandard> standard;
  std::optional<Tarn::YuvRange> range;
  Tarn::ChannelOrder order = Tarn::ChannelOrder::kRgb;
  std::vector<float> mean = {0.0f, 0.0f, 0.0f};
  std::vector<float> scale;  // empty if not given
};

// What was not given comes from the video's colour; a scale that was not is `default_scale`. Throws
// Failure for a mean or scale that is not finite.
Tarn::YuvToRgbOptions resolveColour(const ColourChoice& choice, const YuvColour& video,
                                    float default_scale = 1.0f);

}  // namespace tarnkit

#endif  // TN_KITS_APPS_TENSOR_COLOUR_CHOICE_H_
