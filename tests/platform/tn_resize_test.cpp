// The byte resizers beside their table rows: the rule's extremes.
#include "tn_resize.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "tests/support/test_support.h"
#include "tn_cv.h"

namespace {

using Bytes = std::vector<std::uint8_t>;
using tn_test::ForEachTarget;

std::size_t bytes(int w, int h, int c) {
  return static_cast<std::size_t>(w) * static_cast<std::size_t>(h) * static_cast<std::size_t>(c);
}

using ResizeFunction = void (*)(const unsigned char*, int, int, unsigned char*, int, int);
struct Resizer {
  const char* name;
  ResizeFunction resize;
  int c;
};
const Resizer kResizers[] = {
    {"bilinear c1", TarnCPU::resize_bilinear_c1, 1},
    {"bilinear c2", TarnCPU::resize_bilinear_c2, 2},
    {"bilinear c3", TarnCPU::resize_bilinear_c3, 3},
    {"bilinear c4", TarnCPU::resize_bilinear_c4, 4},
    {"bilinear c2 of the other library", TarnCPU::TN_CV::resize_bilinear_c2, 2},
    {"nearest c1", TarnCPU::resize_nearest_c1, 1},
};

// Three pixels to 2048: every weight is a half rounded up, so the two of a pixel add up to 2049.
TEST(Resizers, WeightsThatAddUpToMoreThanOneDoNotWrap) {
  for (const Resizer& r : kResizers) {
    const Bytes white(bytes(8, 3, r.c), 255);
    Bytes dst(bytes(2048, 2048, r.c));
    ForEachTarget([&] {
      r.resize(white.data(), 8, 3, dst.data(), 2048, 2048);
      ASSERT_EQ(dst, Bytes(dst.size(), 255)) << r.name;
    });
  }
}

}  // namespace
