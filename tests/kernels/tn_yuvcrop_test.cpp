// Crops by hand: where bytes land.
#include <gtest/gtest.h>

#include <cstring>

#include "tests/support/test_support.h"
#include "tn_yuvconverter.h"

namespace {

using namespace Tarn;
using namespace tn_test;

constexpr std::uint8_t kUntouched = 0xA5;

TEST(YuvCrop, PlacesBytesWhereTheyBelong) {
  std::uint8_t frame[8 * 6 * 3 / 2];
  for (std::size_t i = 0; i < sizeof frame; ++i) frame[i] = static_cast<std::uint8_t>(i);
  std::uint8_t whole[sizeof frame], shifted[12 * 8 * 3 / 2];
  const _TN_Image in{0, TN_PIX_FMT_NV12, 8, 6, 0, frame}, same{0, TN_PIX_FMT_NV12, 8, 6, 0, whole};
  for (const auto routine : {TarnYUVToolKit::Crop, TarnYUVToolKit::Crop_YUVI420}) {
    std::memset(whole, kUntouched, sizeof whole);
    routine(in, same, 0, 0, 7, 5);
    EXPECT_EQ(std::memcmp(whole, frame, sizeof frame), 0) << "the whole frame";

    std::memset(shifted, kUntouched, sizeof shifted);
    routine(in, {0, TN_PIX_FMT_NV12, 12, 8, 0, shifted}, -4, -2, 7, 5);
    for (int i = 0; i < 2 * 12; ++i) EXPECT_EQ(shifted[i], kUntouched) << "rows above";
    for (int x = 0; x < 4; ++x) EXPECT_EQ(shifted[2 * 12 + x], kUntouched) << "columns before";
    EXPECT_EQ(shifted[2 * 12 + 4], frame[0]);
    EXPECT_EQ(shifted[7 * 12 + 11], frame[47]);
  }
  EXPECT_EQ(shifted[96 + 6 + 2], frame[48]) << "first U";
  EXPECT_EQ(shifted[96 + 24 + 6 + 2], frame[48 + 12]) << "first V";
}

}  // namespace
