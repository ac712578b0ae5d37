#include "tn_colormatrix.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

using namespace Tarn;

float apply(const _ConvertMatrixFromYUV& mat, int row, float y, float c1, float c2) {
  return mat.coef[3 * row] * y + mat.coef[3 * row + 1] * c1 + mat.coef[3 * row + 2] * c2 +
         mat.offset[row];
}

// Sample values that the standards themselves give for pure colours, so nothing of the derivation is
// repeated here. Encoded samples are rounded to 8 bits: half a step of luma and of chroma, amplified.
TEST(ColorMatrix, DecodesTheStandardsColours) {
  struct Case {
    const char* name;
    YuvStandard standard;
    YuvRange range;
    float yuv[3], rgb[3];
  };
  static const Case cases[] = {
      {"601 limited white", YuvStandard::kBt601, YuvRange::kLimited, {235, 128, 128}, {255, 255, 255}},
      {"601 limited black", YuvStandard::kBt601, YuvRange::kLimited, {16, 128, 128}, {0, 0, 0}},
      {"601 limited red", YuvStandard::kBt601, YuvRange::kLimited, {81, 90, 240}, {255, 0, 0}},
      {"601 full blue", YuvStandard::kBt601, YuvRange::kFull, {29, 255.5f, 107}, {0, 0, 255}},
      {"709 limited green", YuvStandard::kBt709, YuvRange::kLimited, {173, 42, 26}, {0, 255, 0}},
      {"709 limited blue", YuvStandard::kBt709, YuvRange::kLimited, {32, 240, 118}, {0, 0, 255}},
      {"2020 limited red", YuvStandard::kBt2020, YuvRange::kLimited, {74, 97, 240}, {255, 0, 0}},
      {"2020 full grey", YuvStandard::kBt2020, YuvRange::kFull, {77, 128, 128}, {77, 77, 77}},
  };
  for (const Case& c : cases) {
    YuvToRgbOptions options;
    options.standard = c.standard;
    options.range = c.range;
    const _ConvertMatrixFromYUV mat = makeYuvToRgbMatrix(options);
    for (int i = 0; i < 3; ++i)
      EXPECT_NEAR(apply(mat, i, c.yuv[0], c.yuv[1], c.yuv[2]), c.rgb[i], 2.0f) << c.name << " " << i;
  }
}

TEST(ColorMatrix, FoldsOrderAndNormalisation) {
  YuvToRgbOptions options;
  const _ConvertMatrixFromYUV plain = makeYuvToRgbMatrix(options);

  options.channel_order = ChannelOrder::kBgr;
  options.chroma_order = ChromaOrder::kVFirst;
  const float mean[3] = {103.5f, 116.25f, 123.75f}, scale[3] = {0.0175f, -2.0f, 0.5f};
  for (int i = 0; i < 3; ++i) options.mean[i] = mean[i], options.scale[i] = scale[i];
  const _ConvertMatrixFromYUV folded = makeYuvToRgbMatrix(options);

  for (int channel = 0; channel < 3; ++channel) {
    const float colour = apply(plain, 2 - channel, 120, 90, 200);
    // Both sides round their coefficients to float: a few units in the last place of 255 * scale.
    EXPECT_NEAR(apply(folded, channel, 120, 200, 90), (colour - mean[channel]) * scale[channel],
                1e-4f * std::abs(scale[channel]));
  }
}

}  // namespace
