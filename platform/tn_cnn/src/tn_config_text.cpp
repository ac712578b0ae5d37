#include "platform/tn_cnn/src/tn_config_text.h"

#include <algorithm>
#include <cstdio>

namespace TarnCPU {

std::string quoteName(const std::string& name) {
  const bool plain = !name.empty() && std::none_of(name.begin(), name.end(), [](char c) {
    return static_cast<unsigned char>(c) <= ' ' || c == '\x7F' || c == '"' || c == '#' || c == '\\';
  });
  if (plain) return name;
  std::string text = "\"";
  for (const char c : name) {
    const unsigned byte = static_cast<unsigned char>(c);
    if (byte < ' ' || byte == 0x7F) {
      char escape[8];
      std::snprintf(escape, sizeof escape, "\\x%02x", byte);
      text += escape;
      continue;
    }
    if (c == '"' || c == '\\') text += '\\';
    text += c;
  }
  return text + "\"";
}

}  // namespace TarnCPU
