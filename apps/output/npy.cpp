// The header of a NumPy file.
#include "apps/output/npy.h"

namespace tarnkit {

std::string npyHeader(const std::string& type, const std::vector<int>& shape) {
  // Magic, version 1.0 and two bytes of header length come before the dictionary; all of it together
  // is padded to a multiple of 64, so that the elements are aligned when the file is mapped.
  constexpr std::size_t kPreamble = 10, kAlignment = 64;
  std::string sides;
  for (const int side : shape) sides += (sides.empty() ? "" : ", ") + std::to_string(side);
  std::string dictionary =
      "{'descr': '" + type + "', 'fortran_order': False, 'shape': (" + sides + "), }";
  const std::size_t unpadded = kPreamble + dictionary.size() + 1;
  dictionary.append((kAlignment - unpadded % kAlignment) % kAlignment, ' ');
  dictionary += '\n';

  std::string header("\x93NUMPY\x01\x00", 8);
  header += static_cast<char>(dictionary.size() & 0xFF);
  header += static_cast<char>(dictionary.size() >> 8);
  return header + dictionary;
}

}  // namespace tarnkit
