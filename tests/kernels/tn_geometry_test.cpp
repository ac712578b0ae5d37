// What the warps and the cut of pixels promise beyond their rows in the table of routines: tensors that
// overlap or are shared, memory that cannot be had, and a start that wraps.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <vector>

#include "tests/reference/affine_reference.h"
#include "tests/support/test_support.h"
#include "tn_cv.h"

namespace {

using TarnCPU::Mat;
using TarnCPU::TensorShape;
using tn_reference::Planes;

Mat view(const float* data, const Planes& size) {
  return Mat::from_float_array(data, size.w, size.h, size.c, TensorShape::CHW, nullptr);
}

TEST(Affine, KeepsNoReferenceToItsTensors) {
  Mat src(4, 4, 3), dst(4, 4, 3);
  const float identity[] = {1, 0, 0, 0, 1, 0};
  for (const auto warp : {affine, affine_optimized, affine_sse, affine_sse_hwc}) {
    warp(src, dst, identity);
    EXPECT_TRUE(*src.refcount == 1 && *dst.refcount == 1);
  }
}

TEST(Affine, TheReplicatingWarpWorksInPlaceAndOnTensorsThatOverlap) {
  const std::ptrdiff_t n = 45 * 30 * 3;
  Planes source = {45, 30, 3, {}};
  for (int i = 0; i < n; ++i) source.values.push_back(static_cast<float>(i) * 0.75f - 300.0f);
  const float turn[] = {0.88f, -0.18f, 0.05f, 0.18f, 0.88f, -0.03f};
  Planes expected = source;
  tn_reference::warpReplicating(source, expected, turn);
  tn_test::ForEachTarget([&] {
    // Floats from the source to the destination.
    for (const std::ptrdiff_t apart : {std::ptrdiff_t{0}, std::ptrdiff_t{50}, n - 1, 1 - n}) {
      std::vector<float> memory(static_cast<std::size_t>(3 * n));
      float* const src = memory.data() + n;
      std::copy(source.values.begin(), source.values.end(), src);
      affine_sse_hwc(view(src, source), view(src + apart, source), turn);
      EXPECT_TRUE(std::equal(expected.values.begin(), expected.values.end(), src + apart)) << apart;
    }
  });
}

TEST(AffineDeathTest, MemoryForTheReplicatingWarpInPlaceThatCannotBeHadEndsTheProgram) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  // More bytes than half of what a size can count.
  constexpr int kHuge = 1 << 30;
  const float matrix[6] = {};
  const Mat both = view(matrix, {kHuge, kHuge, 3, {}});
  EXPECT_DEATH(affine_sse_hwc(both, both, matrix),
               tn_test::FailedCheck("false && \"malloc failed\"", "platform/tn_cnn/src/tn_mat", 60));
}

// 65536 rows of 65536 pixels are 2^32 of them: the start comes round to the first row, before it too.
TEST(Cuts, ThePackedStartWrapsAt32Bits) {
  const tn_test::Guarded src = tn_test::RandomBytes(64);
  std::uint8_t out[6] = {};
  TarnCPU::TN_CV::cut_sub_img_inhwc_outhwc(src.data(), 65536, 65537, out, 2, 1, 5, 65536, 3);
  EXPECT_EQ(std::memcmp(out, src.data() + 15, 6), 0);
  TarnCPU::TN_CV::cut_sub_img_inhwc_outhwc(src.data() + 12, 65536, 65536, out, 2, 1, 65532, 65535, 3);
  EXPECT_EQ(std::memcmp(out, src.data(), 6), 0);
}

}  // namespace
