// The outline of model files: any bytes give inputs with sane shapes, or are refused with a reason.
#include <stdexcept>
#include <string>

#include "fuzz/fuzz_input.h"
#include "platform/tn_cnn/src/engine/tn_onnx_outline.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::vector<unsigned char> file(data, data + size);
  try {
    for (const TarnCPU::OnnxInput& input : TarnCPU::outlineOnnx(file))
      for (const int side : input.shape) FUZZ_CHECK(side >= -1);
  } catch (const std::runtime_error& fault) {
    FUZZ_CHECK(!std::string(fault.what()).empty());
  }
  return 0;
}
