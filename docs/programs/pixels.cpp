// Camera bytes to RGB, then turned, mirrored, cut, shrunk, made grey and split into planes.
#include <tn_cnn.h>
#include <tn_cv.h>

#include <cstdio>
#include <vector>

namespace {

using Pixels = std::vector<unsigned char>;
using TarnCPU::TN_CV;

// The first of every `step` bytes: of packed pixels their red.
void print(const char* what, const Pixels& bytes, int w, int h, int step) {
  std::printf("%s\n", what);
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) std::printf("%4d", bytes.data()[(y * w + x) * step]);
    std::printf("\n");
  }
}

}  // namespace

int main() {
  // An I420 frame of 4x4 pixels: luma 40, 50, 60 ... 190, chroma a little to the red.
  Pixels frame;
  for (int i = 0; i < 16; ++i) frame.push_back(static_cast<unsigned char>(40 + 10 * i));
  frame.insert(frame.end(), 4, 128);
  frame.insert(frame.end(), 4, 140);

  Pixels rgb(3 * 16), turned(3 * 16), mirrored(3 * 16), cut(3 * 4), small(3 * 4), grey(16),
      planes(3 * 16);
  TN_CV::yuv420f_to_rgb(frame.data(), 4, 4, rgb.data());
  print("red of the frame", rgb, 4, 4, 3);
  TN_CV::rotate90_intrinsics_3_channel(rgb.data(), 4, 4, turned.data());
  print("turned clockwise", turned, 4, 4, 3);
  TN_CV::flip_horizontal(rgb.data(), 4, 4, mirrored.data(), 3);
  print("mirrored", mirrored, 4, 4, 3);
  TN_CV::cut_sub_img_inhwc_outhwc(rgb.data(), 4, 4, cut.data(), 2, 2, 1, 1, 3);
  print("the middle", cut, 2, 2, 3);
  TarnCPU::resize_bilinear_c3(rgb.data(), 4, 4, small.data(), 2, 2);
  print("shrunk", small, 2, 2, 3);
  TarnCPU::getGray_from_RGB_HWC(rgb.data(), grey.data(), 16);
  print("grey", grey, 4, 4, 1);
  TarnCPU::getRGB_CHW_from_RGB_HWC(rgb.data(), planes.data(), 16);
  std::printf("first of each plane: %d %d %d\n", planes[0], planes[16], planes[32]);
}
