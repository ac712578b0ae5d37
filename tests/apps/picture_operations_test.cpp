// Pictures in memory: where every byte goes, for every layout and for sizes that the kernels do not
// like.
#include <gtest/gtest.h>

#include "apps/pictures/operations.h"
#include "apps/pictures/raw_frame.h"
#include "tests/reference/colour_reference.h"
#include "tests/support/test_support.h"

namespace {

using namespace tarnkit;

constexpr PixelLayout kLayouts[] = {PixelLayout::kGray, PixelLayout::kRgb, PixelLayout::kRgba,
                                    PixelLayout::kPlanar};

std::vector<std::uint8_t> randomBytes(std::size_t size) {
  const tn_test::Guarded bytes = tn_test::RandomBytes(size);
  return {bytes.data(), bytes.data() + size};
}

int samplesOf(PixelLayout layout) {
  if (layout == PixelLayout::kGray) return 1;
  return layout == PixelLayout::kRgba ? 4 : 3;
}

Picture randomPicture(int width, int height, PixelLayout layout) {
  return {width, height, layout, randomBytes(byteCount(width, height, samplesOf(layout)))};
}

std::uint8_t sampleAt(const Picture& picture, int x, int y, int sample) {
  const int pixel = y * picture.width + x;
  return picture.bytes.at(static_cast<std::size_t>(picture.layout == PixelLayout::kPlanar
                                                       ? sample * picture.pixels() + pixel
                                                       : samplesOf(picture.layout) * pixel + sample));
}

// Pixel (x, y) of `moved` must be pixel (x0 + xx * x + xy * y, y0 + yx * x + yy * y) of `source`.
struct From {
  int x0, xx, xy, y0, yx, yy;
};
void expectMoved(const Picture& source, const Picture& moved, int width, int height, const From& from) {
  ASSERT_EQ(moved.width, width);
  ASSERT_EQ(moved.height, height);
  ASSERT_EQ(moved.layout, source.layout);
  ASSERT_EQ(moved.bytes.size(), byteCount(width, height, samplesOf(source.layout)));
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x)
      for (int sample = 0; sample < samplesOf(source.layout); ++sample)
        ASSERT_EQ(sampleAt(moved, x, y, sample), sampleAt(source, from.x0 + from.xx * x + from.xy * y,
                                                          from.y0 + from.yx * x + from.yy * y, sample))
            << "(" << x << ", " << y << "), sample " << sample;
}

TEST(PictureOperations, TurnMirrorAndCutPicturesOfAnySize) {
  static constexpr int kSizes[][2] = {{1, 1}, {1, 9}, {7, 1}, {4, 8}, {5, 6}, {13, 3}, {31, 33}};
  for (const auto& [w, h] : kSizes)
    for (const PixelLayout layout : kLayouts) {
      SCOPED_TRACE(testing::Message() << w << "x" << h << ", layout " << static_cast<int>(layout));
      const Picture source = randomPicture(w, h, layout);
      expectMoved(source, turn(source, Turn::kClockwise), h, w, {0, 0, 1, h - 1, -1, 0});
      expectMoved(source, turn(source, Turn::kAnticlockwise), h, w, {w - 1, 0, -1, 0, 1, 0});
      expectMoved(source, mirror(source, Mirror::kHorizontal), w, h, {w - 1, -1, 0, 0, 0, 1});
      expectMoved(source, mirror(source, Mirror::kVertical), w, h, {0, 1, 0, h - 1, 0, -1});
      const Rectangle part = {w / 3, h / 2, w - w / 3, (h + 3) / 4};
      ASSERT_TRUE(isInside(part, source));
      expectMoved(source, cut(source, part), part.width, part.height, {part.x, 1, 0, part.y, 0, 1});
    }
}

TEST(PictureOperations, RectanglesThatReachOutsideAreToldApart) {
  const Picture picture = randomPicture(8, 6, PixelLayout::kGray);
  constexpr int kHuge = 2147483647;
  for (const Rectangle& inside : {Rectangle{0, 0, 8, 6}, {7, 5, 1, 1}})
    EXPECT_TRUE(isInside(inside, picture));
  static constexpr int kOutside[][4] = {
      {0, 0, 9, 6}, {0, 0, 8, 7}, {1, 0, 8, 6},   {0, 1, 8, 6},     {-1, 0, 4, 4},       {0, -1, 4, 4},
      {2, 2, 0, 4}, {2, 2, 4, 0}, {2, 2, -1, -1}, {1, 1, 1, kHuge}, {kHuge, 0, kHuge, 1}};
  for (const auto& [x, y, width, height] : kOutside)
    EXPECT_FALSE(isInside({x, y, width, height}, picture))
        << x << "," << y << "," << width << "," << height;
}

TEST(PictureOperations, LayoutsChangeWithoutMixingColours) {
  constexpr int kWidth = 17, kHeight = 5;
  for (const PixelLayout layout : kLayouts) {
    SCOPED_TRACE(static_cast<int>(layout));
    const Picture source = randomPicture(kWidth, kHeight, layout);
    const Picture rgb = toRgb(source), planar = toPlanar(source), gray = toGray(source);
    const bool is_gray = layout == PixelLayout::kGray;
    for (int y = 0; y < kHeight; ++y)
      for (int x = 0; x < kWidth; ++x) {
        std::uint8_t colours[3];
        for (int c = 0; c < 3; ++c) {
          colours[c] = sampleAt(source, x, y, is_gray ? 0 : c);
          ASSERT_EQ(sampleAt(rgb, x, y, c), colours[c]);
          ASSERT_EQ(sampleAt(planar, x, y, c), colours[c]);
        }
        ASSERT_EQ(sampleAt(gray, x, y, 0),
                  is_gray ? colours[0] : tn_reference::gray(colours[0], colours[1], colours[2]));
      }
  }
}

TEST(RawFrame, EveryPixelTakesTheChromaOfItsOwnBlock) {
  static constexpr int kSizes[][2] = {{2, 2}, {2, 8}, {6, 2}, {34, 18}, {130, 6}};
  for (const auto& [width, height] : kSizes)
    for (const RawFormat format : {RawFormat::kNv12, RawFormat::kNv21, RawFormat::kI420}) {
      SCOPED_TRACE(testing::Message() << width << "x" << height << ", " << static_cast<int>(format));
      const int luma = width * height;
      const std::vector<std::uint8_t> frame = randomBytes(rawFrameBytes(width, height));
      const auto at = [&](int offset) { return frame[static_cast<std::size_t>(offset)]; };
      const Picture picture = decodeRawFrame(format, width, height, frame);
      ASSERT_EQ(picture.layout, PixelLayout::kRgb);
      ASSERT_EQ(picture.bytes.size(), byteCount(width, height, 3));
      for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
          const int block = y / 2 * (width / 2) + x / 2, pair = luma + 2 * block;
          int u = luma + block, v = luma + luma / 4 + block;
          if (format == RawFormat::kNv12) u = pair, v = pair + 1;
          if (format == RawFormat::kNv21) u = pair + 1, v = pair;
          std::uint8_t expected[3];
          tn_reference::yuvToRgb(at(y * width + x), at(u), at(v), expected);
          for (int c = 0; c < 3; ++c)
            ASSERT_EQ(sampleAt(picture, x, y, c), expected[c]) << x << ", " << y << ", colour " << c;
        }
    }
}

}  // namespace
