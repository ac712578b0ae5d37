// NumPy's array file, format version 1.0, for float tensors.
#ifndef TN_KITS_APPS_OUTPUT_NPY_H_
#define TN_KITS_APPS_OUTPUT_NPY_H_

#include <string>

namespace tarnkit {

// Writes a C-ordered little-endian float32 array of shape (channels, height, width) that numpy.load
// opens. values: channels * height * width floats. Throws Failure.
void writeNpy(const std::string& path, const float* values, int channels, int height, int width);

}  // namespace tarnkit

#endif  // TN_KITS_APPS_OUTPUT_NPY_H_
