// The library's toolkit, and the bars around what it writes.
#include "apps/tensor/tensor_maker.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace tarnkit {
namespace {

constexpr float kBarGrey = 114.0f;

std::size_t tensorFloats(int width, int height) {
  return Tarn::tensorExtent(width, height, 3).end() / sizeof(float);
}

}  // namespace

Placement placePicture(Fit fit, int frame_width, int frame_height, int width, int height) {
  if (fit == Fit::kStretch) return {0, 0, width, height};
  const double scale =
      std::min(static_cast<double>(width) / frame_width, static_cast<double>(height) / frame_height);
  const auto even = [scale](int side, int most) {
    return std::clamp(2 * static_cast<int>(std::lround(side * scale / 2.0)), 2, most);
  };
  const int placed_width = even(frame_width, width), placed_height = even(frame_height, height);
  return {(width - placed_width) / 2, (height - placed_height) / 2, placed_width, placed_height};
}

TensorMaker::TensorMaker(int frame_width, int frame_height, int width, int height,
                         const Tarn::YuvToRgbOptions& colour, Fit fit)
    : placement_(placePicture(fit, frame_width, frame_height, width, height)),
      values_(tensorFloats(width, height)),
      tensor_{0, TN_PIX_FMT_CHW_F32, width, height, 0, values_.data()},
      made_(tensor_),
      toolkit_(frame_width, frame_height, frame_width / 2, frame_height / 2, placement_.width,
               placement_.height) {
  toolkit_.setCvtMat(Tarn::makeYuvToRgbMatrix(colour));
  if (placement_.width == width && placement_.height == height) return;
  picture_.resize(tensorFloats(placement_.width, placement_.height));
  made_ = {0, TN_PIX_FMT_CHW_F32, placement_.width, placement_.height, 0, picture_.data()};
  const std::size_t plane = values_.size() / 3;
  for (std::size_t channel = 0; channel < 3; ++channel)
    std::fill_n(values_.data() + channel * plane, plane,
                (kBarGrey - colour.mean[channel]) * colour.scale[channel]);
}

const _TN_Image& TensorMaker::make(const Tarn::checked::Image& frame) {
  toolkit_.convert(frame, {made_, sizeof(float) * (picture_.empty() ? values_ : picture_).size()});
  if (picture_.empty()) return tensor_;
  // The toolkit writes its planes back to back, so the bars between them take a copy.
  const std::size_t width = static_cast<std::size_t>(placement_.width);
  const float* from = picture_.data();
  for (int channel = 0; channel < 3; ++channel)
    for (int y = 0; y < placement_.height; ++y, from += width) {
      const int row = channel * tensor_.height + placement_.top + y;
      std::copy_n(from, width,
                  values_.data() +
                      static_cast<std::size_t>(tensor_.width) * static_cast<std::size_t>(row) +
                      static_cast<std::size_t>(placement_.left));
    }
  return tensor_;
}

}  // namespace tarnkit
