// The plain form against what it does not share: OpenCV, Pillow's recorded bytes, and positions in
// double.
#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <sstream>

#include "tests/preprocess/frames.h"
#include "tests/reference/preprocess_reference.h"
#include "tests/support/digest.h"

#if defined(TN_TEST_OPENCV)
#include <opencv2/imgproc.hpp>
#endif

namespace {

using namespace tn_test;
using Tarn::ChromaSiting;
using Tarn::FrameFormat;
using Tarn::Region;
using Tarn::Resampling;
using Tarn::TensorSpec;
using tn_reference::plainTensor;

TEST(PlainForm, GivesPillowsBytes) {
  for (const int version : {12, 13}) {
    std::ifstream file(std::string(TN_TEST_DATA) + "/pillow" + std::to_string(version) + ".txt");
    std::string line;
    int cases = 0;
    while (std::getline(file, line)) {
      if (line[0] == '#') continue;
      std::istringstream fields(line);
      std::string filter, mode, digest;
      int w = 0, h = 0, to_w = 0, to_h = 0;
      fields >> filter >> mode >> w >> h >> to_w >> to_h >> digest;
      std::uint32_t state = 65536u * static_cast<std::uint32_t>(w) + static_cast<std::uint32_t>(h);
      TestFrame frame = randomFrame(FrameFormat::kRgb, w, h, 0);
      for (std::size_t i = 0; i < frame.memory[0].size(); ++i) {
        state = state * 1664525u + 1013904223u;
        frame.memory[0][i] = static_cast<std::uint8_t>(state >> 24);
      }
      TensorSpec spec = byteSpec(to_w, to_h,
                                 filter == "box"       ? Resampling::kPillowBox
                                 : filter == "bicubic" ? Resampling::kPillowBicubic
                                                       : Resampling::kPillowBilinear);
      spec.pillow = version;
      if (mode == "L") spec.colour = Tarn::TensorColour::kGray;
      Digest got;
      got.add(plainTensor(frame.view, spec));
      EXPECT_EQ(got.value(), std::stoull(digest, nullptr, 16)) << version << ": " << line;
      ++cases;
    }
    EXPECT_GE(cases, 100) << "a file that cannot be read";
  }
}

#if defined(TN_TEST_OPENCV)

cv::Mat matOf(TestFrame& frame, int type, int rows) {
  return cv::Mat(rows, frame.view.width, type, frame.memory[0].data());
}
cv::Mat matOf(const std::vector<std::uint8_t>& tensor, int rows, int channels) {
  return cv::Mat(tensor, true).reshape(channels, rows);
}
bool same(const cv::Mat& a, const cv::Mat& b) {
  return a.size() == b.size() && cv::norm(a, b, cv::NORM_INF) == 0;
}

TEST(PlainForm, GivesOpenCvsLinearResizing) {
  const int sizes[][4] = {{64, 48, 32, 24}, {33, 17, 20, 11},  {20, 11, 33, 17}, {1, 1, 5, 4},
                          {7, 5, 1, 1},     {50, 40, 50, 20},  {50, 40, 25, 40}, {30, 30, 30, 30},
                          {9, 3, 100, 50},  {160, 90, 41, 23}, {2, 2, 1, 1},     {1, 8, 3, 4},
                          {97, 61, 31, 88}};
  for (const auto& s : sizes)
    for (const bool grey : {false, true}) {
      TestFrame frame = randomFrame(FrameFormat::kRgb, s[0], s[1], 3);
      TensorSpec spec = byteSpec(s[2], s[3], Resampling::kOpencvLinear);
      cv::Mat source = matOf(frame, CV_8UC3, s[1]), expected;
      if (grey) {
        spec.colour = Tarn::TensorColour::kGray;
        cv::cvtColor(source, source, cv::COLOR_RGB2GRAY);
      }
      cv::resize(source, expected, {s[2], s[3]}, 0, 0, cv::INTER_LINEAR);
      EXPECT_TRUE(same(matOf(plainTensor(frame.view, spec), s[3], grey ? 1 : 3), expected))
          << s[0] << "x" << s[1] << " to " << s[2] << "x" << s[3];
      // And the float mode, nearly.
      if (grey) continue;
      spec.resampling = Resampling::kBilinear;
      spec.type = Tarn::ElementType::kFloat32;
      const std::vector<float> values = tn_reference::plainValues(frame.view, spec);
      source.convertTo(source, CV_32F);
      cv::resize(source, expected, {s[2], s[3]}, 0, 0, cv::INTER_LINEAR);
      EXPECT_LT(cv::norm(cv::Mat(values, true).reshape(3, s[3]), expected, cv::NORM_INF), 0.25);
    }
}

TEST(PlainForm, GivesOpenCvsColours) {
  const struct {
    FrameFormat format;
    int code;
  } cases[] = {
      {FrameFormat::kNv12, cv::COLOR_YUV2RGB_NV12}, {FrameFormat::kNv21, cv::COLOR_YUV2RGB_NV21},
      {FrameFormat::kI420, cv::COLOR_YUV2RGB_I420}, {FrameFormat::kYv12, cv::COLOR_YUV2RGB_YV12},
      {FrameFormat::kYuyv, cv::COLOR_YUV2RGB_YUY2}, {FrameFormat::kUyvy, cv::COLOR_YUV2RGB_UYVY}};
  const int w = 320, h = 240;
  for (const auto& c : cases) {
    TestFrame frame = randomFrame(c.format, w, h, 5);
    frame.view.matrix = Tarn::YuvMatrix::kBt601;
    std::vector<std::uint8_t> packed;
    for (const Guarded& plane : frame.memory)
      packed.insert(packed.end(), plane.data(), plane.data() + plane.size());
    cv::Mat expected;
    const bool one_plane = frame.memory.size() == 1;
    cv::cvtColor(cv::Mat(packed).reshape(one_plane ? 2 : 1, one_plane ? h : h * 3 / 2), expected,
                 c.code);
    const TensorSpec spec = byteSpec(w, h, Resampling::kOpencvLinear);
    EXPECT_TRUE(same(matOf(plainTensor(frame.view, spec), h, 3), expected))
        << static_cast<int>(c.format);
  }
}

TEST(PlainForm, TurnsAsExifHasIt) {
  TestFrame frame = randomFrame(FrameFormat::kRgb, 5, 3, 7);
  const cv::Mat stored = matOf(frame, CV_8UC3, 3);
  const auto turned = [](const cv::Mat& mat, int turn) {
    cv::Mat out;
    cv::rotate(mat, out, turn);
    return out;
  };
  const auto mirrored = [](const cv::Mat& mat, int axis) {
    cv::Mat out;
    cv::flip(mat, out, axis);
    return out;
  };
  const cv::Mat upright[] = {stored,
                             mirrored(stored, 1),
                             turned(stored, cv::ROTATE_180),
                             mirrored(stored, 0),
                             stored.t(),
                             turned(stored, cv::ROTATE_90_CLOCKWISE),
                             turned(stored.t(), cv::ROTATE_180),
                             turned(stored, cv::ROTATE_90_COUNTERCLOCKWISE)};
  for (int exif = 1; exif <= 8; ++exif) {
    frame.view.orientation = exif;
    const cv::Mat& expected = upright[exif - 1];
    for (const Resampling mode : {Resampling::kNearest, Resampling::kBilinear, Resampling::kAntialiased,
                                  Resampling::kOpencvLinear, Resampling::kPillowBicubic})
      EXPECT_TRUE(same(
          matOf(plainTensor(frame.view, byteSpec(expected.cols, expected.rows, mode)), expected.rows, 3),
          expected))
          << exif;
  }
}

#endif

// The float modes anew: everything in double, in edge coordinates of the stored picture, all samples of
// the region with their weights.
class Oracle {
 public:
  Oracle(const TestFrame& frame, const TensorSpec& spec, const tn_reference::PlainGeometry& geometry)
      : frame_(frame), spec_(spec), geometry_(geometry) {}

