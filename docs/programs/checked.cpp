// A frame from somewhere else, whose size may be a lie: checked before a routine runs over its end.
#include <tn_checked.h>
#include <tn_extents.h>

#include <cstdio>
#include <stdexcept>
#include <vector>

int main() {
  using namespace Tarn;
  std::vector<unsigned char> bytes(frameExtent(TN_PIX_FMT_NV12, 640, 480).end(), 128);
  std::vector<float> floats(tensorExtent(320, 320, 3).end() / sizeof(float));
  checked::TarnYUVToolKit toolkit(640, 480, 320, 240, 320, 320);
  const checked::Image tensor = {{0, TN_PIX_FMT_CHW_F32, 320, 320, 0, floats.data()},
                                 floats.size() * sizeof(float)};

  struct Claim {
    int pix_fmt, width, height;
    std::size_t bytes;
  };
  const Claim claims[] = {{TN_PIX_FMT_NV12, 640, 480, bytes.size()},
                          {TN_PIX_FMT_NV12, 640, 480, bytes.size() - 1},
                          {TN_PIX_FMT_NV12, 1920, 1080, bytes.size()},
                          {TN_PIX_FMT_BGRA, 640, 480, bytes.size()}};
  for (const Claim& claim : claims) {
    const checked::Image frame = {{0, claim.pix_fmt, claim.width, claim.height, 0, bytes.data()},
                                  claim.bytes};
    try {
      toolkit.convert(frame, tensor);
      std::printf("converted\n");
    } catch (const std::invalid_argument& error) {
      std::printf("refused: %s\n", error.what());
    }
  }
}
