// NumPy's array file, format version 1.0.
#ifndef TN_KITS_APPS_OUTPUT_NPY_H_
#define TN_KITS_APPS_OUTPUT_NPY_H_

#include <string>
#include <vector>

namespace tarnkit {

// Header of a C-ordered array that numpy.load opens; its elements come right behind it. type: NumPy's
// name of them, "<f4" for float32.
std::string npyHeader(const std::string& type, const std::vector<int>& shape);

}  // namespace tarnkit

#endif  // TN_KITS_APPS_OUTPUT_NPY_H_
