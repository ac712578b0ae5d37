// Reads whole files into memory, with a limit on their size.
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
    // One byte above the limit shows that the file is too large.
    bytes.resize(had + std::min(std::max(kFirstStep, had), most + 1 - had));
    got = std::fread(bytes.data() + had, 1, bytes.size() - had, file.get());
    bytes.resize(had + got);
    if (std::ferror(file.get()) != 0) throw cannotBeRead(errno);
    if (bytes.size() > most)
      throw std::runtime_error("has more than " + std::to_string(most) + " bytes");
  }
  return bytes;
}

}  // namespace TarnCPU
