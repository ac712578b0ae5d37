// Whole files into memory.
#ifndef TN_KITS_PLATFORM_TN_CNN_SRC_TN_FILE_H_
#define TN_KITS_PLATFORM_TN_CNN_SRC_TN_FILE_H_

#include <cstddef>
#include <string>
#include <vector>

namespace TarnCPU {

// All bytes of a file. Throws std::runtime_error with the reason, without the path, if it cannot be read
// or has more than `most` bytes, and std::bad_alloc.
std::vector<unsigned char> readFile(const std::string& path, std::size_t most);

// A path as messages show it: on one line, whatever bytes it has.
std::string shownPath(std::string path);

}  // namespace TarnCPU

#endif  // TN_KITS_PLATFORM_TN_CNN_SRC_TN_FILE_H_
