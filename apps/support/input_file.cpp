// Reads files and standard input whole, in steps.
#include "apps/support/input_file.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <memory>

#include "apps/support/failure.h"

#if defined(_WIN32)
#include <fcntl.h>
#include <io.h>
#endif

namespace tarnkit {
namespace {

struct CloseFile {
  void operator()(std::FILE* file) const {
    if (file != stdin) std::fclose(file);
  }
};

std::FILE* openForReading(const std::string& path) {
  if (path != "-") return std::fopen(path.c_str(), "rb");
#if defined(_WIN32)
  _setmode(_fileno(stdin), _O_BINARY);
#endif
  return stdin;
}

}  // namespace

std::string inputName(const std::string& path) { return path == "-" ? "standard input" : path; }

std::vector<unsigned char> readFile(const std::string& path, std::size_t most) {
  constexpr std::size_t kStep = std::size_t{1} << 20;
  errno = 0;
  const std::unique_ptr<std::FILE, CloseFile> file(openForReading(path));
  if (!file) throw Failure(inputName(path), "cannot be read: " + errnoText(errno));
  std::vector<unsigned char> bytes;
  while (bytes.size() < most) {
    const std::size_t had = bytes.size(), wanted = std::min(kStep, most - had);
    bytes.resize(had + wanted);
    const std::size_t got = std::fread(bytes.data() + had, 1, wanted, file.get());
    bytes.resize(had + got);
    if (got == wanted) continue;
    if (std::ferror(file.get()) != 0)
      throw Failure(inputName(path), "cannot be read: " + errnoText(errno));
    break;
  }
  return bytes;
}

}  // namespace tarnkit
