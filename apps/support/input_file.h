// Whole files into memory.
#ifndef TN_KITS_APPS_SUPPORT_INPUT_FILE_H_
#define TN_KITS_APPS_SUPPORT_INPUT_FILE_H_

#include <cstddef>
#include <string>
#include <vector>

namespace tarnkit {

// The first `most` bytes of a file, all of it if it has no more; "-" is standard input. The limit keeps
// devices that never end out of memory. Throws Failure naming the file.
std::vector<unsigned char> readFile(const std::string& path, std::size_t most);

// The name by which messages call an input.
std::string inputName(const std::string& path);

}  // namespace tarnkit

#endif  // TN_KITS_APPS_SUPPORT_INPUT_FILE_H_
