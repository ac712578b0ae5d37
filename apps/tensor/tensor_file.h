// Tensors of colours to NumPy or PNG files.
#ifndef TN_KITS_APPS_TENSOR_TENSOR_FILE_H_
#define TN_KITS_APPS_TENSOR_TENSOR_FILE_H_

#include <string>

#include "tn_cnn.h"

namespace tarnkit {

// Why a tensor cannot go to `path` by its name, for the parser; empty when it can: the name ends in .npy
// or .png, or is "-", which writes NumPy to standard output.
std::string tensorFileFault(const std::string& path);

// tensor: 3 planes of floats. NumPy files keep the values, as float32 of shape (3, height, width). PNG
// files show the planes in red, green and blue, each value rounded and brought into 0 to 255; NaN is 0.
// The name is one without a fault. Throws Failure.
void writeTensor(const std::string& path, const TarnCPU::Mat& tensor);

}  // namespace tarnkit

#endif  // TN_KITS_APPS_TENSOR_TENSOR_FILE_H_
