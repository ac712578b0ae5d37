// A network's input tensor for each frame of a video.
#ifndef TN_KITS_APPS_TENSOR_TENSOR_MAKER_H_
#define TN_KITS_APPS_TENSOR_TENSOR_MAKER_H_

#include <vector>

#include "apps/tensor/placement.h"
#include "tn_checked.h"
#include "tn_colormatrix.h"
#include "tn_image.h"

namespace tarnkit {

class TensorMaker {
 public:
  // Frames are packed NV12 of the first size; tensors have three planes of the second one, which must
  // be even: the toolkit writes pixels in blocks of two by two. Bars beside a letterboxed picture are a
  // middle grey, 114 of 255, with mean and scale applied as to the picture.
  TensorMaker(int frame_width, int frame_height, int width, int height,
              const Tarn::YuvToRgbOptions& colour, Fit fit = Fit::kStretch);
  TensorMaker(const TensorMaker&) = delete;
  TensorMaker& operator=(const TensorMaker&) = delete;

  // Valid until the next call.
  const _TN_Image& make(const Tarn::checked::Image& frame);

  const Placement& placement() const { return placement_; }

 private:
  Placement placement_;
  std::vector<float> values_, picture_;  // the latter where the picture does not fill the tensor
  _TN_Image tensor_, made_;              // made_ is what the toolkit writes: the tensor, or the picture
  Tarn::checked::TarnYUVToolKit toolkit_;
};

}  // namespace tarnkit

#endif  // TN_KITS_APPS_TENSOR_TENSOR_MAKER_H_
