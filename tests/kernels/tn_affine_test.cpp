#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
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
  void (*plain)(const Planes&, Planes&, const float*);
  bool one_size;  // and three channels
};
const Warp kWarps[] = {
    {"affine", affine, tn_reference::warpZeroBorder, false},
    {"affine_optimized", affine_optimized, tn_reference::warpZeroBorderOptimized, false},
    {"affine_sse", affine_sse, tn_reference::warpExtrapolating, true},
    {"affine_sse_hwc", affine_sse_hwc, tn_reference::warpReplicating, true},
};

struct Matrix {
  float m[6];
};
constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInf = std::numeric_limits<float>::infinity();
constexpr float kMax = std::numeric_limits<float>::max();

// The identity first.
const Matrix kMatrices[] = {
    {{1, 0, 0, 0, 1, 0}},
    {{-1, 0, 0, 0, 1, 0}},
    {{0, 1, 0, -1, 0, 0}},
    {{0.88f, -0.18f, 0.05f, 0.18f, 0.88f, -0.03f}},
    {{0.2f, 0.1f, -0.3f, 0, 0.3f, 0.4f}},
    {{5, 1, 0.5f, -2, 4, 0}},
    {{1, 0, 4, 0, 1, 0}},
    {{1, 0, 0, 0, 1, -1.1f}},
    {{0, 0, 0, 0, 0, 0}},
    {{0, 0, 1, 0, 0, 1}},
    {{0, 0, -1, 0, 0, -1}},
    // Positions beyond 32 bits, just and far, on one side of the picture or on both.
    {{2e8f, 0, 0, 0, 1, 0}},
    {{1, 0, 0, 3e8f, 1, 1e8f}},
    {{1, 0, 1e30f, 0, 1, -1e30f}},
    {{kMax, kMax, -kMax, -kMax, kMax, kMax}},
    {{1, 0, kInf, 0, 1, 0}},
    {{1, -kInf, 0, kInf, 1, 0}},
    {{1, 0, 0, 0, 1, kNan}},
    {{kNan, kNan, kNan, kNan, kNan, kNan}},
    {{1, 0, kNan, 0, 1, 4}},
    {{1e-45f, -1e-40f, -0.0f, 1e-30f, -0.0f, -1e-45f}},
};

enum class Content { kFinite, kAnyBits };

Planes makePlanes(int w, int h, int c, Content content) {
  const std::size_t count =
      static_cast<std::size_t>(w) * static_cast<std::size_t>(h) * static_cast<std::size_t>(c);
  Planes planes = {w, h, c, std::vector<float>(count)};
  std::mt19937 random(static_cast<std::uint32_t>(7 * w + h));
  for (float& value : planes.values) {
    const std::uint32_t bits = static_cast<std::uint32_t>(random());
    value = static_cast<float>(bits >> 8) / 1000.0f - 4000.0f;
    // A seventh: infinities, NaN, zeros of both signs and numbers of all sizes.
    if (content == Content::kAnyBits && bits % 7 == 0) std::memcpy(&value, &bits, sizeof value);
  }
  return planes;
}

Mat view(const float* data, const Planes& size) {
  return Mat::from_float_array(data, size.w, size.h, size.c, TensorShape::CHW, nullptr);
}

// Any NaN equals any other.
testing::AssertionResult sameBits(const float* actual, const Planes& expected) {
  for (std::size_t k = 0; k < expected.values.size(); ++k) {
    const float a = actual[k], e = expected.values[k];
    if (std::memcmp(&a, &e, sizeof a) == 0 || (std::isnan(a) && std::isnan(e))) continue;
    const std::size_t w = static_cast<std::size_t>(expected.w);
    return testing::AssertionFailure()
           << a << " instead of " << e << " at row " << k / w << " (of all planes), column " << k % w;
  }
  return testing::AssertionSuccess();
}

// On every instruction set, between unreadable pages, over two fills so that what is left shows.
void expectWarp(const Warp& warp, const Planes& source, int dw, int dh, int c, const Matrix& matrix) {
  std::string shown;
  for (const float m : matrix.m) shown += " " + std::to_string(m);
  SCOPED_TRACE(testing::Message() << warp.name << ", " << source.w << "x" << source.h << " to " << dw
                                  << "x" << dh << ", " << c << " channels, matrix" << shown);
  Planes expected = makePlanes(dw, dh, c, Content::kFinite);
  warp.plain(source, expected, matrix.m);
  const std::size_t bytes = source.values.size() * sizeof(float);
  ForEachTarget([&] {
    Guarded src(bytes);
    if (bytes != 0) std::memcpy(src.data(), source.values.data(), bytes);
    for (const std::uint8_t fill : {std::uint8_t{0xA5}, std::uint8_t{0x5A}}) {
      Guarded dst(expected.values.size() * sizeof(float), fill);
      warp.warp(view(src.floats(), source), view(dst.floats(), expected), matrix.m);
      ASSERT_TRUE(sameBits(dst.floats(), expected));
    }
  });
}

