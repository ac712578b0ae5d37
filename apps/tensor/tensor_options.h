// What the user says of a tensor, and the library's TensorSpec that comes of it.
#ifndef TN_KITS_APPS_TENSOR_TENSOR_OPTIONS_H_
#define TN_KITS_APPS_TENSOR_TENSOR_OPTIONS_H_

#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "apps/support/size.h"
#include "apps/tensor/colour_choice.h"
#include "tn_preprocess.h"

namespace tarnkit {

// No side of a tensor that a command makes is longer.
constexpr int kLargestTensor = 8192;

// What was not given is empty.
struct TensorOptions {
  std::optional<Size> size;
  std::optional<Tarn::ElementType> type;
  std::optional<Tarn::TensorLayout> layout;
  std::optional<Tarn::TensorColour> order;
  std::optional<Tarn::Fit> fit;
  bool never_enlarge = false;
  std::optional<int> short_side;
  std::vector<float> bar;
  std::optional<float> divisor;
  std::vector<float> mean, deviation, scale;
  std::optional<float> step;
  std::optional<int> zero_point;
  std::optional<Tarn::Resampling> resampling;
  std::optional<int> pillow;
  Tarn::Region region;
  std::optional<int> orientation;
  ColourChoice colour;

  bool normalises() const { return divisor || !mean.empty() || !deviation.empty() || !scale.empty(); }
};

// `base` with what was given in place of its own; where bytes are kept the normalisation is neutral.
// Nothing is checked: the Preprocessor does that.
Tarn::TensorSpec specOf(const TensorOptions& options, Tarn::TensorSpec base);

// Throws Failure, which names the option, for a spec that cannot work.
std::unique_ptr<Tarn::Preprocessor> makePreprocessor(const Tarn::TensorSpec& spec);

// Runs it on a frame. Throws Failure, which names --region or `input`.
Tarn::Placement preprocess(Tarn::Preprocessor& preprocessor, const Tarn::FrameView& frame,
                           const Tarn::Region& region, std::vector<unsigned char>& tensor,
                           const std::string& input);

// Header of the NumPy file of such a tensor, whose elements come right behind it: its own shape,
// 1 x C x H x W or 1 x H x W x C. bfloat16, which NumPy has not, is uint16.
std::string npyHeaderOf(const Tarn::TensorSpec& spec);

}  // namespace tarnkit

#endif  // TN_KITS_APPS_TENSOR_TENSOR_OPTIONS_H_
