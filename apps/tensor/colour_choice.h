// What the samples of a YUV frame mean: what the user chose, and what the video says.
#ifndef TN_KITS_APPS_TENSOR_COLOUR_CHOICE_H_
#define TN_KITS_APPS_TENSOR_COLOUR_CHOICE_H_

#include <optional>

#include "tn_preprocess.h"

namespace tarnkit {

// How YUV samples are to be read: whose matrix, which range.
struct YuvColour {
  Tarn::YuvStandard standard = Tarn::YuvStandard::kBt601;
  Tarn::YuvRange range = Tarn::YuvRange::kLimited;
};

struct ColourChoice {
  std::optional<Tarn::YuvStandard> standard;
  std::optional<Tarn::YuvRange> range;

  bool any() const { return standard || range; }

  // What was not given stays as the view has it.
  void applyTo(Tarn::FrameView& view) const {
    view.matrix = standard.value_or(view.matrix);
    view.range = range.value_or(view.range);
  }
};

// Whose colours a frame has that does not say so.
inline Tarn::YuvStandard standardByRows(int rows) {
  return rows < 720 ? Tarn::YuvStandard::kBt601 : Tarn::YuvStandard::kBt709;
}

}  // namespace tarnkit

#endif  // TN_KITS_APPS_TENSOR_COLOUR_CHOICE_H_