TEST(Affine, EveryMatrixEqualsThePlainForm) {
  for (const Content content : {Content::kFinite, Content::kAnyBits}) {
    const Planes wide = makePlanes(37, 22, 3, content), other = makePlanes(21, 50, 4, content);
    for (const Warp& warp : kWarps)
      for (const Matrix& matrix : kMatrices) {
        expectWarp(warp, wide, 37, 22, 3, matrix);
        if (!warp.one_size) expectWarp(warp, other, 37, 22, 4, matrix);
        if (HasFatalFailure()) return;
      }
  }
}

TEST(Affine, RandomMatricesEqualThePlainForm) {
  std::mt19937 random(3);
  std::uniform_real_distribution<float> entry(-1.5f, 1.5f);
  const Planes source = makePlanes(33, 33, 3, Content::kFinite);
  for (int n = 0; n < 60; ++n) {
    Matrix mild, wild;
    for (float& m : mild.m) m = entry(random);
    for (float& m : wild.m) {
      const std::uint32_t bits = static_cast<std::uint32_t>(random());
      std::memcpy(&m, &bits, sizeof m);
    }
    for (const Warp& warp : kWarps)
      for (const Matrix& matrix : {mild, wild}) {
        expectWarp(warp, source, 33, 33, 3, matrix);
        if (HasFatalFailure()) return;
      }
  }
}

TEST(Affine, EverySizeEqualsThePlainForm) {
  // Around each vector width, and around the tiles that the warps work in.
  std::vector<int> sizes = {31, 32, 33, 47, 48, 49, 63, 64, 65, 128, 300};
  for (int n = 1; n <= 20; ++n) sizes.push_back(n);
  for (const Warp& warp : kWarps)
    for (const int n : sizes)
      for (const int across : {2, 5, 19})
        for (const bool wide : {true, false}) {
          const int w = wide ? n : across, h = wide ? across : n;
          if (warp.one_size && n < 2) continue;
          const Planes same = makePlanes(w, h, 3, Content::kFinite);
          for (const std::size_t k : {0u, 3u, 5u}) {
            expectWarp(warp, same, w, h, 3, kMatrices[k]);
            if (HasFatalFailure()) return;
          }
          if (warp.one_size) continue;
          expectWarp(warp, same, 24, 9, 1, kMatrices[3]);
          expectWarp(warp, makePlanes(24, 9, 1, Content::kFinite), w, h, 1, kMatrices[3]);
          if (HasFatalFailure()) return;
        }
}

// Tensors beyond 12 MiB are warped plane by plane, and what they read is called for ahead.
TEST(Affine, LargeTensorsEqualThePlainForm) {
  const Planes far = makePlanes(741, 737, 3, Content::kFinite);
  for (const Warp& warp : kWarps) {
    expectWarp(warp, far, 741, 737, 3, kMatrices[3]);
    expectWarp(warp, far, 741, 737, 3, kMatrices[4]);
    if (HasFatalFailure()) return;
  }
}

// Row 0 and column 0 do not count, so a source of one row or none has nothing that may be read.
TEST(Affine, SourcesThatDoNotCountAreNotRead) {
  static const int sizes[][2] = {{1, 1}, {1, 9}, {9, 1}, {0, 0}, {0, 5}};
  for (const auto& size : sizes) {
    const Planes size_only = {size[0], size[1], 2, {}};
    for (const Warp& warp : {kWarps[0], kWarps[1]})
      for (const Matrix& matrix : kMatrices) {
        Planes expected = makePlanes(19, 5, 2, Content::kFinite);
        warp.plain(size_only, expected, matrix.m);
        ForEachTarget([&] {
          Guarded dst(expected.values.size() * sizeof(float), 0xA5);
          warp.warp(view(nullptr, size_only), view(dst.floats(), expected), matrix.m);
          ASSERT_TRUE(sameBits(dst.floats(), expected)) << warp.name;
        });
      }
  }
}

