// What the affine warps do, by pictures that can be worked out in the head. How they compare with their
// plain forms is in the table of routines.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <vector>

#include "tests/reference/affine_reference.h"
#include "tests/support/test_support.h"
#include "tn_cv.h"

namespace {

using TarnCPU::Mat;
using TarnCPU::TensorShape;
using tn_reference::Planes;
using tn_test::ForEachTarget;
using tn_test::Guarded;

struct Warp {
  const char* name;
  void (*warp)(Mat, Mat, const float*);
};
const Warp kWarps[] = {{"affine", affine},
                       {"affine_optimized", affine_optimized},
                       {"affine_sse", affine_sse},
                       {"affine_sse_hwc", affine_sse_hwc}};

struct Matrix {
  float m[6];
};
constexpr Matrix kIdentity = {{1, 0, 0, 0, 1, 0}};
constexpr Matrix kTurned = {{0.88f, -0.18f, 0.05f, 0.18f, 0.88f, -0.03f}};

// Every element its own.
Planes makePlanes(int w, int h, int c) {
  Planes planes = {w, h, c, {}};
  for (int i = 0; i < w * h * c; ++i) planes.values.push_back(static_cast<float>(i) * 0.75f - 300.0f);
  return planes;
}

Mat view(const float* data, const Planes& size) {
  return Mat::from_float_array(data, size.w, size.h, size.c, TensorShape::CHW, nullptr);
}

// Row 0 and column 0 do not count, so a source of one row or none has nothing that may be read.
TEST(Affine, SourcesThatDoNotCountAreNotRead) {
  static const int sizes[][2] = {{1, 1}, {1, 9}, {9, 1}, {0, 0}, {0, 5}};
  for (const auto& size : sizes)
    for (const Warp& warp : {kWarps[0], kWarps[1]})
      for (const Matrix& matrix : {kIdentity, kTurned, Matrix{{5, 1, 0.5f, -2, 4, 0}}})
        ForEachTarget([&] {
          const Planes from = {size[0], size[1], 2, {}}, to = {19, 5, 2, {}};
          Guarded dst(sizeof(float) * 19 * 5 * 2, 0xA5);
          warp.warp(view(nullptr, from), view(dst.floats(), to), matrix.m);
          for (int i = 0; i < 19 * 5 * 2; ++i) ASSERT_EQ(dst.floats()[i], 0.0f) << warp.name;
        });
}

// Any access would crash.
TEST(Affine, WarpsOfOneSizePassOverPicturesWithoutTwoRowsAndColumns) {
  static const int sizes[][2] = {{1, 1}, {1, 9}, {9, 1}, {0, 5}, {5, -1}};
  for (const auto& size : sizes)
    for (const Warp& warp : {kWarps[2], kWarps[3]})
      ForEachTarget([&] {
        const Mat nothing = view(nullptr, {size[0], size[1], 3, {}});
        warp.warp(nothing, nothing, nullptr);
      });
}

// These sizes are exact.

constexpr int kSide = 32;
// The warped picture against pixel(q, i, j).
template <class Pixel>
void expectPicture(const Warp& warp, const Matrix& matrix, const Pixel& pixel) {
  SCOPED_TRACE(warp.name);
  const Planes source = makePlanes(kSide, kSide, 3);
  const auto at = [&](int q, int i, int j) {
    return source.values[static_cast<std::size_t>((q * kSide + i) * kSide + j)];
  };
  Mat dst(kSide, kSide, 3);
  warp.warp(view(source.values.data(), source), dst, matrix.m);
  EXPECT_EQ(dst.refcount->load(), 1);
  for (int q = 0; q < 3; ++q)
    for (int i = 0; i < kSide; ++i)
      for (int j = 0; j < kSide; ++j)
        ASSERT_EQ(dst.channel(q).row(i)[j], pixel(at, q, i, j)) << q << " " << i << " " << j;
}

TEST(AffineMeaning, TheIdentityKeepsAllButEachVariantsBorder) {
  expectPicture(kWarps[0], kIdentity,
                [](auto at, int q, int i, int j) { return i == 0 || j == 0 ? 0.0f : at(q, i, j); });
  expectPicture(kWarps[2], kIdentity, [](auto at, int q, int i, int j) {
    return at(q, std::min(i, kSide - 2), std::min(j, kSide - 2));
  });
  expectPicture(kWarps[3], kIdentity, [](auto at, int q, int i, int j) { return at(q, i, j); });
}

TEST(AffineMeaning, FarOutIsZeroOrTheEdge) {
  const Matrix right = {{1, 0, 4, 0, 1, 0}}, above = {{1, 0, 0, 0, 1, -4}};
  for (const Matrix& matrix : {right, above})
    for (const Warp& warp : {kWarps[0], kWarps[1]})
      expectPicture(warp, matrix, [](auto, int, int, int) { return 0.0f; });
  expectPicture(kWarps[3], right, [](auto at, int q, int i, int) { return at(q, i, kSide - 1); });
  expectPicture(kWarps[3], above, [](auto at, int q, int, int j) { return at(q, 0, j); });
}

TEST(AffineMeaning, TheReplicatingWarpWorksInPlaceAndOnTensorsThatOverlap) {
  const Planes source = makePlanes(45, 30, 3);
  Planes expected = source;
  tn_reference::warpReplicating(source, expected, kTurned.m);
  const std::ptrdiff_t n = 45 * 30 * 3;
  ForEachTarget([&] {
    // Floats from the source to the destination.
    for (const std::ptrdiff_t apart : {std::ptrdiff_t{0}, std::ptrdiff_t{50}, n - 1, 1 - n}) {
      std::vector<float> memory(static_cast<std::size_t>(3 * n));
      float* const src = memory.data() + n;
      std::copy(source.values.begin(), source.values.end(), src);
      affine_sse_hwc(view(src, source), view(src + apart, source), kTurned.m);
      EXPECT_TRUE(std::equal(expected.values.begin(), expected.values.end(), src + apart)) << apart;
    }
  });
}

TEST(AffineDeathTest, MemoryForTheReplicatingWarpInPlaceThatCannotBeHadEndsTheProgram) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  // More bytes than half of what a size can count.
  constexpr int kHuge = 1 << 30;
  const float first = 0.0f;
  const Mat both = Mat::from_float_array(&first, kHuge, kHuge, 3, TensorShape::CHW, nullptr);
  EXPECT_DEATH(affine_sse_hwc(both, both, kIdentity.m),
               tn_test::FailedCheck("false && \"malloc failed\"", "platform/tn_cnn/src/tn_mat", 60));
}

}  // namespace
