// Cuts a rectangle out of an NV12 frame and turns the cut into a small tensor.
#include <tn_colormatrix.h>
#include <tn_extents.h>
#include <tn_yuvconverter.h>

#include <cstdio>
#include <vector>

int main() {
  // 64x48, luma brighter from left to right; the left half has neutral chroma, the right half is red.
  const int width = 64, height = 48;
  std::vector<unsigned char> nv12;
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x) nv12.push_back(static_cast<unsigned char>(16 + 3 * x));
  for (int y = 0; y < height / 2; ++y)
    for (int x = 0; x < width; ++x) nv12.push_back(x % 2 == 1 && x >= width / 2 ? 200 : 128);
  const _TN_Image frame = {0, TN_PIX_FMT_NV12, width, height, 0, nv12.data()};

  // Columns 24 to 55 and rows 8 to 23, both ends included, from even corners on.
  const int cut_width = 32, cut_height = 16;
  std::vector<unsigned char> cut_bytes(Tarn::cropFrameExtent(false, cut_width, cut_height).end());
  const _TN_Image cut = {0, TN_PIX_FMT_NV12, cut_width, cut_height, 0, cut_bytes.data()};
  Tarn::TarnYUVToolKit::Crop(frame, cut, 24, 8, 24 + cut_width - 1, 8 + cut_height - 1);

  // Camera video of standard definition in full range; the tensor's planes are B, G, R from -1 to 1.
  Tarn::YuvToRgbOptions options;
  options.standard = Tarn::YuvStandard::kBt601;
  options.range = Tarn::YuvRange::kFull;
  options.channel_order = Tarn::ChannelOrder::kBgr;
  for (int channel = 0; channel < 3; ++channel) {
    options.mean[channel] = 127.5f;
    options.scale[channel] = 1.0f / 127.5f;
  }
  const int side = 4;
  std::vector<float> tensor(Tarn::tensorExtent(side, side, 3).end() / sizeof(float));
  Tarn::TarnYUVToolKit toolkit(cut_width, cut_height, cut_width / 2, cut_height / 2, side, side);
  toolkit.setCvtMat(Tarn::makeYuvToRgbMatrix(options));
  toolkit.convert(cut, {0, TN_PIX_FMT_CHW_F32, side, side, 0, tensor.data()});

  const char* const planes[] = {"blue", "green", "red"};
  for (int channel = 0; channel < 3; ++channel) {
    const float* const row = tensor.data() + channel * side * side;
    std::printf("%-5s %6.3f %6.3f %6.3f %6.3f\n", planes[channel], static_cast<double>(row[0]),
                static_cast<double>(row[1]), static_cast<double>(row[2]), static_cast<double>(row[3]));
  }
}
