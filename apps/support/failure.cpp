#include "apps/support/failure.h"

#include <system_error>

namespace tarnkit {

std::string errnoText(int error) {
  return error == 0 ? "input/output error" : std::generic_category().message(error);
}

std::string onOneLine(const std::string& text) {
  std::string line;
  bool blank = false;
  for (const char c : text) {
    const unsigned char byte = static_cast<unsigned char>(c);
    if (byte <= ' ' || byte == 0x7F) {
      blank = !line.empty();
      continue;
    }
    if (blank) line += ' ';
    blank = false;
    line += c;
  }
  return line;
}

}  // namespace tarnkit
