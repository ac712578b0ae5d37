// The library's tensors against the plain form, to the bit, on every instruction set.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "tests/preprocess/cases.h"
#include "tests/preprocess/frames.h"
#include "tests/reference/preprocess_reference.h"
#include "tn_cnn.h"
#include "tn_cv.h"

namespace {

using namespace tn_test;
using Tarn::ElementType;
using Tarn::FrameFormat;
using Tarn::FrameView;
using Tarn::Preprocessor;
using Tarn::Region;
using Tarn::Resampling;
using Tarn::TensorSpec;
using Bytes = std::vector<std::uint8_t>;

Bytes tensorOf(const FrameView& view, const TensorSpec& spec, const Region& region = {}) {
  Guarded tensor(spec.bytes(), 0xAB);
  Preprocessor(spec).run(view, tensor.data(), tensor.size(), region);
  return Bytes(tensor.data(), tensor.data() + tensor.size());
}

std::vector<float> floatsOf(const Bytes& tensor) {
  std::vector<float> floats(tensor.size() / sizeof(float));
  std::memcpy(floats.data(), tensor.data(), floats.size() * sizeof(float));
  return floats;
}

// Empty if they are equal; else where they first differ.
std::string differenceOf(const TensorSpec& spec, const Bytes& got, const Bytes& expected) {
  if (got == expected) return {};
  if (got.size() != expected.size()) return "sizes differ";
  const auto first = std::mismatch(got.begin(), got.end(), expected.begin()).first - got.begin();
  const std::size_t channels = spec.colour == Tarn::TensorColour::kGray ? 1 : 3;
  const auto pixels = static_cast<std::size_t>(spec.width) * static_cast<std::size_t>(spec.height);
  const std::size_t element = static_cast<std::size_t>(first) / (got.size() / (pixels * channels));
  const bool planar = spec.layout == Tarn::TensorLayout::kNchw;
  const std::size_t pixel = planar ? element % pixels : element / channels;
  std::string text = "channel " + std::to_string(planar ? element / pixels : element % channels) +
                     " of pixel " + std::to_string(pixel % static_cast<std::size_t>(spec.width)) + ", " +
                     std::to_string(pixel / static_cast<std::size_t>(spec.width));
  if (spec.type == ElementType::kFloat32)
    text += ": " + std::to_string(floatsOf(got)[element]) + ", not " +
            std::to_string(floatsOf(expected)[element]);
  return text;
}

struct Case {
  FrameView view;
  std::uint32_t seed;
  int padding;
  bool bottom_up;
  TensorSpec spec;
  Region region;
  Bytes expected;

