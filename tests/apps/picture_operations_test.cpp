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

int samplesOf(PixelLayout layout) {
  if (layout == PixelLayout::kGray) return 1;
  return layout == PixelLayout::kRgba ? 4 : 3;
}

std::size_t offsetOf(const Picture& picture, int x, int y, int sample) {
  const int pixel = y * picture.width + x;
  return static_cast<std::size_t>(picture.layout == PixelLayout::kPlanar
                                      ? sample * picture.pixels() + pixel
                                      : samplesOf(picture.layout) * pixel + sample);
}

Picture randomPicture(int width, int height, PixelLayout layout) {
  const std::size_t size = byteCount(width, height, samplesOf(layout));
  const tn_test::Guarded bytes = tn_test::RandomBytes(size);
  return {width, height, layout, {bytes.data(), bytes.data() + size}};
}

struct Place {
  int x, y;
};

// Pixel (x, y) of `moved` must be pixel from(x, y) of `source`, and nothing else may have changed.
template <class From>
void expectMoved(const Picture& source, const Picture& moved, int width, int height, const From& from) {
  ASSERT_EQ(moved.width, width);
  ASSERT_EQ(moved.height, height);
  ASSERT_EQ(moved.layout, source.layout);
  const int samples = samplesOf(source.layout);
  ASSERT_EQ(moved.bytes.size(), byteCount(width, height, samples));
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x)
      for (int sample = 0; sample < samples; ++sample) {
        const Place place = from(x, y);
        ASSERT_EQ(moved.bytes[offsetOf(moved, x, y, sample)],
                  source.bytes[offsetOf(source, place.x, place.y, sample)])
            << "(" << x << ", " << y << "), sample " << sample;
      }
}

TEST(PictureOperations, TurnMirrorAndCutPicturesOfAnySize) {
  static constexpr int kSizes[][2] = {{1, 1}, {1, 9},  {7, 1},   {4, 8},
                                      {5, 6}, {13, 3}, {30, 22}, {31, 33}};
  for (const auto& [w, h] : kSizes)
    for (const PixelLayout layout : kLayouts) {
      SCOPED_TRACE(testing::Message() << w << "x" << h << ", layout " << static_cast<int>(layout));
      const int width = w, height = h;
      const Picture source = randomPicture(width, height, layout);
      expectMoved(source, turn(source, Turn::kClockwise), height, width, [&](int x, int y) {
        return Place{y, height - 1 - x};
      });
      expectMoved(source, turn(source, Turn::kAnticlockwise), height, width, [&](int x, int y) {
        return Place{width - 1 - y, x};
      });
      expectMoved(source, mirror(source, Mirror::kHorizontal), width, height, [&](int x, int y) {
        return Place{width - 1 - x, y};
      });
      expectMoved(source, mirror(source, Mirror::kVertical), width, height, [&](int x, int y) {
        return Place{x, height - 1 - y};
      });
      const Rectangle part = {width / 3, height / 2, width - width / 3, (height + 3) / 4};
      ASSERT_TRUE(isInside(part, source));
      expectMoved(source, cut(source, part), part.width, part.height, [&](int x, int y) {
        return Place{part.x + x, part.y + y};
      });
    }
}

TEST(PictureOperations, RectanglesThatReachOutsideAreToldApart) {
  const Picture picture = randomPicture(8, 6, PixelLayout::kGray);
  constexpr int kHuge = 2147483647;
  struct Case {
    Rectangle rectangle;
    bool inside;
  };
  static const Case cases[] = {
      {{0, 0, 8, 6}, true},          {{7, 5, 1, 1}, true},      {{0, 0, 9, 6}, false},
      {{0, 0, 8, 7}, false},         {{1, 0, 8, 6}, false},     {{0, 1, 8, 6}, false},
      {{-1, 0, 4, 4}, false},        {{0, -1, 4, 4}, false},    {{2, 2, 0, 4}, false},
      {{2, 2, 4, 0}, false},         {{2, 2, -1, -1}, false},   {{8, 0, 1, 1}, false},
      {{kHuge, 0, kHuge, 1}, false}, {{1, 1, kHuge, 1}, false}, {{1, 1, 1, kHuge}, false},
  };
  for (const Case& c : cases)
    EXPECT_EQ(isInside(c.rectangle, picture), c.inside)
        << c.rectangle.x << "," << c.rectangle.y << "," << c.rectangle.width << ","
        << c.rectangle.height;
}

