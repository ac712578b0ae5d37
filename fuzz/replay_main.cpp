// Runs a fuzz target over files and folders of inputs, for builds without a fuzzer: the seed corpus is
// then a test like any other.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

int replayed = 0;

void replay(const std::filesystem::path& path) {
  if (std::filesystem::is_directory(path)) {
    for (const auto& entry : std::filesystem::directory_iterator(path)) replay(entry.path());
    return;
  }
  std::ifstream in(path, std::ios::binary);
  const std::vector<char> file{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  // Without a newline, so that a fault's message stands beside the file's name.
  std::printf("%s ", path.string().c_str());
  std::fflush(stdout);
  LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(file.data()), file.size());
  std::printf("passes\n");
  ++replayed;
}

}  // namespace

int main(int argument_count, char** arguments) {
  for (int i = 1; i < argument_count; ++i) replay(arguments[i]);
  if (replayed == 0) std::fprintf(stderr, "no inputs to replay\n");
  return replayed == 0 ? 1 : 0;
}
