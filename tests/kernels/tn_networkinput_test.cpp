// Network input preparation beside its table rows: formats that are refused, failures, the
// tensor's memory, and boxes by hand.
#include "tarnkit/src/cpu_x86/tn_networkinput_cpu_x86.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <climits>
#include <string>
#include <vector>

#include "common/tn_sanitizers.h"
#include "tests/support/log_lines.h"
#include "tn_cnn.h"
#include "tn_cv.h"

namespace {

using TarnCPU::Mat;
using TarnCPU::TN_CV;

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

// A loop over frames gets the same memory again, and who kept the tensor before keeps it as it was.
TEST(NetworkInput, TheOldTensorIsDroppedBeforeTheNewOneIsMade) {
  constexpr int kSide = 160;  // of tensors large enough that a dropped block is kept
  std::vector<unsigned char> pixels(3 * 64, 9), work_a(4 * kSide * kSide), work_b = work_a;
  const _TN_Image image = {0, TN_PIX_FMT_RGB, 8, 8, 0, pixels.data()};
  Mat out;
  const auto fill = [&](unsigned char value) {
    std::fill(pixels.begin(), pixels.end(), value);
    TN_CV::getInMat(&image, out, 0, kSide, kSide, work_a.data(), work_b.data());
    return out.data;
  };
  [[maybe_unused]] const void* const first = fill(9);
  const void* const second = fill(17);
#if !defined(TN_ADDRESS_SANITIZER)  // under which no dropped block is kept
  EXPECT_EQ(second, first);
#endif
  const Mat kept = out;
  EXPECT_NE(fill(33), second);
  EXPECT_EQ(kept.row(0)[0], 17.0f);
  EXPECT_EQ(out.row(0)[0], 33.0f);
  EXPECT_EQ(*out.refcount, 1);
}

// The extents come from box_width and box_height, not from the corners, and nothing is clamped.
TEST(CropBox, TakesExtentsAsGiven) {
  static const struct {
    unsigned orient;
    int expected[4];
  } cases[] = {
      {0, {-4, 7, 500, 600}},   {8, {-4, -27, 500, 472}}, {16, {-56, 7, 643, 600}},
      {1, {133, -4, 632, 695}}, {2, {7, -216, 506, 483}}, {4, {139, -121, 643, 472}},
  };
  for (const auto& k : cases) {
    const _TN_Image image = {k.orient, 0, 640, 480, 0, nullptr};
    int left = -4, top = 7, right = 500, bottom = 600, bw = 700, bh = 500;
    TN_CV::rectify_cropbox(&image, left, top, right, bottom, bw, bh);
    const int actual[4] = {left, top, right, bottom};
    EXPECT_TRUE(bw == 700 && bh == 500) << "extents are only read";
    EXPECT_TRUE(std::equal(actual, actual + 4, k.expected))
        << "orient " << k.orient << ": " << left << "," << top << "," << right << "," << bottom;
  }
}

}  // namespace
