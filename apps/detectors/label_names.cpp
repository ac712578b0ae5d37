// A file of class names, checked line by line.
#include "apps/detectors/label_names.h"

#include <algorithm>
#include <sstream>

#include "apps/support/failure.h"
#include "apps/support/input_file.h"

namespace tarnkit {

std::vector<std::string> readLabelNames(const std::string& path) {
  constexpr std::size_t kMostBytes = std::size_t{1} << 20;
  const std::vector<unsigned char> bytes = readFile(path, kMostBytes + 1);
  if (bytes.size() > kMostBytes) throw Failure(inputName(path), "is too long for a file of labels");
  std::string text(bytes.begin(), bytes.end());
  if (text.compare(0, 3, "\xEF\xBB\xBF") == 0) text.erase(0, 3);

  std::vector<std::string> names;
  std::size_t named = 0;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    line.erase(line.find_last_not_of(" \t\r") + 1);
    line.erase(0, line.find_first_not_of(" \t"));
    const bool is_text = std::none_of(line.begin(), line.end(), [](char c) {
      const unsigned char byte = static_cast<unsigned char>(c);
      return byte < ' ' || byte == 0x7F;
    });
    names.push_back(line);
    const std::int64_t number = static_cast<std::int64_t>(names.size());
    if (!is_text) throw Failure(inputName(path), number, "a label has control characters");
    if (line.empty()) continue;
    if (named + 1 != names.size())
      throw Failure(inputName(path), static_cast<std::int64_t>(named) + 1,
                    "is empty; each line names a class");
    named = names.size();
  }
  names.resize(named);
  if (names.empty()) throw Failure(inputName(path), "has no labels");
  return names;
}

}  // namespace tarnkit