  double value(int k, int x, int y) const {
    const auto& [across, down] = geometry_;
    const double u = across.first + (x + static_cast<double>(across.begin) + 0.5) * across.pixels /
                                        static_cast<double>(across.scaled);
    const double v = down.first + (y + static_cast<double>(down.begin) + 0.5) * down.pixels /
                                      static_cast<double>(down.scaled);
    const auto [a0, b0] = stored(u, v);
    const auto [a1, b1] = stored(across.first, down.first);
    const auto [a2, b2] = stored(across.first + across.pixels, down.first + down.pixels);
    double step_a = across.pixels / static_cast<double>(across.scaled),
           step_b = down.pixels / static_cast<double>(down.scaled);
    if (frame_.view.orientation >= 5) std::swap(step_a, step_b);
    const Packing& packing = packingOf(frame_.view.format);
    const bool chroma = isYuv(frame_.view.format) && k > 0;
    const auto siting = frame_.view.siting;
    const auto columns = weights(a0, std::min(a1, a2), std::max(a1, a2), step_a,
                                 chroma && packing.halved_across, siting == ChromaSiting::kCentre);
    const auto rows = weights(b0, std::min(b1, b2), std::max(b1, b2), step_b,
                              chroma && packing.halved_down, siting != ChromaSiting::kTopLeft);
    double sum = 0;
    for (const auto& [i, wi] : columns)
      for (const auto& [j, wj] : rows) sum += wi * wj * frame_.sample(k, i, j);
    return sum;
  }

