// Plain definition of network input preparation, composed step by step from the other plain definitions.
#ifndef TN_KITS_TESTS_REFERENCE_NETWORKINPUT_REFERENCE_H_
#define TN_KITS_TESTS_REFERENCE_NETWORKINPUT_REFERENCE_H_

#include <cstdint>
#include <vector>

#include "tests/reference/geometry_reference.h"
#include "tn_image.h"

namespace tn_reference {

struct CropWindow {
  int left, top, right, bottom;
  bool pad_grey;
};

// The floats of the tensor: three planes of width * height. crop: null for the whole frame. old_work_a:
// what every byte of the first work buffer held.
std::vector<float> networkInput(const _TN_Image& image, bool to_bgr, int width, int height,
                                const CropWindow* crop, std::uint8_t old_work_a);

}  // namespace tn_reference

#endif  // TN_KITS_TESTS_REFERENCE_NETWORKINPUT_REFERENCE_H_
