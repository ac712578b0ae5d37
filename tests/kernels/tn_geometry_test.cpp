// Properties of turns and cuts that can be said without their plain forms.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>

#include "tests/support/test_support.h"
#include "tn_cv.h"

namespace {

using TarnCPU::TN_CV;
using tn_test::Guarded;
using tn_test::RandomBytes;

// By hand: a picture of 4x4 pixels whose first byte counts them row by row.
TEST(Turns, PutTheFirstColumnFirstOrLast) {
  for (const int c : {3, 4}) {
    std::uint8_t src[64] = {}, right[64], left[64];
    for (int i = 0; i < 16; ++i) src[i * c] = static_cast<std::uint8_t>(i);
    (c == 3 ? TN_CV::rotate90_intrinsics_3_channel : TN_CV::rotate90_intrinsics_4_channel)(src, 4, 4,
                                                                                           right);
    (c == 3 ? TN_CV::anti_rotate90_intrinsics_3_channel : TN_CV::anti_rotate90_intrinsics_4_channel)(
        src, 4, 4, left);
    const int first_rows[2][4] = {{12, 8, 4, 0}, {3, 7, 11, 15}};
    for (int x = 0; x < 4; ++x) {
      EXPECT_EQ(right[x * c], first_rows[0][x]) << c;
      EXPECT_EQ(left[x * c], first_rows[1][x]) << c;
    }
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
