// Letterboxing; the toolkit's own arithmetic is tested with the library.
#include "apps/tensor/tensor_maker.h"

#include <gtest/gtest.h>

#include "tests/support/test_support.h"

namespace {

using namespace tarnkit;

TEST(TensorMaker, PicturesKeepTheirShapeInEvenSizes) {
  struct Case {
    int frame_width, frame_height, width, height;
    Placement wanted;
  };
  static const Case cases[] = {
      {640, 480, 256, 256, {0, 32, 256, 192}},    {480, 640, 256, 256, {32, 0, 192, 256}},
      {1920, 1080, 640, 640, {0, 140, 640, 360}}, {256, 256, 256, 256, {0, 0, 256, 256}},
      {64, 48, 256, 128, {43, 0, 170, 128}},      {2, 1000, 64, 64, {31, 0, 2, 64}},
      {4000, 2, 64, 32, {0, 15, 64, 2}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.frame_width << "x" << c.frame_height);
    const Placement got =
        placePicture(Fit::kLetterbox, c.frame_width, c.frame_height, c.width, c.height);
    EXPECT_EQ(got.left, c.wanted.left);
    EXPECT_EQ(got.top, c.wanted.top);
    EXPECT_EQ(got.width, c.wanted.width);
    EXPECT_EQ(got.height, c.wanted.height);
  }
}

TEST(TensorMaker, BarsAreGreyAndThePictureIsTheToolkitsBetweenThem) {
  Tarn::YuvToRgbOptions colour;
  for (std::size_t i = 0; i < 3; ++i) {
    colour.mean[i] = 10.0f * static_cast<float>(i);
    colour.scale[i] = 1.0f / 128.0f;
  }
  struct Case {
    int frame_width, frame_height, width, height;
  };
  for (const Case& c : {Case{40, 20, 32, 32}, Case{20, 40, 32, 32}, Case{40, 20, 32, 16}}) {
    SCOPED_TRACE(testing::Message() << c.frame_width << "x" << c.frame_height);
    auto bytes = tn_test::RandomBytes(static_cast<std::size_t>(c.frame_width * c.frame_height * 3 / 2));
    const Tarn::checked::Image frame = {
        {0, TN_PIX_FMT_NV12, c.frame_width, c.frame_height, 0, bytes.data()}, bytes.size()};
    TensorMaker letterbox(c.frame_width, c.frame_height, c.width, c.height, colour, Fit::kLetterbox);
    const Placement at = letterbox.placement();
    TensorMaker whole(c.frame_width, c.frame_height, at.width, at.height, colour);
    const float* const got = static_cast<const float*>(letterbox.make(frame).data);
    const float* const picture = static_cast<const float*>(whole.make(frame).data);
    for (int channel = 0; channel < 3; ++channel)
      for (int y = 0; y < c.height; ++y)
        for (int x = 0; x < c.width; ++x) {
          const int px = x - at.left, py = y - at.top;
          const bool inside = px >= 0 && px < at.width && py >= 0 && py < at.height;
          const float wanted = inside ? picture[(channel * at.height + py) * at.width + px]
                                      : (114.0f - 10.0f * static_cast<float>(channel)) / 128.0f;
          ASSERT_EQ(got[(channel * c.height + y) * c.width + x], wanted)
              << "channel " << channel << " at " << x << "," << y;
        }
  }
}

}  // namespace
