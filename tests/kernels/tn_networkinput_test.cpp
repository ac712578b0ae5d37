// Frames to tensors against the plain composition; boxes against pixels that are carried one by one.
#include "tarnkit/src/cpu_x86/tn_networkinput_cpu_x86.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstring>
#include <string>
#include <vector>

#include "tests/reference/networkinput_reference.h"
#include "tests/support/log_lines.h"
#include "tests/support/test_support.h"
#include "tn_cnn.h"
#include "tn_cv.h"

namespace {

using TarnCPU::Mat;
using TarnCPU::TN_CV;
using tn_reference::CropWindow;
using tn_test::ForEachTarget;
using tn_test::Guarded;
using tn_test::RandomBytes;

constexpr std::uint8_t kOldWorkA = 0xA5, kOldWorkB = 0x5A;

struct Size {
  int w, h;
};

std::size_t pixels(Size size) {
  return static_cast<std::size_t>(size.w) * static_cast<std::size_t>(size.h);
}

struct Format {
  int code;
  const char* name;
  std::size_t channels;
  bool yuv;
};
const Format kFormats[] = {
    {TN_PIX_FMT_YUVI420, "I420", 3, true}, {TN_PIX_FMT_NV12, "NV12", 3, true},
    {TN_PIX_FMT_NV21, "NV21", 3, true},    {TN_PIX_FMT_BGRA, "BGRA", 4, false},
    {TN_PIX_FMT_RGBA, "RGBA", 4, false},   {TN_PIX_FMT_BGR, "BGR", 3, false},
    {TN_PIX_FMT_RGB, "RGB", 3, false},
};

// A frame's bytes, to the last one that its planes have.
std::size_t frameBytes(const Format& format, Size size) {
  if (!format.yuv) return pixels(size) * format.channels;
  const std::size_t half = pixels({size.w / 2, size.h / 2});
  if (half == 0) return pixels(size);
  if (format.code == TN_PIX_FMT_YUVI420) return pixels(size) + pixels(size) / 4 + half;
  return pixels(size) + 2 * half;
}

struct Case {
  Size frame, target;
  unsigned orient = 0;
  int to_bgr = 0;
  const CropWindow* crop = nullptr;
};

// Buffers end where they are documented to end, at both ends in turn (see ForEachTarget).
void expectInput(const Format& format, const Case& k) {
  SCOPED_TRACE(testing::Message() << format.name << " " << k.frame.w << "x" << k.frame.h << " to "
                                  << k.target.w << "x" << k.target.h << ", orient " << k.orient
                                  << ", to_bgr " << k.to_bgr << (k.crop != nullptr ? ", cropped" : ""));
  Guarded bytes = RandomBytes(frameBytes(format, k.frame), 17);
  Guarded work_a(4 * pixels(k.target), kOldWorkA), work_b(format.channels * pixels(k.target), kOldWorkB);
  const _TN_Image image = {k.orient, format.code, k.frame.w, k.frame.h, -1, bytes.data()};
  Mat out;
  if (k.crop == nullptr) {
    TN_CV::getInMat(&image, out, k.to_bgr, k.target.w, k.target.h, work_a.data(), work_b.data());
  } else {
    CropWindow crop = *k.crop;
    TN_CV::getInMat_m1(&image, out, k.to_bgr, k.target.w, k.target.h, work_a.data(), work_b.data(),
                       crop.left, crop.top, crop.right, crop.bottom, crop.pad_grey);
    ASSERT_TRUE(crop.left == k.crop->left && crop.top == k.crop->top && crop.right == k.crop->right &&
                crop.bottom == k.crop->bottom);
  }
  const std::vector<float> expected =
      tn_reference::networkInput(image, k.to_bgr != 0, k.target.w, k.target.h, k.crop, kOldWorkA);
  ASSERT_TRUE(out.c == 3 && out.w == k.target.w && out.h == k.target.h);
  const float* const actual = static_cast<const float*>(out.data);
  for (std::size_t i = 0; i < expected.size(); ++i)
    ASSERT_EQ(actual[i], expected[i])
        << "plane " << i / pixels(k.target) << ", pixel " << i % pixels(k.target);
}

// Every bit alone and what takes precedence over what; the last one has bits that mean nothing.
const unsigned kOrients[] = {0, 1,  2,  3,  4,  64, 7,  68, 8,  16,         24,
                             9, 17, 10, 18, 12, 20, 72, 80, 27, 0xFFFFFFA0u};

TEST(NetworkInput, EveryFormatOrientationAndChannelOrder) {
  ForEachTarget([] {
    for (const Format& format : kFormats)
      for (const unsigned orient : kOrients)
        for (const Size target : {Size{16, 16}, Size{68, 68}, Size{18, 18}, Size{24, 12}, Size{9, 23}})
          for (const int to_bgr : {0, 1}) {
            expectInput(format, {{50, 38}, target, orient, to_bgr});
            if (HasFatalFailure()) return;
          }
    for (const Format& format : kFormats) expectInput(format, {{50, 38}, {16, 16}, 0, -256});
  });
}

TEST(NetworkInput, EverySizeFromOnePixel) {
  static const Size frames[] = {{1, 1}, {1, 2}, {2, 1}, {2, 2},  {3, 2},
                                {2, 5}, {5, 3}, {7, 7}, {33, 18}};
  static const Size targets[] = {{1, 1}, {1, 2}, {2, 1}, {1, 3}, {3, 1}, {2, 2},  {3, 2},  {2, 3},
                                 {3, 3}, {4, 4}, {5, 3}, {3, 5}, {7, 2}, {64, 1}, {65, 3}, {17, 16}};
  static const CropWindow crop = {-1, 0, 2, 3, true};
  ForEachTarget([] {
    for (const Format& format : kFormats)
      for (const Size frame : frames)
        for (const Size target : targets)
          for (const unsigned orient : {0u, 1u, 4u}) {
            expectInput(format, {frame, target, orient});
            if (orient == 0) expectInput(format, {frame, target, orient, 1, &crop});
            if (HasFatalFailure()) return;
          }
  });
}

TEST(NetworkInput, CropsReachAnywhere) {
  static const CropWindow crops[] = {
      {0, 0, 39, 29, false},   {3, 5, 30, 20, true},
      {-10, -6, 49, 35, true}, {-7, 9, 11, 28, false},
      {25, -13, 61, 12, true}, {5, 5, 5, 5, false},
      {38, 28, 41, 31, true},  {-3, -3, -1, -1, true},
      {40, 0, 50, 10, false},  {10, 10, 9, 20, true},
      {11, 10, 10, 20, true},  {10, 11, 20, 10, false},
      {30, 20, 3, 5, true},    {-2000, -900, 2500, 1300, true},
  };
  ForEachTarget([] {
    for (const Format& format : kFormats)
      for (const CropWindow& crop : crops)
        for (const unsigned orient : {0u, 2u, 16u})
          for (const Size target : {Size{24, 24}, Size{31, 17}}) {
            SCOPED_TRACE(testing::Message()
                         << crop.left << "," << crop.top << "," << crop.right << "," << crop.bottom);
            expectInput(format, {{40, 30}, target, orient, 0, &crop});
            if (HasFatalFailure()) return;
          }
  });
}

// By hand: what lies outside the frame is grey or black in all planes, whatever the format's colours.
TEST(NetworkInput, PaddingIsGreyOrBlack) {
  for (const Format& format : kFormats) {
    if (format.code == TN_PIX_FMT_NV12 || format.code == TN_PIX_FMT_NV21) continue;
    for (const bool grey : {true, false}) {
      SCOPED_TRACE(testing::Message() << format.name << (grey ? ", grey" : ", black"));
      Guarded bytes(frameBytes(format, {8, 8}), 200);
      const _TN_Image image = {0, format.code, 8, 8, 0, bytes.data()};
      unsigned char work_a[4 * 64], work_b[4 * 64];
      Mat out;
      int left = -8, top = 0, right = 7, bottom = 7;
      TN_CV::getInMat_m1(&image, out, 0, 8, 8, work_a, work_b, left, top, right, bottom, grey);
      for (int c = 0; c < 3; ++c)
        for (int y = 0; y < 8; ++y)
          for (int x = 0; x < 8; ++x) {
            const float value = out.channel(c).row(y)[x];
            if (x < 4)
              ASSERT_EQ(value, grey ? 128.0f : 0.0f) << c << " " << x << "," << y;
            else
              ASSERT_NE(value, grey ? 128.0f : 0.0f) << c << " " << x << "," << y;
          }
    }
  }
}

using LogLines = tn_test::LogLines;
using Lines = std::vector<std::string>;

TEST(NetworkInput, UnsupportedFormatsAreLoggedAndLeaveTheTensorAlone) {
  Mat out(2, 2, 3);
  const Mat shared = out;
  for (const int format : {0, 2, TN_PIX_FMT_YUV420V, 6, 11, 12, TN_PIX_FMT_CHW_F32, 257, -7, INT_MIN}) {
    SCOPED_TRACE(format);
    LogLines log(LogLines::What::kWholeOfEach);
    const _TN_Image image = {0, format, 4, 4, 0, nullptr};
    std::array<unsigned char, 64> work_a, work_b, untouched;
    untouched.fill(0xEE);
    work_a = work_b = untouched;
    TN_CV::getInMat(&image, out, 0, 4, 4, work_a.data(), work_b.data());
    EXPECT_EQ(work_a, untouched);
    int left = 0, top = 0, right = 3, bottom = 3;
    for (const bool grey : {true, false}) {
      TN_CV::getInMat_m1(&image, out, 0, 4, 4, work_a.data(), work_b.data(), left, top, right, bottom,
                         grey);
      const unsigned char background = grey ? 128 : 0;
      EXPECT_EQ(std::count(work_a.begin(), work_a.end(), background), 64) << "filled all the same";
    }
    EXPECT_EQ(work_b, untouched);
    EXPECT_EQ(log.take(), Lines(3, "V/Tarn: unsupport frame data pixel format"));
    EXPECT_TRUE(out.data == shared.data && out.w == 2 && *out.refcount == 2);
  }
}

TEST(NetworkInput, FailuresOfThePlanarColoursAreLoggedAndGoOn) {
  struct Fault {
    int code;
  };
  LogLines log(LogLines::What::kWholeOfEach);
  TarnCPU::convertPlanarLogged([] {});
  EXPECT_EQ(log.take(), Lines());
  try {
    TarnCPU::convertPlanarLogged([] { throw Fault{7}; });
    FAIL() << "swallowed";
  } catch (const Fault& fault) {
    EXPECT_EQ(fault.code, 7);
  }
  EXPECT_EQ(log.take(), Lines{"E/Tarn: yuv420f_to_rgb error"});
}

TEST(HalfTurn, PutsTheLastPixelFirst) {
  ForEachTarget([] {
    for (const Size size : {Size{1, 1}, Size{3, 2}, Size{17, 5}, Size{64, 3}, Size{70, 33}})
      for (const int c : {1, 2, 3, 4, 5}) {
        const std::size_t step = static_cast<std::size_t>(c), n = pixels(size);
        const Guarded src = RandomBytes(n * step);
        Guarded dst(n * step);
        TarnCPU::rotate180_pixels(src.data(), size.w, size.h, dst.data(), c);
        for (std::size_t i = 0; i < n; ++i)
          ASSERT_EQ(std::memcmp(dst.data() + (n - 1 - i) * step, src.data() + i * step, step), 0)
              << size.w << "x" << size.h << ", " << c << " bytes, pixel " << i;
      }
  });
  TarnCPU::rotate180_pixels(nullptr, 4, 0, nullptr, 3);
  TarnCPU::rotate180_pixels(nullptr, 4, INT_MIN, nullptr, 3);
}

// Where the pixel at (x, y) of the stored frame lies on the upright picture.
struct Place {
  int x, y;
};

Place carried(Place p, Size stored, unsigned orient) {
  Size size = stored;
  if ((orient & 2u) != 0) {
    p = {size.h - 1 - p.y, p.x};
    size = {size.h, size.w};
  } else if ((orient & 1u) != 0) {
    p = {p.y, size.w - 1 - p.x};
    size = {size.h, size.w};
  } else if ((orient & (4u | 64u)) != 0) {
    p = {size.w - 1 - p.x, size.h - 1 - p.y};
  }
  if ((orient & 8u) != 0) return {p.x, size.h - 1 - p.y};
  if ((orient & 16u) != 0) return {size.w - 1 - p.x, p.y};
  return p;
}

TEST(CropBox, CoversThePixelsThatComeToLieInTheBox) {
  const Size stored = {5, 3};
  for (unsigned orient = 0; orient < 256; ++orient) {
    const bool swapped = (orient & 3u) != 0;
    const Size upright = swapped ? Size{stored.h, stored.w} : stored;
    const _TN_Image image = {orient, TN_PIX_FMT_RGB, stored.w, stored.h, 0, nullptr};
    for (int l = 0; l < upright.w; ++l)
      for (int t = 0; t < upright.h; ++t)
        for (int r = l; r < upright.w; ++r)
          for (int b = t; b < upright.h; ++b) {
            int found[4] = {INT_MAX, INT_MAX, INT_MIN, INT_MIN};
            for (int y = 0; y < stored.h; ++y)
              for (int x = 0; x < stored.w; ++x) {
                const Place p = carried({x, y}, stored, orient);
                if (p.x < l || p.x > r || p.y < t || p.y > b) continue;
                found[0] = std::min(found[0], x);
                found[1] = std::min(found[1], y);
                found[2] = std::max(found[2], x);
                found[3] = std::max(found[3], y);
              }
            int left = l, top = t, right = r, bottom = b, bw = r - l + 1, bh = b - t + 1;
            TN_CV::rectify_cropbox(&image, left, top, right, bottom, bw, bh);
            ASSERT_TRUE(left == found[0] && top == found[1] && right == found[2] && bottom == found[3])
                << "orient " << orient << ", box " << l << "," << t << "," << r << "," << b << " gave "
                << left << "," << top << "," << right << "," << bottom;
            ASSERT_TRUE(bw == r - l + 1 && bh == b - t + 1);
          }
  }
}

// The extents come from box_width and box_height, not from the corners, and nothing is clamped.
TEST(CropBox, TakesExtentsAsGiven) {
  static const struct {
    unsigned orient;
    int expected[4];
  } cases[] = {
      {0, {-4, 7, 500, 600}},  {8, {-4, 443, 500, 472}}, {16, {604, 7, 643, 600}},
      {1, {603, -4, 632, 35}}, {2, {7, 444, 36, 483}},   {4, {139, -121, 643, 472}},
  };
  for (const auto& k : cases) {
    const _TN_Image image = {k.orient, 0, 640, 480, 0, nullptr};
    int left = -4, top = 7, right = 500, bottom = 600, bw = 40, bh = 30;
    TN_CV::rectify_cropbox(&image, left, top, right, bottom, bw, bh);
    const int actual[4] = {left, top, right, bottom};
    EXPECT_TRUE(std::equal(actual, actual + 4, k.expected))
        << "orient " << k.orient << ": " << left << "," << top << "," << right << "," << bottom;
  }
}

TEST(Paste, CoversTheMiddleAndNothingElse) {
  static const struct {
    Size dst, little;
    int x0, y0;
  } cases[] = {
      {{5, 4}, {5, 4}, 0, 0},
      {{8, 6}, {4, 4}, 2, 1},
      {{8, 9}, {5, 2}, 1, 3},
      {{7, 3}, {1, 3}, 3, 0},
  };
  for (const auto& k : cases)
    for (const int channels : {1, 3, 4}) {
      SCOPED_TRACE(testing::Message() << k.little.w << "x" << k.little.h << " on " << k.dst.w << "x"
                                      << k.dst.h << ", " << channels << " channels");
      Mat little(k.little.w, k.little.h, channels);
      const std::size_t count = static_cast<std::size_t>(channels);
      const Guarded values = RandomBytes(4 * count * pixels(k.little), 3);
      std::memcpy(little.data, values.data(), values.size());
      Guarded dst(4 * count * pixels(k.dst), 0xEE);
      std::vector<std::uint32_t> expected(count * pixels(k.dst), 0xEEEEEEEEu), actual(expected.size());
      for (int c = 0; c < channels; ++c)
        for (int y = 0; y < k.little.h; ++y)
          for (int x = 0; x < k.little.w; ++x) {
            const int from = (c * k.little.h + y) * k.little.w + x;
            const int to = (c * k.dst.h + k.y0 + y) * k.dst.w + k.x0 + x;
            std::memcpy(&expected[static_cast<std::size_t>(to)], values.data() + 4 * from, 4);
          }
      TN_CV::cover_mid_img_with_littleImg_inMat_outFloatPointer(dst.floats(), k.dst.w, k.dst.h, little);
      std::memcpy(actual.data(), dst.data(), dst.size());
      ASSERT_EQ(actual, expected);
      ASSERT_EQ(*little.refcount, 1);
    }
}

TEST(Paste, AnEmptyTensorLeavesEverythingAsItWas) {
  static const Size sizes[] = {{-1, 5}, {5, -1}, {0, 5}, {5, 0}, {-1, -1}};
  const float values[25] = {};
  for (const Size& size : sizes) {
    SCOPED_TRACE(testing::Message() << size.w << "x" << size.h);
    Guarded dst(4 * 3 * 8 * 6, 0xEE);
    // A view has data whatever its sizes are.
    const Mat view =
        Mat::from_float_array(values, size.w, size.h, 3, TarnCPU::TensorShape::CHW, nullptr);
    for (const Mat& little : {Mat(size.w, size.h, 3), view})
      TN_CV::cover_mid_img_with_littleImg_inMat_outFloatPointer(dst.floats(), 8, 6, little);
    EXPECT_TRUE(std::all_of(dst.data(), dst.data() + dst.size(), [](int byte) { return byte == 0xEE; }));
  }
}

}  // namespace
