#include <gtest/gtest.h>

#include <vector>

#include "tests/support/allocation_count.h"
#include "tests/support/test_support.h"
#include "tn_cnn.h"

namespace {

using tn_test::allocationCount;

// Also where rows are too short for vectors, and at any height.
TEST(Allocation, AResizerTakesOneBlockACall) {
  std::vector<unsigned char> src(4 * 300 * 200), dst(4 * 200 * 300);
  struct Case {
    int sw, sh, dw, dh;
  };
  tn_test::ForEachTarget([&] {
    for (const Case& k : {Case{300, 200, 200, 300}, Case{3, 200, 200, 7}, Case{1, 1, 9, 9}}) {
      for (auto resize :
           {TarnCPU::resize_bilinear_c1, TarnCPU::resize_bilinear_c2, TarnCPU::resize_bilinear_c3,
            TarnCPU::resize_bilinear_c4, TarnCPU::resize_nearest_c1}) {
        const std::size_t before = allocationCount();
        resize(src.data(), k.sw, k.sh, dst.data(), k.dw, k.dh);
        EXPECT_EQ(allocationCount() - before, 1u) << k.sw << " to " << k.dw;
      }
      for (auto crop : {TarnCPU::crop_resize_nearest_c1, TarnCPU::crop_resize_nearest_c3,
                        TarnCPU::crop_resize_nearest_c4}) {
        const std::size_t before = allocationCount();
        crop(src.data(), k.sw, k.sh, dst.data(), k.dw, k.dh, -5, -5, k.sw, k.sh);
        EXPECT_EQ(allocationCount() - before, 1u) << k.sw << " to " << k.dw;
        crop(src.data(), k.sw, k.sh, dst.data(), k.dw, k.dh, k.sw, 0, k.sw + 9, 9);
        EXPECT_EQ(allocationCount() - before, 1u) << "nothing inside";
      }
    }
  });
}

}  // namespace
