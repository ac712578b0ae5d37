// Where a picture lies in a tensor.
#ifndef TN_KITS_APPS_TENSOR_PLACEMENT_H_
#define TN_KITS_APPS_TENSOR_PLACEMENT_H_

namespace tarnkit {

// No side of a tensor that a command makes is longer.
constexpr int kLargestTensor = 8192;

// Pixels of the tensor.
struct Placement {
  int left, top, width, height;
};

enum class Fit {
  kStretch,    // the picture fills the tensor
  kLetterbox,  // the picture keeps its shape, in the middle between grey bars
};

// width, height: the tensor's, both even; so are the picture's in it, the nearest to its shape.
Placement placePicture(Fit fit, int frame_width, int frame_height, int width, int height);

}  // namespace tarnkit

#endif  // TN_KITS_APPS_TENSOR_PLACEMENT_H_