// Sample `c` of a pixel as a colour: grey has one for all three.
std::uint8_t colourOf(const Picture& picture, int x, int y, int c) {
  return picture.bytes[offsetOf(picture, x, y, picture.layout == PixelLayout::kGray ? 0 : c)];
}

TEST(PictureOperations, LayoutsChangeWithoutMixingColours) {
  constexpr int kWidth = 17, kHeight = 5;
  for (const PixelLayout layout : kLayouts) {
    SCOPED_TRACE(static_cast<int>(layout));
    const Picture source = randomPicture(kWidth, kHeight, layout);
    const Picture rgb = toRgb(source), planar = toPlanar(source), gray = toGray(source);
    ASSERT_EQ(rgb.bytes.size(), byteCount(kWidth, kHeight, 3));
    ASSERT_EQ(planar.bytes.size(), byteCount(kWidth, kHeight, 3));
    ASSERT_EQ(gray.bytes.size(), byteCount(kWidth, kHeight, 1));
    for (int y = 0; y < kHeight; ++y)
      for (int x = 0; x < kWidth; ++x) {
        std::uint8_t colours[3];
        for (int c = 0; c < 3; ++c) {
          colours[c] = colourOf(source, x, y, c);
          ASSERT_EQ(colourOf(rgb, x, y, c), colours[c]);
          ASSERT_EQ(colourOf(planar, x, y, c), colours[c]);
        }
        const std::uint8_t expected = layout == PixelLayout::kGray
                                          ? colours[0]
                                          : tn_reference::gray(colours[0], colours[1], colours[2]);
        ASSERT_EQ(colourOf(gray, x, y, 0), expected);
      }
  }
}

TEST(RawFrame, EveryPixelTakesTheChromaOfItsOwnBlock) {
  static constexpr int kSizes[][2] = {{2, 2}, {2, 8}, {6, 2}, {34, 18}, {130, 6}};
  for (const auto& [width, height] : kSizes) {
    const int luma = width * height;
    const std::size_t size = rawFrameBytes(width, height);
    const tn_test::Guarded random = tn_test::RandomBytes(size);
    const std::vector<std::uint8_t> frame(random.data(), random.data() + size);
    const auto at = [&](int offset) { return frame[static_cast<std::size_t>(offset)]; };
    for (const RawFormat format : {RawFormat::kNv12, RawFormat::kNv21, RawFormat::kI420}) {
      SCOPED_TRACE(testing::Message()
                   << width << "x" << height << ", format " << static_cast<int>(format));
      const Picture picture = decodeRawFrame(format, width, height, frame);
      ASSERT_EQ(picture.layout, PixelLayout::kRgb);
      ASSERT_EQ(picture.bytes.size(), byteCount(width, height, 3));
      for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
          const int block = y / 2 * (width / 2) + x / 2;
          int u = luma + block, v = luma + luma / 4 + block;
          if (format != RawFormat::kI420) {
            u = luma + 2 * block + (format == RawFormat::kNv12 ? 0 : 1);
            v = luma + 2 * block + (format == RawFormat::kNv12 ? 1 : 0);
          }
          std::uint8_t expected[3];
          tn_reference::yuvToRgb(at(y * width + x), at(u), at(v), expected);
          for (int c = 0; c < 3; ++c)
            ASSERT_EQ(picture.bytes[offsetOf(picture, x, y, c)], expected[c])
                << "(" << x << ", " << y << "), colour " << c;
        }
    }
  }
}

}  // namespace
