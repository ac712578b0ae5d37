// The header of a NumPy file, and the values behind it.
#include "apps/output/npy.h"

#include <cstddef>

#include "apps/output/output_file.h"

namespace tarnkit {

void writeNpy(const std::string& path, const float* values, int channels, int height, int width) {
  // Magic, version 1.0 and two bytes of header length come before the dictionary; all of it together
  // is padded to a multiple of 64, so that the values are aligned when the file is mapped.
  constexpr std::size_t kPreamble = 10, kAlignment = 64;
  std::string dictionary = "{'descr': '<f4', 'fortran_order': False, 'shape': (" +
                           std::to_string(channels) + ", " + std::to_string(height) + ", " +
                           std::to_string(width) + "), }";
  const std::size_t unpadded = kPreamble + dictionary.size() + 1;
  dictionary.append((kAlignment - unpadded % kAlignment) % kAlignment, ' ');
  dictionary += '\n';

  std::string header("\x93NUMPY\x01\x00", 8);
  header += static_cast<char>(dictionary.size() & 0xFF);
  header += static_cast<char>(dictionary.size() >> 8);
  header += dictionary;
  const std::size_t count = static_cast<std::size_t>(channels) * static_cast<std::size_t>(height) *
                            static_cast<std::size_t>(width);
  writeFile(path, header, values, count * sizeof(float));
}

}  // namespace tarnkit
