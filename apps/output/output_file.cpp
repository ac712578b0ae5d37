// Output files that keep what was complete when something fails.
#include "apps/output/output_file.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <system_error>

#include "apps/support/failure.h"

#if defined(_WIN32)
#include <fcntl.h>
#include <io.h>
#endif

namespace tarnkit {
namespace {

namespace fs = std::filesystem;

std::FILE* openForWriting(const std::string& path) {
  if (path != "-") return std::fopen(path.c_str(), "wb");
#if defined(_WIN32)
  _setmode(_fileno(stdout), _O_BINARY);
#endif
  return stdout;
}

bool sameFile(const std::string& a, const std::string& b) {
  std::error_code error;
  if (fs::is_regular_file(a, error)) return fs::equivalent(a, b, error);
  if (fs::exists(a, error)) return false;  // devices and pipes may serve twice
  return fs::absolute(a, error).lexically_normal() == fs::absolute(b, error).lexically_normal();
}

}  // namespace

OutputFile::OutputFile(const std::string& path)
    : path_(path), name_(path == "-" ? "standard output" : path) {
  errno = 0;
  file_ = openForWriting(path);
  if (file_ == nullptr) throw Failure(name_, "cannot be written: " + errnoText(errno));
  std::setvbuf(file_, nullptr, _IONBF, 0);
}

OutputFile::~OutputFile() {
  if (file_ == nullptr || file_ == stdout) return;
  std::fclose(file_);
  std::error_code error;
  if (!fs::is_regular_file(path_, error)) return;
  if (complete_ == 0)
    fs::remove(path_, error);
  else
    fs::resize_file(path_, complete_, error);
}

void OutputFile::write(const void* data, std::size_t size) {
  if (failed_) throw Failure(name_, "an earlier write failed");
  errno = 0;
  if (size != 0 && std::fwrite(data, 1, size, file_) != size) {
    failed_ = true;
    throw Failure(name_, "cannot be written: " + errnoText(errno));
  }
  written_ += size;
}

void OutputFile::close() {
  errno = 0;
  if (std::fflush(file_) != 0) throw Failure(name_, "cannot be written: " + errnoText(errno));
  markComplete();
  std::FILE* const file = file_;
  file_ = nullptr;
  if (file != stdout && std::fclose(file) != 0)
    throw Failure(name_, "cannot be written: " + errnoText(errno));
}

void writeFile(const std::string& path, const std::string& header, const void* data, std::size_t size) {
  OutputFile file(path);
  file.write(header);
  file.write(data, size);
  file.close();
}

void requireDistinctFiles(const std::vector<std::string>& inputs,
                          const std::vector<std::string>& outputs) {
  const auto is_file = [](const std::string& path) { return !path.empty() && path != "-"; };
  if (std::count(outputs.begin(), outputs.end(), "-") > 1)
    throw Failure("standard output", "is given for two outputs");
  for (auto output = outputs.begin(); output != outputs.end(); ++output) {
    if (!is_file(*output)) continue;
    for (const std::string& input : inputs)
      if (is_file(input) && sameFile(*output, input))
        throw Failure(*output, "is the input and would be overwritten");
    for (auto other = outputs.begin(); other != output; ++other)
      if (is_file(*other) && sameFile(*output, *other))
        throw Failure(*output, "is given for two outputs");
  }
}

}  // namespace tarnkit
