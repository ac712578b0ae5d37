// Colour matrices from the coefficients of the video standards.
#include "tn_colormatrix.h"

namespace Tarn {
namespace {

struct LumaWeights {
  double kr, kb;
};

LumaWeights lumaWeights(YuvStandard standard) {
  switch (standard) {
    case YuvStandard::kBt709:
      return {0.2126, 0.0722};
    case YuvStandard::kBt2020:
      return {0.2627, 0.0593};
    case YuvStandard::kBt601:
      break;
  }
  return {0.299, 0.114};
}

}  // namespace

_ConvertMatrixFromYUV makeYuvToRgbMatrix(const YuvToRgbOptions& options) {
  const auto [kr, kb] = lumaWeights(options.standard);
  const double kg = 1.0 - kr - kb;
  const bool limited = options.range == YuvRange::kLimited;
  const double luma_gain = limited ? 255.0 / (235.0 - 16.0) : 1.0;
  const double luma_black = limited ? 16.0 : 0.0;
  const double chroma_gain = limited ? 255.0 / (240.0 - 16.0) : 1.0;

  // Rows R, G, B over (cb, cr). Green follows from the equation of luma.
  const double red_cr = 2.0 * (1.0 - kr);
  const double blue_cb = 2.0 * (1.0 - kb);
  const double rgb_from_cb_cr[3][2] = {
      {0.0, red_cr}, {-kb * blue_cb / kg, -kr * red_cr / kg}, {blue_cb, 0.0}};

  const int first = options.chroma_order == ChromaOrder::kVFirst ? 1 : 0;
  _ConvertMatrixFromYUV mat;
  for (int channel = 0; channel < 3; ++channel) {
    const int colour = options.channel_order == ChannelOrder::kBgr ? 2 - channel : channel;
    const double scale = static_cast<double>(options.scale[channel]);
    const double mean = static_cast<double>(options.mean[channel]);
    const double y = luma_gain;
    const double c1 = chroma_gain * rgb_from_cb_cr[colour][first];
    const double c2 = chroma_gain * rgb_from_cb_cr[colour][1 - first];
    mat.coef[3 * channel] = static_cast<float>(scale * y);
    mat.coef[3 * channel + 1] = static_cast<float>(scale * c1);
    mat.coef[3 * channel + 2] = static_cast<float>(scale * c2);
    mat.offset[channel] = static_cast<float>(scale * (-luma_black * y - 128.0 * (c1 + c2) - mean));
  }
  return mat;
}

}  // namespace Tarn
