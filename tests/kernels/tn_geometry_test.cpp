// Properties of turns and cuts that can be said without their plain forms.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "tests/support/test_support.h"
#include "tn_cv.h"

namespace {

using TarnCPU::TN_CV;
using tn_test::Guarded;
using tn_test::RandomBytes;

using Bytes = std::vector<std::uint8_t>;

using Turn = void (*)(const unsigned char*, int, int, unsigned char*);
const Turn kTurns[] = {TN_CV::rotate90_intrinsics_3_channel, TN_CV::rotate90_intrinsics_4_channel,
                       TN_CV::anti_rotate90_intrinsics_3_channel,
                       TN_CV::anti_rotate90_intrinsics_4_channel};

// Said without blocks: where each pixel of a picture with sides that are multiples of 4 goes.
TEST(Turns, MultiplesOfFourTurnAndTurnBack) {
  const int w = 24, h = 76;
  for (int c : {3, 4}) {
    const Turn right = kTurns[c - 3], left = kTurns[c - 1];
    const Guarded src = RandomBytes(static_cast<std::size_t>(w * h * c), 7);
    Guarded once(src.size()), back(src.size()), twice(src.size());
    right(src.data(), w, h, once.data());
    left(once.data(), h, w, back.data());
    right(once.data(), h, w, twice.data());
    const auto pixel = [&](const Guarded& image, int width, int y, int x) {
      const std::uint8_t* const p = image.data() + (y * width + x) * c;
      return Bytes(p, p + c);
    };
    for (int y = 0; y < h; ++y)
      for (int x = 0; x < w; ++x) {
        ASSERT_EQ(pixel(once, h, x, h - 1 - y), pixel(src, w, y, x)) << c << " " << y << " " << x;
        ASSERT_EQ(pixel(twice, w, h - 1 - y, w - 1 - x), pixel(src, w, y, x))
            << c << " " << y << " " << x;
      }
    EXPECT_EQ(std::memcmp(back.data(), src.data(), src.size()), 0) << c;
  }
}

// 65536 rows of 65536 pixels are 2^32 of them: the start comes round to the first row, before it too.
TEST(Cuts, ThePackedStartWrapsAt32Bits) {
  const Guarded src = RandomBytes(64);
  std::uint8_t out[6] = {};
  TN_CV::cut_sub_img_inhwc_outhwc(src.data(), 65536, 65537, out, 2, 1, 5, 65536, 3);
  EXPECT_EQ(std::memcmp(out, src.data() + 15, 6), 0);
  TN_CV::cut_sub_img_inhwc_outhwc(src.data() + 12, 65536, 65536, out, 2, 1, 65532, 65535, 3);
  EXPECT_EQ(std::memcmp(out, src.data(), 6), 0);
}

}  // namespace
