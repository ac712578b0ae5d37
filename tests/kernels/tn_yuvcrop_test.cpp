#include <gtest/gtest.h>

#include <cstring>
#include <limits>

#include "tests/reference/yuv_reference.h"
#include "tests/support/test_support.h"
#include "tn_yuvconverter.h"

namespace {

using namespace Tarn;
using namespace tn_test;

struct Rect {
  int x0, y0, x1, y1;
};

constexpr std::uint8_t kUntouched = 0xA5;

// Crops a frame of w x h out of which `slack` more bytes may be read, into one of ow x oh with as much
// slack: the second row of an odd last pair runs past its plane.
void crop(bool planar, int w, int h, int ow, int oh, const Rect& r, Guarded& got, Guarded& want) {
  Guarded frame = RandomBytes(static_cast<std::size_t>(w * h * 2 + 2 * w), 9);
  const std::size_t bytes = static_cast<std::size_t>(ow * oh * 2 + 2 * ow);
  got = Guarded(bytes, kUntouched);
  want = Guarded(bytes, kUntouched);
  const _TN_Image in{0, 0, w, h, 0, frame.data()};
  (planar ? TarnYUVToolKit::Crop_YUVI420 : TarnYUVToolKit::Crop)(in, {0, 0, ow, oh, 0, got.data()}, r.x0,
                                                                 r.y0, r.x1, r.y1);
  referenceCrop(in, {0, 0, ow, oh, 0, want.data()}, r.x0, r.y0, r.x1, r.y1, planar);
}

TEST(YuvCrop, EqualsThePlainForm) {
  struct Case {
    const char* name;
    int w, h, ow, oh;
    Rect r;
  };
  static const Case cases[] = {
      {"inside", 64, 48, 32, 16, {10, 20, 41, 35}},
      {"left and above", 64, 48, 20, 20, {-4, -2, 15, 17}},
      {"right and below", 64, 48, 40, 30, {40, 30, 79, 59}},
      {"around the frame", 20, 10, 40, 30, {-10, -10, 29, 19}},
      {"odd width", 64, 48, 5, 4, {10, 10, 14, 13}},
      {"odd height: the row below comes along", 64, 48, 8, 6, {0, 0, 7, 4}},
      {"odd height at the frame's last row", 64, 47, 8, 4, {0, 44, 7, 46}},
      {"odd corner shifts the chroma", 64, 48, 16, 16, {7, 9, 22, 24}},
      {"odd negative corner", 64, 48, 16, 16, {-3, -5, 12, 10}},
      {"odd frame sizes", 33, 21, 15, 11, {4, 2, 18, 12}},
      {"one pixel has no even part", 64, 48, 2, 2, {3, 3, 3, 3}},
      {"one row", 64, 48, 8, 2, {0, 5, 7, 5}},
      {"an output of one row, whose chroma comes last", 45, 42, 23, 1, {24, 24, 46, 24}},
      {"an output of one short row, whose V comes after U", 25, 33, 5, 1, {5, 25, 9, 25}},
  };
  for (const Case& c : cases)
    for (const bool planar : {false, true}) {
      SCOPED_TRACE(testing::Message() << c.name << (planar ? ", planar" : ""));
      Guarded got(0), want(0);
      crop(planar, c.w, c.h, c.ow, c.oh, c.r, got, want);
      ASSERT_EQ(std::memcmp(got.data(), want.data(), got.size()), 0);
    }
}

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

TEST(YuvCrop, EmptyRectanglesWriteNothing) {
  const int least = std::numeric_limits<int>::min(), most = std::numeric_limits<int>::max();
  static const Rect rects[] = {
      {0, 48, 7, 60},
      {0, -9, 7, -1},
      {64, 0, 70, 7},
      {-9, 0, -1, 7},
      {8, 0, 7, 7},
      {0, 8, 7, 7},
      {20, 20, 10, 30},
      {most, most, most, most},
      {least, least, least, least},
      {most, 0, least, 7},
  };
  for (const Rect& r : rects)
    for (const bool planar : {false, true}) {
      SCOPED_TRACE(testing::Message() << r.x0 << " " << r.y0 << " " << r.x1 << " " << r.y1);
      Guarded frame(64 * 48 * 3 / 2), out(16 * 16 * 3 / 2, kUntouched);
      const Guarded before(out.size(), kUntouched);
      (planar ? TarnYUVToolKit::Crop_YUVI420 : TarnYUVToolKit::Crop)(
          {0, 0, 64, 48, 0, frame.data()}, {0, 0, 16, 16, 0, out.data()}, r.x0, r.y0, r.x1, r.y1);
      EXPECT_EQ(std::memcmp(out.data(), before.data(), out.size()), 0);
    }
}

}  // namespace
