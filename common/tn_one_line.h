// Foreign text for messages of one line.
#ifndef TN_KITS_COMMON_TN_ONE_LINE_H_
#define TN_KITS_COMMON_TN_ONE_LINE_H_

#include <string>

namespace Tarn {

// `text` with every run of blanks and control characters made one blank, none at the ends: messages of
// libraries span lines and can quote a file's bytes.
inline std::string onOneLine(const std::string& text) {
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

}  // namespace Tarn

#endif  // TN_KITS_COMMON_TN_ONE_LINE_H_
