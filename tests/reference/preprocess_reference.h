// Plain form of tn_preprocess.h: one output element at a time, as its words have it.
#ifndef TN_KITS_TESTS_REFERENCE_PREPROCESS_REFERENCE_H_
#define TN_KITS_TESTS_REFERENCE_PREPROCESS_REFERENCE_H_

#include <cstdint>
#include <vector>

#include "tn_preprocess.h"

namespace tn_reference {

// How an orientation makes the upright picture of the stored one: its x axis is stored x, or stored y if
// `swapped`; an axis counts from its far end if flipped.
struct PlainOrientation {
  bool swapped, flip_x, flip_y;
};
PlainOrientation plainOrientation(int exif);

// One axis of the tensor: the region's pixels `first` to first + pixels - 1 become `scaled` ones, of
// which number `begin` is at the tensor's first. Below 0: a bar is before them.
struct PlainAxis {
  int first, pixels;
  std::int64_t scaled, begin;

  // Whether tensor pixel i shows any of the picture.
  bool shows(int i) const { return i + begin >= 0 && i + begin < scaled; }
};
struct PlainGeometry {
  PlainAxis across, down;
};
// The region must be one that is not refused.
PlainGeometry plainGeometry(const Tarn::FrameView& frame, const Tarn::TensorSpec& spec,
                            const Tarn::Region& region);

// Values from 0 to 255 before normalisation, pixel by pixel, in the tensor's channel order, with bars.
std::vector<float> plainValues(const Tarn::FrameView& frame, const Tarn::TensorSpec& spec,
                               const Tarn::Region& region = {});

// The normalisation of one value of a channel.
float plainElement(float value, const Tarn::TensorSpec& spec, int channel);
std::uint16_t plainHalf(float value);
std::uint16_t plainBfloat16(float value);

// The whole tensor.
std::vector<std::uint8_t> plainTensor(const Tarn::FrameView& frame, const Tarn::TensorSpec& spec,
                                      const Tarn::Region& region = {});

}  // namespace tn_reference

#endif  // TN_KITS_TESTS_REFERENCE_PREPROCESS_REFERENCE_H_
