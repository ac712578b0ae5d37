#include "platform/tn_cnn/src/tn_file.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <system_error>

namespace TarnCPU {
namespace {

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

std::runtime_error cannotBeRead(int error) {
  return std::runtime_error("cannot be read: " + (error == 0 ? std::string("input/output error")
                                                             : std::generic_category().message(error)));
}

}  // namespace

std::vector<unsigned char> readFile(const std::string& path, std::size_t most) {
  constexpr std::size_t kFirstStep = std::size_t{1} << 16;
  errno = 0;
  const std::unique_ptr<std::FILE, CloseFile> file(std::fopen(path.c_str(), "rb"));
  if (!file) throw cannotBeRead(errno);
  std::vector<unsigned char> bytes;
  for (std::size_t got = 1; got != 0;) {
    const std::size_t had = bytes.size();
    // One byte more shows that there are more.
    bytes.resize(had + std::min(std::max(kFirstStep, had), most + 1 - had));
    got = std::fread(bytes.data() + had, 1, bytes.size() - had, file.get());
    bytes.resize(had + got);
    if (std::ferror(file.get()) != 0) throw cannotBeRead(errno);
    if (bytes.size() > most)
      throw std::runtime_error("has more than " + std::to_string(most) + " bytes");
  }
  return bytes;
}

std::string shownPath(std::string path) {
  const auto is_control = [](char c) {
    const unsigned char byte = static_cast<unsigned char>(c);
    return byte < ' ' || byte == 0x7F;
  };
  std::replace_if(path.begin(), path.end(), is_control, ' ');
  return path;
}

}  // namespace TarnCPU
