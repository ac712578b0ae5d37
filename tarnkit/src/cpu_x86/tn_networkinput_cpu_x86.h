// Steps of network input preparation that stand on their own.
#ifndef TN_KITS_CPU_X86_TN_NETWORKINPUT_CPU_X86_H_
#define TN_KITS_CPU_X86_TN_NETWORKINPUT_CPU_X86_H_

#include "tn_core.h"

namespace TarnCPU {

// The name is the family's, as in TN_CV.
// NOLINTBEGIN(readability-identifier-naming)

// Turns a packed image by 180 degrees: pixel i goes to pixel width * height - 1 - i, its bytes in order.
// src, dst: width * height pixels of `channels` bytes, apart. Nothing happens when a size is below 1.
void rotate180_pixels(const unsigned char* src, int width, int height, unsigned char* dst, int channels);

// NOLINTEND(readability-identifier-naming)

// Runs the planar colour conversion. An exception is logged and thrown on: callers may report no more
// than that the frame was lost.
template <class Convert>
void convertPlanarLogged(const Convert& convert) {
  try {
    convert();
  } catch (...) {
    Tarn::_LogError("Tarn", "yuv420f_to_rgb error");
    throw;
  }
}

}  // namespace TarnCPU

#endif  // TN_KITS_CPU_X86_TN_NETWORKINPUT_CPU_X86_H_
