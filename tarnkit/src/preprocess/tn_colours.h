// From samples to colours: rows of interpolated samples to rows of red, green and blue, or grey, from 0
// to 255.
#ifndef TN_KITS_PREPROCESS_TN_COLOURS_H_
#define TN_KITS_PREPROCESS_TN_COLOURS_H_

#include <cstddef>

#include "tarnkit/src/preprocess/tn_frame.h"

namespace Tarn::preprocess {

// What turns samples to colours.
struct ColourRule {
  Samples samples;
  bool grey;           // wanted, instead of three colours
  float sample_scale;  // of ten bits; 1 for eight
  float luma_black, luma_gain, red_v, green_u, green_v, blue_u;
};
ColourRule colourRule(const FrameView& frame, TensorColour colour);

// Components that such a rule reads.
inline int componentsOf(const ColourRule& rule) {
  return rule.samples == Samples::kGray || (rule.samples == Samples::kYuv && rule.grey) ? 1 : 3;
}

// rows: of as many components as the rule reads, U before V, padded to kFetchLanes; overwritten by the
// colours. out: where the colours are; those of grey are one row.
void makeColours(const ColourRule& rule, std::size_t count, float* const rows[3], const float* out[3]);

}  // namespace Tarn::preprocess

#endif  // TN_KITS_PREPROCESS_TN_COLOURS_H_
