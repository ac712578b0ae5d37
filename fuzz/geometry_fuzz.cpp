// Turns, mirrors, cuts and resizers of both libraries against their plain forms.
#include "fuzz/fuzz_input.h"
#include "tests/reference/geometry_reference.h"
#include "tests/reference/resize_reference.h"
#include "tn_cv.h"
#include "tn_resize.h"

namespace {

using TarnCPU::TN_CV;
using tn_fuzz::FuzzInput;
using Block = std::vector<std::uint8_t>;

constexpr std::uint8_t kFill = 0xA5;

void turn(FuzzInput& input) {
  const int c = input.between(3, 4), w = input.between(1, 80), h = input.between(1, 80);
  const bool clockwise = input.coin();
  const Block src = input.bytes(tn_fuzz::count(w, h, c));
  Block got(src.size(), kFill);
  if (clockwise)
    (c == 3 ? TN_CV::rotate90_intrinsics_3_channel : TN_CV::rotate90_intrinsics_4_channel)(
        src.data(), w, h, got.data());
  else
    (c == 3 ? TN_CV::anti_rotate90_intrinsics_3_channel : TN_CV::anti_rotate90_intrinsics_4_channel)(
        src.data(), w, h, got.data());
  FUZZ_CHECK(got == (clockwise ? tn_reference::turnClockwise : tn_reference::turnAnticlockwise)(
                        src.data(), w, h, c));
}

void mirror(FuzzInput& input) {
  const int c = input.between(1, 6), w = input.between(1, 150), h = input.between(1, 8);
  const bool horizontal = input.coin();
  const Block src = input.bytes(tn_fuzz::count(w, h, c));
  Block got(src.size(), kFill);
  (horizontal ? TN_CV::flip_horizontal : TN_CV::flip_vertical)(src.data(), w, h, got.data(), c);
  FUZZ_CHECK(got == (horizontal ? tn_reference::flipHorizontal : tn_reference::flipVertical)(src.data(),
                                                                                             w, h, c));
}

void cut(FuzzInput& input) {
  const int src_w = input.between(1, 40), src_h = input.between(1, 40), c = input.between(1, 4);
  const int w = input.between(1, src_w), h = input.between(1, src_h);
  const int x0 = input.between(0, src_w - w), y0 = input.between(0, src_h - h);
  if (input.coin()) {
    const Block src = input.bytes(tn_fuzz::count(src_w, src_h, c));
    Block got(tn_fuzz::count(w, h, c), kFill);
    TN_CV::cut_sub_img_inhwc_outhwc(src.data(), src_w, src_h, got.data(), w, h, x0, y0, c);
    FUZZ_CHECK(got == tn_reference::cutPacked(src.data(), src_w, w, h, x0, y0, c));
    return;
  }
  // A plane of floats is an image of 4 bytes a pixel; planes are cut alike.
  constexpr int kFloat = static_cast<int>(sizeof(float));
  std::vector<float> src(tn_fuzz::count(src_w, src_h, c)), got(tn_fuzz::count(w, h, c));
  const Block bits = input.bytes(src.size() * sizeof(float));
  std::memcpy(src.data(), bits.data(), bits.size());
  TN_CV::cut_sub_img_inchw_outchw(src.data(), src_w, src_h, got.data(), w, h, x0, y0, c);
  for (int plane = 0; plane < c; ++plane) {
    const Block expected = tn_reference::cutPacked(
        bits.data() + tn_fuzz::count(src_w, src_h, kFloat) * static_cast<std::size_t>(plane), src_w, w,
        h, x0, y0, kFloat);
    FUZZ_CHECK(std::memcmp(got.data() + tn_fuzz::count(w, h, plane), expected.data(), expected.size()) ==
               0);
  }
}

void bilinear(FuzzInput& input) {
  const int c = input.between(1, 4), sw = input.between(1, 80), sh = input.between(1, 30);
  const int dw = input.between(1, 80), dh = input.between(1, 30);
  const bool first_library = c == 2 && input.coin();
  const Block src = input.bytes(tn_fuzz::count(sw, sh, c));
  Block got(tn_fuzz::count(dw, dh, c), kFill);
  const auto resize = first_library ? TN_CV::resize_bilinear_c2
                      : c == 1      ? TarnCPU::resize_bilinear_c1
                      : c == 2      ? TarnCPU::resize_bilinear_c2
                      : c == 3      ? TarnCPU::resize_bilinear_c3
                                    : TarnCPU::resize_bilinear_c4;
  resize(src.data(), sw, sh, got.data(), dw, dh);
  FUZZ_CHECK(got == tn_reference::resizeBilinear(src.data(), sw, sh, dw, dh, c));
}

void nearest(FuzzInput& input) {
  const int sw = input.between(1, 60), sh = input.between(1, 30), dw = input.between(1, 60),
            dh = input.between(1, 30);
  const int channels = input.between(0, 3);
  if (channels == 0) {
    const Block src = input.bytes(tn_fuzz::count(sw, sh));
    Block got(tn_fuzz::count(dw, dh), kFill);
    TarnCPU::resize_nearest_c1(src.data(), sw, sh, got.data(), dw, dh);
    FUZZ_CHECK(got == tn_reference::resizeNearest(src.data(), sw, sh, dw, dh, 1));
    return;
  }
  const int c = channels == 1 ? 1 : channels + 1;
  const auto resize = c == 1   ? TarnCPU::crop_resize_nearest_c1
                      : c == 3 ? TarnCPU::crop_resize_nearest_c3
                               : TarnCPU::crop_resize_nearest_c4;
  const int reach = input.coin() ? 40 : 2147483647;
  tn_reference::Rectangle crop;
  for (int* const corner : {&crop.left, &crop.top, &crop.right, &crop.bottom})
    *corner = input.between(-reach, reach);
  const Block src = input.bytes(tn_fuzz::count(sw, sh, c));
  const Block background(tn_fuzz::count(dw, dh, c), kFill);
  Block got = background;
  resize(src.data(), sw, sh, got.data(), dw, dh, crop.left, crop.top, crop.right, crop.bottom);
  FUZZ_CHECK(got == tn_reference::cropResizeNearest(src.data(), sw, sh, background, dw, dh, c, crop));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzInput input(data, size);
  input.chooseTarget();
  constexpr void (*kRoutines[])(FuzzInput&) = {turn, mirror, cut, bilinear, nearest};
  kRoutines[input.between(0, 4)](input);
  return 0;
}