TEST(Affine, NothingToWriteTouchesNothing) {
  static const int sizes[][3] = {{0, 4, 3},           {4, 0, 3}, {-1, 4, 3},
                                 {4, -2147483647, 3}, {4, 4, 0}, {9, 9, -1}};
  ForEachTarget([] {
    for (const auto& size : sizes) {
      const Mat none =
          Mat::from_float_array(nullptr, size[0], size[1], size[2], TensorShape::CHW, nullptr);
      affine(none, none, kMatrices[0].m);
      affine_optimized(none, none, kMatrices[0].m);
    }
    for (const auto& size : {std::pair(1, 5), std::pair(5, 1), std::pair(0, 0), std::pair(-3, 5)}) {
      const Mat none =
          Mat::from_float_array(nullptr, size.first, size.second, 3, TensorShape::CHW, nullptr);
      affine_sse(none, none, kMatrices[0].m);
      affine_sse_hwc(none, none, kMatrices[0].m);
    }
  });
}

// ---- What the warps do, by pictures that can be worked out in the head. These sizes are exact.

constexpr int kSide = 32;
constexpr Matrix kIdentity = {{1, 0, 0, 0, 1, 0}}, kMirror = {{-1, 0, 0, 0, 1, 0}};

// The warped picture against pixel(q, i, j).
template <class Pixel>
void expectPicture(const Warp& warp, const Matrix& matrix, const Pixel& pixel) {
  SCOPED_TRACE(warp.name);
  const Planes source = makePlanes(kSide, kSide, 3, Content::kFinite);
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

TEST(AffineMeaning, AMirrorSwapsLeftAndRight) {
  expectPicture(kWarps[0], kMirror, [](auto at, int q, int i, int j) {
    return i == 0 || j == kSide - 1 ? 0.0f : at(q, i, kSide - 1 - j);
  });
  expectPicture(kWarps[2], kMirror, [](auto at, int q, int i, int j) {
    return at(q, std::min(i, kSide - 2), std::min(kSide - 1 - j, kSide - 2));
  });
  expectPicture(kWarps[3], kMirror,
                [](auto at, int q, int i, int j) { return at(q, i, kSide - 1 - j); });
}

TEST(AffineMeaning, FarOutIsZeroOrTheEdge) {
  const Matrix right = {{1, 0, 4, 0, 1, 0}}, above = {{1, 0, 0, 0, 1, -4}};
  for (const Matrix& matrix : {right, above})
    for (const Warp& warp : {kWarps[0], kWarps[1]})
      expectPicture(warp, matrix, [](auto, int, int, int) { return 0.0f; });
  expectPicture(kWarps[3], right, [](auto at, int q, int i, int) { return at(q, i, kSide - 1); });
  expectPicture(kWarps[3], above, [](auto at, int q, int, int j) { return at(q, 0, j); });
}

TEST(AffineMeaning, TheOptimizedWarpIsAffineForSquareSourcesOnly) {
  // Of a slope of 1 a pixel, so that pixels differ by as much as their positions do.
  for (const int w : {kSide, 2 * kSide}) {
    Mat src(w, kSide, 1), plain(kSide, kSide, 1), optimized(kSide, kSide, 1);
    for (int i = 0; i < kSide; ++i)
      for (int j = 0; j < w; ++j) src.row(i)[j] = static_cast<float>(i + j);
    const Matrix turned = {{0.5f, -0.2f, 0.1f, 0.2f, 0.5f, 0}};
    affine(src, plain, turned.m);
    affine_optimized(src, optimized, turned.m);
    float difference = 0.0f;
    for (int k = 0; k < kSide * kSide; ++k)
      difference = std::max(difference, std::abs(plain.row(0)[k] - optimized.row(0)[k]));
    // Positions below 64 are rounded to multiples of 2^-18 or finer, a few times.
    if (w == kSide)
      EXPECT_LT(difference, 1e-4f);
    else
      EXPECT_GT(difference, 10.0f);
  }
}

TEST(AffineMeaning, OnlyTheDestinationsChannelsAreWarped) {
  const Planes source = makePlanes(kSide, kSide, 3, Content::kFinite);
  Guarded dst(sizeof(float) * kSide * kSide);
  const Planes one = {kSide, kSide, 1, {}};
  affine(view(source.values.data(), source), view(dst.floats(), one), kIdentity.m);
  EXPECT_EQ(dst.floats()[kSide + 1], source.values[kSide + 1]);
}

TEST(AffineMeaning, TheReplicatingWarpWorksInPlace) {
  const Planes source = makePlanes(45, 30, 3, Content::kFinite);
  Planes expected = source;
  tn_reference::warpReplicating(source, expected, kMatrices[3].m);
  ForEachTarget([&] {
    Mat both(45, 30, 3);
    std::memcpy(both.data, source.values.data(), source.values.size() * sizeof(float));
    affine_sse_hwc(both, both, kMatrices[3].m);
    EXPECT_TRUE(sameBits(both.row(0), expected));
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
