#include "apps/tensor/tensor_maker.h"

#include <cstddef>

namespace tarnkit {

TensorMaker::TensorMaker(int frame_width, int frame_height, int width, int height,
                         const Tarn::YuvToRgbOptions& colour)
    : values_(3 * static_cast<std::size_t>(width) * static_cast<std::size_t>(height)),
      tensor_{0, TN_PIX_FMT_CHW_F32, width, height, 0, values_.data()},
      toolkit_(frame_width, frame_height, frame_width / 2, frame_height / 2, width, height) {
  toolkit_.setCvtMat(Tarn::makeYuvToRgbMatrix(colour));
}

const _TN_Image& TensorMaker::make(const _TN_Image& frame) {
  toolkit_.convert(frame, tensor_);
  return tensor_;
}

}  // namespace tarnkit
