// Where content goes: numbers worked out by hand, the way there and back, and markers found in tensors.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>

#include "tests/preprocess/cases.h"
#include "tests/preprocess/frames.h"
#include "tests/reference/preprocess_reference.h"

namespace {

using namespace tn_test;
using Tarn::Fit;
using Tarn::FrameFormat;
using Tarn::FrameView;
using Tarn::Placement;
using Tarn::Point;
using Tarn::Preprocessor;
using Tarn::Rectangle;
using Tarn::Region;
using Tarn::TensorSpec;

// Of any size and without its pixels, which placing does not read.
FrameView viewOf(int width, int height, int orientation = 1) {
  static const std::uint8_t pixel = 0;
  FrameView view;
  view.format = FrameFormat::kGray;
  view.width = width;
  view.height = height;
  view.planes[0] = &pixel;
  view.strides[0] = width;
  view.bytes[0] = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
  view.orientation = orientation;
  return view;
}

TensorSpec specOf(int width, int height, Fit fit, int short_side = 0) {
  TensorSpec spec;
  spec.width = width;
  spec.height = height;
  spec.fit = fit;
  spec.short_side = short_side;
  return spec;
}

// scaled: the whole resized picture, of which a crop shows a part.
TEST(Placement, LetterboxesAndCropsAreThoseOfTheTrainers) {
  const struct {
    int w, h;
    TensorSpec spec;
    bool never_enlarge;
    Rectangle content;
    double scaled_w, scaled_h;
  } cases[] = {
      {1920, 1080, specOf(640, 640, Fit::kLetterbox), false, {0, 140, 640, 360}, 640, 360},
      {1920, 1080, specOf(640, 640, Fit::kLetterboxTopLeft), false, {0, 0, 640, 360}, 640, 360},
      {1080, 1920, specOf(416, 416, Fit::kLetterbox), false, {91, 0, 234, 416}, 234, 416},
      {333, 500, specOf(640, 640, Fit::kLetterbox), false, {107, 0, 426, 640}, 426, 640},
      // (640 - 427) / 2 - 0.1 = 106.4
      {667, 1000, specOf(640, 640, Fit::kLetterbox), false, {106, 0, 427, 640}, 427, 640},
      // 2.5 and 3.5 are rounded to even numbers.
      {5, 10, specOf(5, 5, Fit::kLetterbox), false, {1, 0, 2, 5}, 2, 5},
      {7, 14, specOf(7, 7, Fit::kLetterbox), false, {1, 0, 4, 7}, 4, 7},
      {1, 1000, specOf(10, 10, Fit::kLetterbox), false, {4, 0, 1, 10}, 1, 10},
      {10, 5, specOf(40, 40, Fit::kLetterbox), false, {0, 10, 40, 20}, 40, 20},
      {10, 5, specOf(40, 40, Fit::kLetterbox), true, {15, 17, 10, 5}, 10, 5},
      {10, 5, specOf(40, 40, Fit::kLetterboxTopLeft), true, {0, 0, 10, 5}, 10, 5},
      {80, 50, specOf(40, 40, Fit::kLetterbox), true, {0, 7, 40, 25}, 40, 25},
      {80, 50, specOf(40, 20, Fit::kStretch), false, {0, 0, 40, 20}, 40, 20},
      // int(256 * 640 / 480) = 341, int(256 * 644 / 480) = 343.
      {640, 480, specOf(224, 224, Fit::kCrop, 256), false, {0, 0, 224, 224}, 341, 256},
      {480, 644, specOf(224, 224, Fit::kCrop, 256), false, {0, 0, 224, 224}, 256, 343},
      {100, 50, specOf(40, 40, Fit::kCrop), false, {0, 0, 40, 40}, 80, 40},
      {100, 50, specOf(40, 40, Fit::kCrop, 20), false, {0, 10, 40, 20}, 40, 20},
      {100, 50, specOf(40, 40, Fit::kCrop, 21), false, {0, 10, 40, 21}, 42, 21},
      {50, 50, specOf(40, 40, Fit::kCrop, 7), false, {16, 16, 7, 7}, 7, 7},
  };
  for (const auto& c : cases)
    for (const bool turned : {false, true}) {
      SCOPED_TRACE(testing::Message() << c.w << "x" << c.h << " to " << c.spec.width << "x"
                                      << c.spec.height << ", short side " << c.spec.short_side);
      TensorSpec spec = c.spec;
      spec.never_enlarge = c.never_enlarge;
      const FrameView view = turned ? viewOf(c.h, c.w, 6) : viewOf(c.w, c.h);
      const Placement p = Preprocessor(spec).place(view);
      EXPECT_EQ(p.content.x, c.content.x);
      EXPECT_EQ(p.content.y, c.content.y);
      EXPECT_EQ(p.content.width, c.content.width);
      EXPECT_EQ(p.content.height, c.content.height);
      EXPECT_EQ(p.to_tensor[0], c.scaled_w / c.w);
      EXPECT_EQ(p.to_tensor[4], c.scaled_h / c.h);
    }
  // Crops begin at 58.5 and 59.5 rounded to even numbers.
  EXPECT_EQ(Preprocessor(specOf(224, 224, Fit::kCrop, 256)).place(viewOf(640, 480)).to_tensor[2], -58);
  EXPECT_EQ(Preprocessor(specOf(224, 224, Fit::kCrop, 256)).place(viewOf(480, 644)).to_tensor[5], -60);
}

TEST(Placement, ContentFitsInTheSmallestMultiples) {
  const TensorSpec spec = TensorSpec::detector640();
  const auto sides = [&](const FrameView& view, int multiple, Region region = {}) {
    const TensorSpec shrunk = Tarn::forContent(spec, view, multiple, region);
    // The content keeps its scale.
    const Placement small = Preprocessor(shrunk).place(view, region),
                    large = Preprocessor(spec).place(view, region);
    EXPECT_EQ(small.to_tensor[0], large.to_tensor[0]);
    EXPECT_EQ(small.to_tensor[4], large.to_tensor[4]);
    EXPECT_EQ(small.content.height, large.content.height);
    return std::to_string(shrunk.width) + "x" + std::to_string(shrunk.height);
  };
  EXPECT_EQ(sides(viewOf(1920, 1080), 32), "640x384");
  EXPECT_EQ(sides(viewOf(1920, 1080), 1), "640x360");
  // A height that is rounded down to a multiple.
  EXPECT_EQ(sides(viewOf(1920, 1153), 32), "640x384");
  EXPECT_EQ(sides(viewOf(1153, 1920), 32), "384x640");
  EXPECT_EQ(sides(viewOf(1920, 1080, 8), 32), "384x640");
  EXPECT_EQ(sides(viewOf(1920, 1080), 32, {0, 0, 100, 1000}), "64x640");
  const auto fault = [&](const TensorSpec& s, int multiple) {
    return FaultOf([&] { Tarn::forContent(s, viewOf(64, 48), multiple); });
  };
  EXPECT_EQ(fault(spec, 0).rfind("multiple", 0), 0u);
  EXPECT_EQ(fault(specOf(640, 650, Fit::kLetterbox), 32).rfind("height: 650", 0), 0u);
  EXPECT_EQ(fault(specOf(64, 64, Fit::kStretch), 32).rfind("fit", 0), 0u);
  EXPECT_EQ(fault(specOf(65536, 60000, Fit::kLetterbox), 65537).rfind("width", 0), 0u);
}

TEST(Placement, ThereAndBackIsWhereItBegan) {
  Random random(3);
  for (int i = 0; i < 10000; ++i) {
    const int largest = i % 3 == 0 ? 65536 : i % 3 == 1 ? 4000 : 12;
    TensorSpec spec = drawSpec(random, std::min(largest, 2000));
    // Of sides so unlike that a crop would be refused there are none.
    const int w = random.between(1, largest),
              h = random.between(std::max(1, w / 999), std::min(largest, 999 * w));
    const FrameView view = viewOf(w, h, random.between(1, 8));
    const Region region = drawRegion(random, view);
    const Placement p = Preprocessor(spec).place(view, region);
    const auto g = tn_reference::plainGeometry(view, spec, region);
    SCOPED_TRACE(testing::Message() << "geometry " << i << ": " << w << "x" << h << " by "
                                    << view.orientation);
    const auto& [r, s, c] = std::tie(p.region, p.stored, p.content);
    ASSERT_TRUE(r.x == g.across.first && r.y == g.down.first && r.width == g.across.pixels &&
                r.height == g.down.pixels);
    // The stored picture's part: the same four corners.
    const auto [x0, y0] = storedPixel(view.orientation, w, h, g.across.first, g.down.first);
    const auto [x1, y1] = storedPixel(view.orientation, w, h, g.across.first + g.across.pixels - 1,
                                      g.down.first + g.down.pixels - 1);
    ASSERT_TRUE(s.x == std::min(x0, x1) && s.y == std::min(y0, y1) && s.width == std::abs(x1 - x0) + 1 &&
                s.height == std::abs(y1 - y0) + 1);

    const double most = 1e-9 * std::max(w, h);
    for (int k = 0; k < 4; ++k) {
      const Point at = {random.between(-1000, 66000) + 1 / 3.0, random.between(-1000, 66000) + 0.7};
      const Point there = p.toTensor(at), back = p.toFrame(there);
      ASSERT_NEAR(back.x, at.x, std::max(most, 1e-9 * 66000));
      ASSERT_NEAR(back.y, at.y, std::max(most, 1e-9 * 66000));
      const double expected =
          (at.x + 0.5 - g.across.first) * static_cast<double>(g.across.scaled) / g.across.pixels -
          static_cast<double>(g.across.begin) - 0.5;
      ASSERT_NEAR(there.x, expected, 1e-9 * std::max(1.0, std::abs(expected)) * 66);
    }
    // A box, and the region's own: all of it that is in the tensor is content.
    const Rectangle box = p.toFrame(p.toTensor(Rectangle{r.x + 0.25, r.y, 1.5, r.height}));
    ASSERT_NEAR(box.x, r.x + 0.25, most);
    ASSERT_NEAR(box.height, r.height, most);
    const Rectangle shown = p.toTensor(r);
    const double left = std::max(shown.x, 0.0), top = std::max(shown.y, 0.0);
    const double scale = 1e-9 * std::max({1.0, shown.width, shown.height});
    ASSERT_NEAR(c.x, left, scale);
    ASSERT_NEAR(c.y, top, scale);
    ASSERT_NEAR(c.width, std::min(shown.x + shown.width, 1.0 * spec.width) - left, scale);
    ASSERT_NEAR(c.height, std::min(shown.y + shown.height, 1.0 * spec.height) - top, scale);
  }
}

TEST(Placement, BoxesAreCutAtTheRegion) {
  const Placement p =
      Preprocessor(specOf(40, 40, Fit::kLetterbox)).place(viewOf(200, 100), {20, 10, 80, 40});
  const auto numbers = [](const Rectangle& r) {
    return std::vector<double>{r.x, r.y, r.width, r.height};
  };
  using Numbers = std::vector<double>;
  // Content from row 10 to 30 at half the size.
  EXPECT_EQ(numbers(p.toFrame(Rectangle{10, 15, 5, 5})), (Numbers{40, 20, 10, 10}));
  EXPECT_EQ(numbers(p.toFrame(Rectangle{-5, 5, 50, 40})), (Numbers{10, 0, 100, 80}));
  EXPECT_EQ(numbers(p.toFrame(Rectangle{-5, 5, 50, 40}, true)), (Numbers{20, 10, 80, 40}));
  EXPECT_EQ(numbers(p.toFrame(Rectangle{50, 15, 5, 5}, true)), (Numbers{100, 20, 0, 10}));
  EXPECT_EQ(numbers(p.toFrame(Rectangle{-9, -9, 5, 5}, true)), (Numbers{20, 10, 0, 0}));
}

// A block drawn in a frame is found where the placement has it, and run says the same as place.
TEST(Placement, MarkersAreFoundWhereTheyAreSaidToBe) {
  const int w = 90, h = 62;
  for (const FrameFormat format : {FrameFormat::kGray, FrameFormat::kNv12, FrameFormat::kBgra})
    for (int exif = 1; exif <= 8; ++exif)
      for (int fit = 0; fit <= static_cast<int>(Fit::kCrop); ++fit)
        for (int mode = 0; mode <= static_cast<int>(Tarn::Resampling::kPillowBox); ++mode) {
          SCOPED_TRACE(testing::Message()
                       << static_cast<int>(format) << " " << exif << " " << fit << " " << mode);
          const int upright_w = exif >= 5 ? h : w;
          // In the middle of neither the frame nor the region.
          const Rectangle marker = {upright_w / 2 + 3.0, (w + h - upright_w) / 2 - 9.0, 6, 8};
          TestFrame frame = makeFrame(format, w, h, [](int k, int, int) { return k == 0 ? 16 : 128; });
          std::uint8_t* const pixels = frame.memory[0].data();
          const int step = format == FrameFormat::kBgra ? 4 : 1;
          std::memset(pixels, 16, frame.memory[0].size());
          for (int y = 0; y < marker.height; ++y)
            for (int x = 0; x < marker.width; ++x) {
              const auto [i, j] = storedPixel(exif, w, h, static_cast<int>(marker.x) + x,
                                              static_cast<int>(marker.y) + y);
              std::memset(pixels + (j * w + i) * step, 235, static_cast<std::size_t>(step));
            }
          frame.view.orientation = exif;
          frame.view.range = Tarn::YuvRange::kFull;
          TensorSpec spec = specOf(75, 57, static_cast<Fit>(fit));
          spec.resampling = static_cast<Tarn::Resampling>(mode);
          spec.colour = Tarn::TensorColour::kGray;
          for (float& bar : spec.bar) bar = 16;
          const Region region = {5, 4, upright_w - 8, w + h - upright_w - 6};
          Preprocessor preprocessor(spec);
          Guarded tensor(spec.bytes());
          const Placement p = preprocessor.run(frame.view, tensor.data(), tensor.size(), region);
          const Placement placed = preprocessor.place(frame.view, region);
          EXPECT_EQ(std::memcmp(&p, &placed, sizeof p), 0);
          double weight = 0, across = 0, down = 0;
          for (int y = 0; y < spec.height; ++y)
            for (int x = 0; x < spec.width; ++x) {
              const double bright = static_cast<double>(tensor.floats()[y * spec.width + x]) - 16;
              weight += bright;
              across += bright * (x + 0.5);
              down += bright * (y + 0.5);
            }
          const Rectangle found = p.toTensor(marker);
          // These two take whole pixels only, where they enlarge.
          const bool whole = spec.resampling == Tarn::Resampling::kNearest ||
                             spec.resampling == Tarn::Resampling::kPillowBox;
          EXPECT_NEAR(across / weight, found.x + found.width / 2, whole ? 0.6 : 0.1);
          EXPECT_NEAR(down / weight, found.y + found.height / 2, whole ? 0.6 : 0.1);
          EXPECT_NEAR(weight / 219, found.width * found.height,
                      (whole ? 0.3 : 0.15) * found.width * found.height);
        }
}

}  // namespace
