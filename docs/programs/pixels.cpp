// Camera bytes to RGB, then turned, mirrored, cut, shrunk, made grey and split into planes. Every buffer
// is as large as its routine needs it.
#include <tn_cnn.h>
#include <tn_cv.h>
#include <tn_extents.h>

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

  // Extents are known at compile time where sizes are.
  static_assert(Tarn::planarToRgbExtents(4, 4).src.end() == 24, "an I420 frame of 4x4 pixels");
  Pixels rgb(Tarn::planarToRgbExtents(4, 4).dst.end()), turned(Tarn::turnExtents(4, 4, 3).dst.end()),
      mirrored(turned.size()), cut(Tarn::cutPixelsExtents(4, 4, 2, 2, 1, 1, 3).dst.end()),
      small(Tarn::resizeExtents(4, 4, 2, 2, 3).dst.end()), grey(Tarn::grayExtents(16, 3).dst.end()),
      planes(Tarn::planesExtents(16, 3).dst.end());
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
