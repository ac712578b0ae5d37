// The colour matrices of the published standards.
#include "tn_colormatrix.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

namespace {

using namespace Tarn;

float apply(const _ConvertMatrixFromYUV& mat, int row, float y, float c1, float c2) {
  return mat.coef[3 * row] * y + mat.coef[3 * row + 1] * c1 + mat.coef[3 * row + 2] * c2 +
         mat.offset[row];
}

// The coefficients as they are published for full range, to their six decimals: red from Cr, green from
// Cb and Cr, blue from Cb. Limited range stretches 219 steps of luma and 224 of chroma to 255.
TEST(ColorMatrix, HasThePublishedCoefficients) {
  struct Case {
    YuvStandard standard;
    double red_cr, green_cb, green_cr, blue_cb;
  };
  static const Case cases[] = {
      {YuvStandard::kBt601, 1.402, -0.344136, -0.714136, 1.772},
      {YuvStandard::kBt709, 1.5748, -0.187324, -0.468124, 1.8556},
      {YuvStandard::kBt2020, 1.4746, -0.164553, -0.571353, 1.8814},
  };
  for (const Case& c : cases)
    for (const bool limited : {false, true}) {
      SCOPED_TRACE(testing::Message() << c.red_cr << (limited ? " limited" : " full"));
      YuvToRgbOptions options;
      options.standard = c.standard;
      options.range = limited ? YuvRange::kLimited : YuvRange::kFull;
      const _ConvertMatrixFromYUV mat = makeYuvToRgbMatrix(options);

      const double l = limited ? 255.0 / 219.0 : 1.0, k = limited ? 255.0 / 224.0 : 1.0;
      const double coef[9] = {l, 0, k * c.red_cr, l, k * c.green_cb, k * c.green_cr, l, k * c.blue_cb,
                              0};
      // Half a unit of the last published decimal, stretched by the range.
      for (int i = 0; i < 9; ++i) EXPECT_NEAR(mat.coef[i], coef[i], 1e-6) << "coefficient " << i;
      // Black and white are exact colours whatever the standard.
      for (int channel = 0; channel < 3; ++channel) {
        EXPECT_NEAR(apply(mat, channel, limited ? 16 : 0, 128, 128), 0.0, 1e-4) << channel;
        EXPECT_NEAR(apply(mat, channel, limited ? 235 : 255, 128, 128), 255.0, 1e-4) << channel;
      }
    }
}

TEST(ColorMatrix, WhatNoListHasIsTheFirstOfIt) {
  YuvToRgbOptions first, other;
  first.standard = YuvStandard::kBt601;
  first.range = YuvRange::kFull;
  other.standard = static_cast<YuvStandard>(3);
  other.range = static_cast<YuvRange>(2);
  other.chroma_order = static_cast<ChromaOrder>(2);
  other.channel_order = static_cast<ChannelOrder>(-1);
  const _ConvertMatrixFromYUV a = makeYuvToRgbMatrix(first), b = makeYuvToRgbMatrix(other);
  EXPECT_EQ(std::memcmp(&a, &b, sizeof a), 0);
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