 private:
  // A point of the upright picture in the stored one.
  std::pair<double, double> stored(double u, double v) const {
    const double w = frame_.view.width, h = frame_.view.height;
    const std::pair<double, double> points[] = {{u, v}, {w - u, v}, {w - u, h - v}, {u, h - v},
                                                {v, u}, {v, h - u}, {w - v, h - u}, {w - v, u}};
    return points[frame_.view.orientation - 1];
  }

  std::vector<std::pair<int, double>> weights(double position, double from, double to, double step,
                                              bool halved, bool between) const {
    // Sample s lies at s * spacing + first.
    const double spacing = halved ? 2 : 1, first = halved && between ? 1 : 0.5;
    const int low = static_cast<int>(from / spacing), high = static_cast<int>((to - 1) / spacing);
    const bool wide = spec_.resampling == Resampling::kAntialiased;
    const double width = wide ? std::max(step, spacing) : spacing;
    if (!wide) position = std::min(std::max(position, low * spacing + first), high * spacing + first);
    std::vector<std::pair<int, double>> found;
    double sum = 0;
    for (int s = low; s <= high; ++s) {
      const double weight = 1 - std::abs(s * spacing + first - position) / width;
      if (weight <= 0) continue;
      found.emplace_back(s, weight);
      sum += weight;
    }
    for (auto& [s, weight] : found) weight /= sum;
    return found;
  }