  TestFrame frame() const {
    TestFrame made = randomFrame(view.format, view.width, view.height, seed, padding, bottom_up);
    made.view.matrix = view.matrix;
    made.view.range = view.range;
    made.view.siting = view.siting;
    made.view.orientation = view.orientation;
    return made;
  }
  std::string text() const {
    std::string numbers;
    for (const int number : {static_cast<int>(view.format),
                             view.width,
                             view.height,
                             static_cast<int>(view.matrix),
                             static_cast<int>(view.range),
                             static_cast<int>(view.siting),
                             view.orientation,
                             bottom_up ? 1 : 0,
                             -1,
                             spec.width,
                             spec.height,
                             static_cast<int>(spec.type),
                             static_cast<int>(spec.layout),
                             static_cast<int>(spec.colour),
                             static_cast<int>(spec.fit),
                             spec.never_enlarge ? 1 : 0,
                             spec.short_side,
                             static_cast<int>(spec.resampling),
                             spec.pillow,
                             -1,
                             region.x,
                             region.y,
                             region.width,
                             region.height})
      numbers += (number == -1 && !numbers.empty() ? "|" : std::to_string(number)) + " ";
    return numbers;
  }
};

void expectPlainForm(std::vector<Case> cases) {
  for (Case& c : cases) c.expected = tn_reference::plainTensor(c.frame().view, c.spec, c.region);
  ForEachTarget([&] {
    int failures = 0;
    for (const Case& c : cases) {
      const TestFrame frame = c.frame();
      const std::string difference =
          differenceOf(c.spec, tensorOf(frame.view, c.spec, c.region), c.expected);
      if (difference.empty()) continue;
      ADD_FAILURE()
          << "format w h matrix range siting orientation bottom_up | w h type layout colour fit "
             "never_enlarge short_side resampling pillow | region\n"
          << c.text() << "\n"
          << difference;
      if (++failures == 4) break;
    }
  });
}

TEST(Preprocess, AnythingDrawnEqualsThePlainForm) {
  Random random(1);
  std::vector<Case> cases;
  for (int i = 0; i < 1500; ++i) {
    // Some are wide enough for whole vectors and what is left of them.
    const int largest = i % 5 == 0 ? 150 : 30;
    Case c;
    c.view = drawView(random, largest);
    c.view.format = static_cast<FrameFormat>(i % 15);
    c.seed = random.bits();
    c.padding = random.between(0, 1) * random.between(0, 9);
    c.bottom_up = random.between(0, 2) == 0;
    c.spec = drawSpec(random, largest);
    c.region = drawRegion(random, c.view);
    cases.push_back(c);
  }
  expectPlainForm(std::move(cases));
}

// Each format with each resampling at sizes that are special: equal, halved, one pixel, one row, wide.
TEST(Preprocess, SpecialSizesEqualThePlainForm) {
  const int sizes[][4] = {{16, 8, 16, 8},    {64, 32, 32, 16}, {1, 1, 1, 1},      {1, 1, 9, 7},
                          {300, 1, 70, 1},   {1, 70, 1, 33},   {77, 5, 300, 5},   {2, 2, 1, 1},
                          {3, 600, 3, 2},    {700, 4, 3, 4},   {1931, 3, 643, 2}, {4001, 2, 97, 2},
                          {1920, 6, 640, 2}, {48, 20, 96, 40}, {96, 32, 24, 8},   {40, 40, 320, 10}};
  std::vector<Case> cases;
  std::uint32_t seed = 0;
  for (const Packing& packing : allPackings())
    for (int mode = 0; mode <= static_cast<int>(Resampling::kPillowBox); ++mode)
      for (const auto& s : sizes) {
        Case c = {};
        c.view.format = packing.format;
        c.view.width = s[0];
        c.view.height = s[1];
        c.view.orientation = 1;
        c.seed = ++seed;
        c.view.orientation = seed % 3 == 0 ? 6 : 1;
        c.spec = byteSpec(s[2], s[3], static_cast<Resampling>(mode));
        if (seed % 2 == 0) c.spec.type = ElementType::kFloat32;
        c.spec.layout = static_cast<Tarn::TensorLayout>(seed / 2 % 2);
        if (c.view.orientation == 6) std::swap(c.spec.width, c.spec.height);
        cases.push_back(c);
      }
  expectPlainForm(std::move(cases));
}

// A turned frame gives what the picture gives that was turned first; a region what the picture gives
// that was cut. Chroma in the middle of its pixels turns with them at even sizes.
TEST(Preprocess, TurningAndCuttingComeFirst) {
  const int w = 34, h = 22;
  for (const FrameFormat format :
       {FrameFormat::kBgr, FrameFormat::kGray, FrameFormat::kI444, FrameFormat::kNv12})
    for (int mode = 0; mode <= static_cast<int>(Resampling::kPillowBox); ++mode)
      for (int exif = 1; exif <= 8; ++exif) {
        SCOPED_TRACE(testing::Message() << static_cast<int>(format) << " " << mode << " " << exif);
        TestFrame stored = randomFrame(format, w, h, 9);
        stored.view.orientation = exif;
        stored.view.siting = Tarn::ChromaSiting::kCentre;
        const int upright_w = exif >= 5 ? h : w, upright_h = exif >= 5 ? w : h;
        const Region region = {6, 4, 13, 15};
        const auto turned = [&](int left, int top, int width, int height) {
          TestFrame frame = makeFrame(format, width, height, [&](int k, int x, int y) {
            const int part = stored.columns[k] < w ? 2 : 1;
            const auto [i, j] = storedPixel(exif, w / part, h / part, x + left, y + top);
            return stored.sample(k, i, j);
          });
          frame.view.siting = Tarn::ChromaSiting::kCentre;
          return frame;
        };
        TensorSpec spec = byteSpec(17, 9, static_cast<Resampling>(mode));
        spec.type = ElementType::kFloat32;
        EXPECT_EQ(tensorOf(stored.view, spec), tensorOf(turned(0, 0, upright_w, upright_h).view, spec));
        if (format == FrameFormat::kNv12) continue;
        EXPECT_EQ(tensorOf(stored.view, spec, region),
                  tensorOf(turned(region.x, region.y, region.width, region.height).view, spec));
      }
}

// Crops and letterboxes show the picture that is resized as a whole, with its weights and order of
// passes.
TEST(Preprocess, FitsShowPartsOfTheWholeResizedPicture) {
  const TestFrame frame = randomFrame(FrameFormat::kNv12, 70, 160, 12);
  for (int mode = 0; mode <= static_cast<int>(Resampling::kPillowBox); ++mode)
    for (const auto fit : {Tarn::Fit::kCrop, Tarn::Fit::kLetterbox}) {
      TensorSpec spec = byteSpec(40, 44, static_cast<Resampling>(mode));
      spec.fit = fit;
      // 44 x 100, from (2, 28) on, the rows of which come first in Pillow 13; or 19 x 44 at (10, 0).
      if (fit == Tarn::Fit::kCrop) spec.short_side = 44;
      spec.pillow = 13;
      const bool crop = fit == Tarn::Fit::kCrop;
      TensorSpec whole_spec = byteSpec(crop ? 44 : 19, crop ? 100 : 44, spec.resampling);
      whole_spec.pillow = 13;
      const Bytes whole = tensorOf(frame.view, whole_spec);
      Bytes expected(spec.bytes(), 114);
      for (int y = 0; y < 44; ++y)
        for (int x = 0; x < (crop ? 40 : 19) * 3; ++x)
          expected[static_cast<std::size_t>(y * 120 + x + (crop ? 0 : 30))] =
              whole[static_cast<std::size_t>((y + (crop ? 28 : 0)) * whole_spec.width * 3 + x +
                                             (crop ? 6 : 0))];
      EXPECT_EQ(differenceOf(spec, tensorOf(frame.view, spec), expected), "")
          << mode << ", crop " << crop;
    }
}

// Values in steps of 1/16 from 0 to 255 and, at many sizes of the element, what lies about a tie of
// either short float, its subnormals, its largest number and what is quantised.
TEST(Preprocess, ElementsAreRoundedAsTheirTypeHasIt) {
  const auto make = [] {
    return makeFrame(FrameFormat::kGray, 2, 255, [](int, int x, int y) { return y + x; });
  };
  std::vector<TensorSpec> specs;
  TensorSpec spec = byteSpec(16, 255, Resampling::kBilinear);
  spec.colour = Tarn::TensorColour::kGray;
  specs.push_back(spec);
  for (const ElementType type : {ElementType::kFloat16, ElementType::kBfloat16})
    for (int exponent = type == ElementType::kFloat16 ? -34 : -141; exponent <= 120;
         exponent += type == ElementType::kFloat16 && exponent < 12 ? 1 : 9)
      for (const float near : {1.0f, 1.0f - 0x1p-24f, 1.0f + 0x1p-23f, 1.0039f, -0.7f}) {
        spec.type = type;
        spec.scale[0] = std::ldexp(near, exponent);
        specs.push_back(spec);
      }
  spec.scale[0] = 1;
  for (const ElementType type : {ElementType::kInt8, ElementType::kUint8})
    for (const float step : {0.125f, 0.3f, 1.0f, 2.0f, 1e-30f, 1e30f})
      for (const int zero_point : {0, 100, 127, type == ElementType::kInt8 ? -128 : 255}) {
        spec.type = type;
        spec.step = step;
        spec.zero_point = zero_point;
        spec.mean[0] = 128;
        specs.push_back(spec);
      }
  const TestFrame frame = make();
  std::vector<Bytes> expected;
  for (const TensorSpec& s : specs) expected.push_back(tn_reference::plainTensor(frame.view, s));
  ForEachTarget([&] {
    for (std::size_t i = 0; i < specs.size(); ++i) {
      const TensorSpec& s = specs[i];
      ASSERT_EQ(differenceOf(s, tensorOf(frame.view, s), expected[i]), "")
          << "type " << static_cast<int>(s.type) << ", scale " << s.scale[0] << ", step " << s.step
          << ", zero point " << s.zero_point;
    }
  });
}

// Four operations, each rounded: divisors are not multiplied by their reciprocals, unless that gives the
// same. Every value that a gradient of a million steps has.
TEST(Preprocess, NormalisationIsTheNaiveChain) {
  const TestFrame frame =
      makeFrame(FrameFormat::kGray, 2, 16, [](int, int x, int y) { return 17 * (x == 0 ? y : 15 - y); });
  TensorSpec spec;
  spec.width = 65521;
  spec.height = 16;
  spec.fit = Tarn::Fit::kStretch;
  spec.colour = Tarn::TensorColour::kGray;
  const std::vector<float> values = floatsOf(tensorOf(frame.view, spec));
  struct Chain {
    float divisor, mean, deviation, scale;
  };
  for (const Chain& c :
       {Chain{255, 0, 1, 1}, Chain{127.5f, 1, 1, 1}, Chain{1, 123.675f, 58.395f, 1},
        Chain{255, 0.485f, 0.229f, 1}, Chain{255, 0.456f, 0.224f, 1}, Chain{255, 0.406f, 0.225f, 1},
        Chain{1, 0, 1, 1 / 255.0f}, Chain{3, -7, 1e-3f, -0.1f}, Chain{1e-30f, 1e30f, 3e7f, 0.3f},
        Chain{1e30f, 0, 1e10f, 1}, Chain{1, 127.5f, 1e38f, -3},
        // Near the largest float, where a product by a reciprocal would be infinite.
        Chain{1, -0x1.d0a27p+125f, 0x1.d0a272p-3f, 1}}) {
    spec.divisor = c.divisor;
    spec.mean[0] = c.mean;
    spec.deviation[0] = c.deviation;
    spec.scale[0] = c.scale;
    std::vector<float> expected = values;
    for (float& value : expected) value = tn_reference::plainElement(value, spec, 0);
    ForEachTarget([&] {
      const std::vector<float> got = floatsOf(tensorOf(frame.view, spec));
      ASSERT_EQ(std::memcmp(got.data(), expected.data(), got.size() * sizeof(float)), 0)
          << c.divisor << " " << c.mean << " " << c.deviation << " " << c.scale;
    });
  }
}

// What the older network input makes of every combination of a record's bits is what its view shows.
TEST(Preprocess, RecordsTurnAsTheirBitsHaveIt) {
  const int side = 8, area = side * side;
  for (const int format :
       {TN_PIX_FMT_RGB, TN_PIX_FMT_BGRA, TN_PIX_FMT_YUVI420, TN_PIX_FMT_NV12, TN_PIX_FMT_NV21})
    for (unsigned bits = 0; bits < 128; ++bits) {
      const bool yuv = format != TN_PIX_FMT_RGB && format != TN_PIX_FMT_BGRA;
      // Of both quarter turns packed pixels take the other one there; views do not differ by the format.
      const unsigned both = TN_ORIENT_ROTATE_90 | TN_ORIENT_ANTI_ROTATE_90;
      if (!yuv && (bits & both) == both) continue;
      Bytes pixels(static_cast<std::size_t>(area * 4), 128);
      for (int i = 0; i < (yuv ? area : area * 4); ++i)
        pixels[static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(i % 251);
      Bytes work_a(static_cast<std::size_t>(area * 4)), work_b = work_a;
      const _TN_Image image = {bits, format, side, side, 0, pixels.data()};
      TarnCPU::Mat old;
      TarnCPU::TN_CV::getInMat(&image, old, 0, side, side, work_a.data(), work_b.data());
      FrameView view = Tarn::frameView(image);
      view.range = Tarn::YuvRange::kFull;
      TensorSpec spec = byteSpec(side, side, Resampling::kNearest);
      spec.type = ElementType::kFloat32;
      spec.layout = Tarn::TensorLayout::kNchw;
      EXPECT_EQ(floatsOf(tensorOf(view, spec)), std::vector<float>(old.row(0), old.row(0) + 3 * area))
          << "format " << format << ", bits " << bits << ", orientation " << view.orientation;
    }
}

TEST(Preprocess, RecordsThatAreNoFramesAreRefused) {
  std::uint8_t pixels[64] = {};
  const auto fault_of = [&](int format, int width, int height, void* data) {
    return FaultOf([&] { Tarn::frameView({0, format, width, height, 0, data}); });
  };
  EXPECT_EQ(fault_of(TN_PIX_FMT_NV12, 4, 2, pixels), "");
  EXPECT_EQ(fault_of(TN_PIX_FMT_RGB, 3, 3, pixels), "");
  EXPECT_EQ(fault_of(TN_PIX_FMT_NV12, 3, 2, pixels).rfind("width", 0), 0u);
  EXPECT_EQ(fault_of(TN_PIX_FMT_YUVI420, 4, 3, pixels).rfind("height", 0), 0u);
  EXPECT_EQ(fault_of(TN_PIX_FMT_RGB, 0, 3, pixels).rfind("width", 0), 0u);
  EXPECT_EQ(fault_of(TN_PIX_FMT_RGB, 3, 3, nullptr).rfind("data", 0), 0u);
  for (const int format : {0, 2, 6, 11, 12, TN_PIX_FMT_CHW_F32, 257, -7})
    EXPECT_EQ(fault_of(format, 4, 4, pixels).rfind("pix_fmt", 0), 0u) << format;
}

}  // namespace
