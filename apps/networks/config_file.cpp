// Reads an inference config with a limit on its size.
#include "apps/networks/config_file.h"

#include <cstddef>
#include <vector>

#include "apps/support/failure.h"
#include "apps/support/input_file.h"

namespace tarnkit {

TarnCPU::LayerInferenceConfig readConfigFile(const std::string& path) {
  constexpr std::size_t kMostBytes = std::size_t{1} << 26;
  if (path.empty()) return {};
  const std::vector<unsigned char> bytes = readFile(path, kMostBytes + 1);
  if (bytes.size() > kMostBytes) throw Failure(inputName(path), "is too long for an inference config");
  return TarnCPU::LayerInferenceConfig::from_text(std::string(bytes.begin(), bytes.end()),
                                                  inputName(path));
}

}  // namespace tarnkit
