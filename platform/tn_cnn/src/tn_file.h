// Reads whole files into memory.
#ifndef TN_KITS_PLATFORM_TN_CNN_SRC_TN_FILE_H_
#define TN_KITS_PLATFORM_TN_CNN_SRC_TN_FILE_H_

#include <cstddef>
#include <string>
#include <vector>

namespace TarnCPU {

// All bytes of a file. Throws std::bad_alloc, and std::runtime_error with a reason, which does not name
// the path, if the file cannot be read or has more than `most` bytes: a file is never cut.
std::vector<unsigned char> readFile(const std::string& path, std::size_t most);

}  // namespace TarnCPU

#endif  // TN_KITS_PLATFORM_TN_CNN_SRC_TN_FILE_H_
