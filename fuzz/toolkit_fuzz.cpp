// Frames to tensors, and crops, against their plain forms.
#include "fuzz/fuzz_input.h"
#include "tests/reference/yuv_reference.h"
#include "tn_checked.h"
#include "tn_yuvconverter.h"

namespace {

using Tarn::TarnYUVToolKit;
using tn_fuzz::FuzzInput;
using Block = std::vector<std::uint8_t>;

Tarn::_ConvertMatrixFromYUV matrixOf(FuzzInput& input) {
  Tarn::_ConvertMatrixFromYUV mat;
  for (float& coefficient : mat.coef) coefficient = 2.0f * input.fraction();
  for (float& offset : mat.offset) offset = 300.0f * input.fraction();
  return mat;
}

_TN_Image image(int format, int w, int h, const void* data) {
  return {0, format, w, h, 0, const_cast<void*>(data)};
}

void expectSame(const std::vector<float>& got, const std::vector<float>& expected) {
  FUZZ_CHECK(std::memcmp(got.data(), expected.data(), got.size() * sizeof(float)) == 0);
}

void resampled(FuzzInput& input) {
  const int src_w = input.between(1, 90), src_h = input.between(1, 40);
  const bool usual = input.byte() % 4 != 0;
  const tn_test::YuvSizes sizes = {src_w, src_h, usual ? src_w / 2 : input.between(0, 50),
                                   input.coin() ? input.between(1, 60) : src_w,
                                   input.coin() ? input.between(1, 40) : src_h};
  const Tarn::_ConvertMatrixFromYUV mat = matrixOf(input);
  TarnYUVToolKit kit(sizes.src_w, sizes.src_h, sizes.src_uv_w, input.byte(), sizes.dst_w, sizes.dst_h);
  kit.setCvtMat(mat);
  const Block frame = input.bytes(static_cast<std::size_t>(sizes.frameBytes()));
  std::vector<float> got(tn_fuzz::count(sizes.dst_w, sizes.dst_h, 3), -1.0f), expected = got;
  // Twice: what the first frame leaves in the kit must not show in the second.
  for (int pass = 0; pass < 2; ++pass)
    kit.convert(image(TN_PIX_FMT_NV12, src_w, src_h, frame.data()),
                image(TN_PIX_FMT_CHW_F32, sizes.dst_w, sizes.dst_h, got.data()));
  tn_test::referenceConvert(frame.data(), sizes, mat, expected.data());
  expectSame(got, expected);
}

void sameSize(FuzzInput& input) {
  const int w = input.between(1, 90), h = input.between(1, 40);
  const int out_w = std::max(1, w / 2 * 2 + input.between(0, 3));
  const int out_h = std::max(1, h / 2 * 2 + input.between(0, 3));
  const Tarn::_ConvertMatrixFromYUV mat = matrixOf(input);
  const Block frame = input.bytes(tn_fuzz::count(w, h + h / 2));
  std::vector<float> got(tn_fuzz::count(out_w, out_h, 3), -1.0f), expected = got;
  TarnYUVToolKit::Convert(image(TN_PIX_FMT_NV21, w, h, frame.data()),
                          image(TN_PIX_FMT_CHW_F32, out_w, out_h, got.data()), mat);
  tn_test::referenceConvertSameSize(frame.data(), w, h, mat, expected.data(), out_w, out_h);
  expectSame(got, expected);
}

// Both frames have exactly the bytes that the checked form asks for: it must ask for enough.
void crop(FuzzInput& input) {
  const bool planar = input.coin();
  const int w = input.between(1, 50), h = input.between(1, 50);
  const int x0 = input.between(-20, 60), y0 = input.between(-20, 60);
  const int x1 = x0 + input.between(0, 70), y1 = y0 + input.between(0, 70);
  const int out_w = x1 - x0 + 1 + input.between(0, 2), out_h = y1 - y0 + 1 + input.between(0, 2);
  const int format = planar ? TN_PIX_FMT_YUVI420 : TN_PIX_FMT_NV12;
  const int left = std::max(x0, 0), top = std::max(y0, 0);
  const int columns = std::min(x1, w - 1) - left + 1, rows = std::min(y1, h - 1) - top + 1;
  const int pairs = columns > 0 && rows > 0 ? (rows + 1) / 2 : 0;
  const auto reach = [&](int width, int height, int x, int y) {
    return static_cast<std::size_t>(Tarn::checked::rules::cropReach(
        image(format, width, height, nullptr), planar, x, y, pairs, columns / 2 * 2));
  };
  const Block frame = input.bytes(reach(w, h, left, top));
  Block got(reach(out_w, out_h, left - x0, top - y0), 0xA5), expected = got;
  const auto routine =
      planar ? Tarn::checked::TarnYUVToolKit::Crop_YUVI420 : Tarn::checked::TarnYUVToolKit::Crop;
  const _TN_Image in = image(format, w, h, frame.data());
  routine({in, frame.size()}, {image(format, out_w, out_h, got.data()), got.size()}, x0, y0, x1, y1);
  tn_test::referenceCrop(in, image(format, out_w, out_h, expected.data()), x0, y0, x1, y1, planar);
  FUZZ_CHECK(got == expected);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzInput input(data, size);
  input.chooseTarget();
  constexpr void (*kRoutines[])(FuzzInput&) = {resampled, sameSize, crop};
  kRoutines[input.between(0, 2)](input);
  return 0;
}
