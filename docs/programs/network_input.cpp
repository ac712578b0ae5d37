// A picture that was stored lying on its side: upright into a tensor, and a box of it found again.
#include <tn_cnn.h>
#include <tn_cv.h>

#include <cstdio>
#include <vector>

namespace {

void print(const char* what, TarnCPU::Mat& tensor) {
  std::printf("%s, %d planes of %dx%d\n", what, tensor.c, tensor.w, tensor.h);
  for (int y = 0; y < tensor.h; ++y) {
    for (int x = 0; x < tensor.w; ++x) std::printf("%4.0f", static_cast<double>(tensor.row(y)[x]));
    std::printf("\n");
  }
}

}  // namespace

int main() {
  // 8x8 pixels B, G, R, A whose red tells where they are stored: 10 times the row plus the column.
  const int side = 8;
  std::vector<unsigned char> bgra;
  for (int y = 0; y < side; ++y) {
    for (int x = 0; x < side; ++x)
      bgra.insert(bgra.end(), {0, 0, static_cast<unsigned char>(10 * y + x), 255});
  }
  // A quarter turn clockwise shows it upright.
  const _TN_Image image = {TN_ORIENT_ROTATE_90, TN_PIX_FMT_BGRA, side, side, 0, bgra.data()};

  std::vector<unsigned char> work_a(side * side * 4), work_b(side * side * 4);
  TarnCPU::Mat input;
  TarnCPU::TN_CV::getInMat(&image, input, 0, side, side, work_a.data(), work_b.data());
  print("red of the upright picture", input);

  // A detector saw something in the upper right quarter; a second network wants it alone.
  int left = 4, top = 0, right = 7, bottom = 3;
  int box_width = right - left + 1, box_height = bottom - top + 1;
  TarnCPU::TN_CV::rectify_cropbox(&image, left, top, right, bottom, box_width, box_height);
  std::printf("stored in columns %d to %d, rows %d to %d\n", left, right, top, bottom);

  TarnCPU::Mat part;
  TarnCPU::TN_CV::getInMat_m1(&image, part, 0, 4, 4, work_a.data(), work_b.data(), left, top, right,
                              bottom, false);
  print("red of the quarter", part);
}
