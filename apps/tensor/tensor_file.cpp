// Tensors as NumPy or PNG, by the file's name.
#include "apps/tensor/tensor_file.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <filesystem>

#include "apps/output/npy.h"
#include "apps/output/output_file.h"
#include "apps/pictures/picture_file.h"

namespace tarnkit {
namespace {

bool endsIn(const std::string& path, const char* extension) {
  return std::filesystem::path(path).extension() == extension;
}

std::uint8_t toByte(float value) {
  if (!(value > 0.0f)) return 0;
  return value < 255.0f ? static_cast<std::uint8_t>(std::lround(value)) : std::uint8_t{255};
}

Picture toPicture(const TarnCPU::Mat& tensor) {
  Picture picture{tensor.w, tensor.h, PixelLayout::kRgb, {}};
  picture.bytes.reserve(byteCount(tensor.w, tensor.h, 3));
  const float* const values = static_cast<const float*>(tensor.data);
  const std::size_t plane = byteCount(tensor.w, tensor.h, 1);
  for (std::size_t pixel = 0; pixel < plane; ++pixel)
    for (std::size_t c = 0; c < 3; ++c) picture.bytes.push_back(toByte(values[c * plane + pixel]));
  return picture;
}

}  // namespace

std::string tensorFileFault(const std::string& path) {
  if (path == "-" || endsIn(path, ".npy") || endsIn(path, ".png")) return {};
  return "'" + path + "' must end in .npy or .png";
}

void writeTensor(const std::string& path, const TarnCPU::Mat& tensor) {
  if (endsIn(path, ".png"))
    writePicture(path, toPicture(tensor));
  else
    writeFile(path, npyHeader("<f4", {3, tensor.h, tensor.w}), tensor.data,
              tensor.total() * sizeof(float));
}

}  // namespace tarnkit
