// One tensor through the four warps: the identity, and a step of one pixel to the side.
#include <tn_cnn.h>
#include <tn_cv.h>

#include <cstdio>

int main() {
  using TarnCPU::Mat;
  const int side = 4;
  Mat source(side, side, 3), result(side, side, 3);
  for (int i = 0; i < 3 * side * side; ++i)
    static_cast<float*>(source.data)[i] = static_cast<float>(i % (side * side) + 10);

  struct Warp {
    const char* name;
    void (*run)(Mat, Mat, const float*);
  };
  const Warp warps[] = {{"affine", affine},
                        {"affine_optimized", affine_optimized},
                        {"affine_sse", affine_sse},
                        {"affine_sse_hwc", affine_sse_hwc}};
  // From edge to edge is 2, so that half of it is two of the four pixels.
  const float identity[] = {1, 0, 0, 0, 1, 0};
  const float aside[] = {1, 0, 0.5f, 0, 1, 0};

  std::printf("%-16s    row 1 by the identity       row 1, one pixel from the right\n", "");
  for (const Warp& warp : warps) {
    std::printf("%-16s", warp.name);
    for (const float* matrix : {identity, aside}) {
      warp.run(source, result, matrix);
      std::printf("    ");
      for (int x = 0; x < side; ++x) std::printf("%6.1f", static_cast<double>(result.row(1)[x]));
    }
    std::printf("\n");
  }
}