  const TestFrame& frame_;
  const TensorSpec& spec_;
  tn_reference::PlainGeometry geometry_;
};

// The factors of BT.601, 709 and 2020 from the weights of luma.
std::vector<double> coloursOf(const TestFrame& frame, double y, double u, double v) {
  const auto clamped = [](double c) { return std::min(std::max(c, 0.0), 255.0); };
  if (frame.view.format == FrameFormat::kGray) return {y, y, y, y};
  if (!isYuv(frame.view.format)) return {y, u, v, 0.299 * y + 0.587 * u + 0.114 * v};
  const double kr[] = {0.299, 0.2126, 0.2627}, kb[] = {0.114, 0.0722, 0.0593};
  const double r = kr[static_cast<int>(frame.view.matrix)], b = kb[static_cast<int>(frame.view.matrix)];
  const bool limited = frame.view.range == Tarn::YuvRange::kLimited;
  if (packingOf(frame.view.format).bits > 8)
    for (double* const c : {&y, &u, &v}) *c *= limited ? 0.25 : 255.0 / 1023.0;
  if (limited) y = (y - 16) * 255 / 219;
  const double cb = (u - 128) * (limited ? 255.0 / 224 : 1),
               cr = (v - 128) * (limited ? 255.0 / 224 : 1);
  const double red = y + 2 * (1 - r) * cr, blue = y + 2 * (1 - b) * cb;
  return {clamped(red), clamped((y - r * red - b * blue) / (1 - r - b)), clamped(blue), clamped(y)};
}

TEST(PlainForm, PositionsAndColoursAreThoseOfTheContract) {
  Random random(11);
  const auto between = [&](int low, int high) { return random.between(low, high); };
  double worst = 0;
  for (const Packing& packing : allPackings())
    for (int i = 0; i < 60; ++i) {
      TestFrame frame = randomFrame(packing.format, between(1, 24), between(1, 24), random.bits());
      frame.view.orientation = between(1, 8);
      frame.view.siting = static_cast<ChromaSiting>(between(0, 2));
      frame.view.matrix = static_cast<Tarn::YuvMatrix>(between(0, 2));
      frame.view.range = static_cast<Tarn::YuvRange>(between(0, 1));
      int upright_w = frame.view.width, upright_h = frame.view.height;
      if (frame.view.orientation >= 5) std::swap(upright_w, upright_h);
      TensorSpec spec;
      spec.width = between(1, 20);
      spec.height = between(1, 20);
      spec.fit = static_cast<Tarn::Fit>(between(0, 3));
      spec.colour = static_cast<Tarn::TensorColour>(between(0, 2));
      spec.resampling = i % 2 == 0 ? Resampling::kBilinear : Resampling::kAntialiased;
      const int x = between(0, upright_w - 1), y = between(0, upright_h - 1);
      const Region region = {x, y, between(1, upright_w - x), between(1, upright_h - y)};
      SCOPED_TRACE(testing::Message()
                   << "format " << static_cast<int>(packing.format) << ", case " << i);
      const auto geometry = tn_reference::plainGeometry(frame.view, spec, region);
      const std::vector<float> values = tn_reference::plainValues(frame.view, spec, region);
      const Oracle oracle(frame, spec, geometry);
      const bool grey = spec.colour == Tarn::TensorColour::kGray;
      std::size_t at = 0;
      for (int ty = 0; ty < spec.height; ++ty)
        for (int tx = 0; tx < spec.width; ++tx) {
          const bool bar = !geometry.across.shows(tx) || !geometry.down.shows(ty);
          std::vector<double> expected(4, 114.0);
          if (!bar) {
            double c[3] = {0, 0, 0};
            for (int k = 0; k < (packing.format == FrameFormat::kGray ? 1 : 3); ++k)
              c[k] = oracle.value(k, tx, ty);
            expected = coloursOf(frame, c[0], c[1], c[2]);
          }
          if (spec.colour == Tarn::TensorColour::kBgr) std::swap(expected[0], expected[2]);
          for (std::size_t k = 0; k < (grey ? 1u : 3u); ++k)
            worst = std::max(worst, std::abs(double(values[at++]) - expected[grey ? 3 : k]));
        }
      ASSERT_EQ(at, values.size());
      ASSERT_LT(worst, 255e-6);
    }
}

TEST(PlainForm, ShortFloatsAreThoseOfTheirFormat) {
  const struct {
    float value;
    unsigned half, bfloat16;
  } cases[] = {{1.0f, 0x3C00, 0x3F80},
               {-2.0f, 0xC000, 0xC000},
               {-0.0f, 0x8000, 0x8000},
               {65504.0f, 0x7BFF, 0x4780},
               {65519.996f, 0x7BFF, 0x4780},
               {65520.0f, 0x7C00, 0x4780},
               {0x1p-24f, 0x0001, 0x3380},
               {0x1p-25f, 0x0000, 0x3300},
               {0x1.000002p-25f, 0x0001, 0x3300},
               {0x1.8p-24f, 0x0002, 0x33C0},
               {0x1.ffcp-15f, 0x03FF + 1, 0x3880},
               {0x1.004p0f, 0x3C01, 0x3F80},
               {0x1.002p0f, 0x3C00, 0x3F80},
               {0x1.006p0f, 0x3C02, 0x3F80},
               {0x1.01p0f, 0x3C04, 0x3F80},
               {0x1.03p0f, 0x3C0C, 0x3F82},
               {0x1p-133f, 0x0000, 0x0001},
               {0x1p-134f, 0x0000, 0x0000},
               {0x1.fep127f, 0x7C00, 0x7F7F},
               {0x1.ffp127f, 0x7C00, 0x7F80}};
  for (const auto& c : cases) {
    EXPECT_EQ(tn_reference::plainHalf(c.value), c.half) << c.value;
    EXPECT_EQ(tn_reference::plainBfloat16(c.value), c.bfloat16) << c.value;
  }
}

}  // namespace
