/// \file
/// Colour matrices for TarnYUVToolKit, derived from the video standards.
#ifndef TN_COLORMATRIX_H_
#define TN_COLORMATRIX_H_

#include "tn_kits_export.h"
#include "tn_yuvconverter.h"

namespace Tarn {

/// Whose luma weights Kr and Kb apply.
enum class YuvStandard {
  kBt601,   ///< standard definition: Kr 0.299, Kb 0.114
  kBt709,   ///< high definition: Kr 0.2126, Kb 0.0722
  kBt2020,  ///< ultra high definition, non-constant luminance: Kr 0.2627, Kb 0.0593
};

/// How sample values are spread over the 8 bits.
enum class YuvRange {
  kFull,     ///< luma 0 to 255, chroma 128 +- 127.5
  kLimited,  ///< luma 16 to 235, chroma 128 +- 112
};

/// Which chroma sample comes first in the stored pair.
enum class ChromaOrder {
  kUFirst,  ///< TN_PIX_FMT_NV12
  kVFirst,  ///< TN_PIX_FMT_NV21
};

/// Which colour the tensor's first plane holds.
enum class ChannelOrder {
  kRgb,  ///< red
  kBgr,  ///< blue
};

/// What makeYuvToRgbMatrix is asked for. The tensor holds (colour - mean) * scale with colours from 0
/// to 255; mean and scale are given for output channels 0, 1, 2, in the channel order asked for.
struct YuvToRgbOptions {
  YuvStandard standard = YuvStandard::kBt709;       ///< whose colours the frame has
  YuvRange range = YuvRange::kLimited;              ///< how its samples are spread
  ChromaOrder chroma_order = ChromaOrder::kUFirst;  ///< NV12 or NV21
  ChannelOrder channel_order = ChannelOrder::kRgb;  ///< of the tensor's planes
  float mean[3] = {0.0f, 0.0f, 0.0f};               ///< subtracted from the colour
  float scale[3] = {1.0f, 1.0f, 1.0f};              ///< multiplied with what is left
};

/// Folds a standard's YUV to RGB conversion, the sample range and a network's normalisation into the
/// one matrix that TarnYUVToolKit applies. With Kg = 1 - Kr - Kb and luma y, chroma cb, cr scaled to
/// 0..255 and -127.5..127.5 by the range (ITU-R BT.601, BT.709 and BT.2020):
///   R = y + 2 (1 - Kr) cr,  B = y + 2 (1 - Kb) cb,  G = (y - Kr R - Kb B) / Kg.
/// Computed in double precision and rounded to float at the end; colours out of gamut are not clamped.
/// Thread-safe. Errors: none; an enumerator outside its list counts as the first one.
TN_KITS_API _ConvertMatrixFromYUV makeYuvToRgbMatrix(const YuvToRgbOptions& options);

}  // namespace Tarn

#endif  // TN_COLORMATRIX_H_
