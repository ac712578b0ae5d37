// Rows of the YUV toolkit and of its colour matrices.
#include <cstring>

#include "tests/hashes/digest.h"
#include "tn_colormatrix.h"
#include "tn_yuvconverter.h"

namespace tn_test {
namespace {

using namespace Tarn;

_ConvertMatrixFromYUV matrix() {
  YuvToRgbOptions options;
  options.channel_order = ChannelOrder::kBgr;
  for (int i = 0; i < 3; ++i) {
    options.mean[i] = 100.0f + 7.3f * static_cast<float>(i);
    options.scale[i] = 0.017f + 0.001f * static_cast<float>(i);
  }
  return makeYuvToRgbMatrix(options);
}

// Of pixels that are only read.
_TN_Image image(int format, int width, int height, const Bytes& bytes) {
  return {0, format, width, height, 0, const_cast<std::uint8_t*>(bytes.data())};
}
_TN_Image image(int format, int width, int height, Bytes& bytes) {
  return {0, format, width, height, 0, bytes.data()};
}

// Enlarged, shrunk, unchanged, and odd.
void resample(Digest& digest) {
  struct Case {
    int w, h, out_w, out_h;
  };
  constexpr Case kCases[] = {{2, 2, 2, 2},      {16, 8, 16, 8},      {64, 48, 64, 48},
                             {64, 48, 160, 90}, {322, 180, 128, 96}, {35, 21, 50, 34}};
  for (const auto [w, h, out_w, out_h] : kCases) {
    const Bytes& frame = fixedBytes(count(w * h) + count(2 * (w / 2)) * count(h / 2));
    Bytes tensor = untouched(12 * count(out_w * out_h));
    TarnYUVToolKit kit(w, h, w / 2, h / 2, out_w, out_h);
    kit.setCvtMat(matrix());
    kit.convert(image(TN_PIX_FMT_NV12, w, h, frame), image(TN_PIX_FMT_CHW_F32, out_w, out_h, tensor));
    digest.add(tensor);
  }
}

void convertSameSize(Digest& digest) {
  for (const int w : {2, 5, 16, 64, 130})
    for (const int h : {2, 3, 48}) {
      const Bytes& frame = fixedBytes(count(w) * count(h + h / 2));
      Bytes tensor = untouched(12 * count(w * h));
      TarnYUVToolKit::Convert(image(TN_PIX_FMT_NV21, w, h, frame),
                              image(TN_PIX_FMT_CHW_F32, w, h, tensor), matrix());
      digest.add(tensor);
    }
}

// Inside the frame, beyond two of its edges, and around it.
void cropFrames(Digest& digest, decltype(&TarnYUVToolKit::Crop) crop, int format) {
  struct Corners {
    int x0, y0, x1, y1;
  };
  constexpr Corners kCorners[] = {{8, 4, 39, 19}, {-6, -4, 25, 11}, {40, 20, 79, 51}, {-8, -8, 71, 39}};
  constexpr int kWidth = 64, kHeight = 32;
  for (const auto [x0, y0, x1, y1] : kCorners) {
    const int w = x1 - x0 + 1, h = y1 - y0 + 1;
    const Bytes& frame = fixedBytes(kWidth * kHeight * 3 / 2);
    Bytes cut = untouched(count(w * h * 3 / 2));
    crop(image(format, kWidth, kHeight, frame), image(format, w, h, cut), x0, y0, x1, y1);
    digest.add(cut);
  }
}

void colourMatrices(Digest& digest) {
  YuvToRgbOptions options;
  for (const YuvStandard standard : {YuvStandard::kBt601, YuvStandard::kBt709, YuvStandard::kBt2020})
    for (const YuvRange range : {YuvRange::kFull, YuvRange::kLimited})
      for (const ChromaOrder order : {ChromaOrder::kUFirst, ChromaOrder::kVFirst}) {
        options.standard = standard;
        options.range = range;
        options.chroma_order = order;
        const _ConvertMatrixFromYUV result = makeYuvToRgbMatrix(options);
        digest.add(&result, sizeof result);
      }
  const _ConvertMatrixFromYUV normalised = matrix();
  digest.add(&normalised, sizeof normalised);
}

}  // namespace

std::vector<HashRow> frameRows() {
  return {
      {"TarnYUVToolKit::convert", resample},
      {"TarnYUVToolKit::Convert", convertSameSize},
      {"TarnYUVToolKit::Crop", [](Digest& d) { cropFrames(d, TarnYUVToolKit::Crop, TN_PIX_FMT_NV12); }},
      {"TarnYUVToolKit::Crop_YUVI420",
       [](Digest& d) { cropFrames(d, TarnYUVToolKit::Crop_YUVI420, TN_PIX_FMT_YUVI420); }},
      {"makeYuvToRgbMatrix", colourMatrices},
  };
}

}  // namespace tn_test
