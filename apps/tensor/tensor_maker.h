// A network's input tensor for each frame of a video.
#ifndef TN_KITS_APPS_TENSOR_TENSOR_MAKER_H_
#define TN_KITS_APPS_TENSOR_TENSOR_MAKER_H_

#include <vector>

#include "tn_colormatrix.h"
#include "tn_image.h"
#include "tn_yuvconverter.h"

namespace tarnkit {

class TensorMaker {
 public:
  // Frames are packed NV12 of the first size; tensors have three planes of the second one, which must
  // be even: the toolkit writes pixels in blocks of two by two.
  TensorMaker(int frame_width, int frame_height, int width, int height,
              const Tarn::YuvToRgbOptions& colour);
  TensorMaker(const TensorMaker&) = delete;
  TensorMaker& operator=(const TensorMaker&) = delete;

  // Valid until the next call.
  const _TN_Image& make(const _TN_Image& frame);

 private:
  std::vector<float> values_;
  _TN_Image tensor_;
  Tarn::TarnYUVToolKit toolkit_;
};

}  // namespace tarnkit

#endif  // TN_KITS_APPS_TENSOR_TENSOR_MAKER_H_
