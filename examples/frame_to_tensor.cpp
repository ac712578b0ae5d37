// Turns one NV12 camera frame into a network's input tensor and prints a pixel of it.
#include <tn_colormatrix.h>
#include <tn_extents.h>
#include <tn_yuvconverter.h>

#include <algorithm>
#include <cstdio>
#include <vector>

int main() {
  // A grey full-HD frame: luma 126, both chroma samples 128.
  const int width = 1920, height = 1080, size = 640;
  constexpr Tarn::TransferExtents extents = Tarn::resampleExtents(width, height, width / 2, size, size);
  std::vector<unsigned char> frame(extents.src.end(), 128);
  std::fill_n(frame.begin(), width * height, static_cast<unsigned char>(126));
  const _TN_Image in = {0, TN_PIX_FMT_NV12, width, height, 0, frame.data()};

  std::vector<float> tensor(extents.dst.end() / sizeof(float));
  const _TN_Image out = {0, TN_PIX_FMT_CHW_F32, size, size, 0, tensor.data()};

  // Colour matrix and normalisation in one: BT.709 video, colours scaled to 0..1.
  Tarn::YuvToRgbOptions options;
  for (float& scale : options.scale) scale = 1.0f / 255.0f;

  Tarn::TarnYUVToolKit toolkit(width, height, width / 2, height / 2, size, size);  // once
  toolkit.setCvtMat(Tarn::makeYuvToRgbMatrix(options));
  toolkit.convert(in, out);  // every frame

  std::printf("centre pixel:");
  for (int plane = 0; plane < 3; ++plane) {
    const float* const values = tensor.data() + plane * size * size;
    std::printf(" %.3f", static_cast<double>(values[size / 2 * size + size / 2]));
  }
  std::printf("\n");
}
