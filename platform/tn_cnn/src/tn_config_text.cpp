// Names and other text on one line of an inference config or a message.
#include "platform/tn_cnn/src/tn_config_text.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace TarnCPU {
namespace {

bool isControl(char c) { return static_cast<unsigned char>(c) < ' ' || c == '\x7F'; }

}  // namespace

std::string quoteName(const std::string& name) {
  const bool plain = !name.empty() && std::none_of(name.begin(), name.end(), [](char c) {
    return isControl(c) || std::strchr(" \"#\\", c) != nullptr;
  });
  if (plain) return name;
  std::string text = "\"";
  for (const char c : name) {
    if (isControl(c)) {
      char escape[8];
      std::snprintf(escape, sizeof escape, "\\x%02x", static_cast<unsigned>(c));
      text += escape;
      continue;
    }
    if (c == '"' || c == '\\') text += '\\';
    text += c;
  }
  return text + "\"";
}

std::string withoutControls(std::string text) {
  std::replace_if(text.begin(), text.end(), isControl, ' ');
  return text;
}

}  // namespace TarnCPU
