// Colour conversions against their plain forms, at every size around the vectors', in blocks of exactly
// the documented bytes.
#include "fuzz/fuzz_input.h"
#include "tests/reference/colour_reference.h"
#include "tn_cv.h"

namespace {

using tn_fuzz::FuzzInput;
using Block = std::vector<std::uint8_t>;

void semiPlanar(FuzzInput& input, bool u_first) {
  const int w = input.between(1, 70), h = input.between(1, 40), rows = (h + 1) / 2 * 2;
  const Block src = input.bytes(tn_fuzz::count(w, h + rows));
  Block got(tn_fuzz::count(3 * w, rows + 1)), expected = got;
  (u_first ? TarnCPU::TN_CV::nv12_to_rgb_fast_asm : TarnCPU::TN_CV::yuv420sp_to_rgb_fast_asm)(
      src.data(), w, h, got.data());
  tn_reference::semiPlanarWalk(src.data(), w, h, u_first, expected.data());
  FUZZ_CHECK(got == expected);
}

void planar(FuzzInput& input) {
  const int w = input.between(1, 70), h = input.between(1, 40), pairs = (h + 1) / 2, luma = w * h;
  const Block src =
      input.bytes(tn_fuzz::count(std::max(2 * pairs * w - w % 2, luma + luma / 4 + pairs * (w / 2)), 1));
  Block got(tn_fuzz::count(6 * pairs, w)), expected = got;
  TarnCPU::TN_CV::yuv420f_to_rgb(src.data(), w, h, got.data());
  tn_reference::planarWalk(src.data(), src.data() + luma, src.data() + luma + luma / 4, w, h,
                           expected.data());
  FUZZ_CHECK(got == expected);
}

struct Packed {
  void (*gray)(const unsigned char*, unsigned char*, int);
  void (*planes)(const unsigned char*, unsigned char*, int);
  int step, red, blue;
};
constexpr Packed kPacked[] = {
    {TarnCPU::getGray_from_BGRA_HWC, TarnCPU::getRGB_CHW_from_BGRA_HWC, 4, 2, 0},
    {TarnCPU::getGray_from_RGBA_HWC, TarnCPU::getRGB_CHW_from_RGBA_HWC, 4, 0, 2},
    {TarnCPU::getGray_from_RGB_HWC, TarnCPU::getRGB_CHW_from_RGB_HWC, 3, 0, 2},
};

void packed(FuzzInput& input, const Packed& format) {
  // Tail, footage and block loops of the grey kernels change places below some hundred pixels.
  const int n = input.between(1, 600);
  const bool gray = input.coin();
  const Block src = input.bytes(tn_fuzz::count(n, format.step));
  Block got(tn_fuzz::count(n, gray ? 1 : 3)), expected = got;
  (gray ? format.gray : format.planes)(src.data(), got.data(), n);
  for (std::size_t i = 0; i < static_cast<std::size_t>(n); ++i) {
    const std::uint8_t* const pixel = src.data() + i * static_cast<std::size_t>(format.step);
    const std::uint8_t rgb[] = {pixel[format.red], pixel[1], pixel[format.blue]};
    if (gray)
      expected[i] = tn_reference::gray(rgb[0], rgb[1], rgb[2]);
    else
      for (std::size_t plane = 0; plane < 3; ++plane)
        expected[plane * static_cast<std::size_t>(n) + i] = rgb[plane];
  }
  FUZZ_CHECK(got == expected);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzInput input(data, size);
  input.chooseTarget();
  const int routine = input.between(0, 5);
  if (routine < 2)
    semiPlanar(input, routine == 0);
  else if (routine == 2)
    planar(input);
  else
    packed(input, kPacked[routine - 3]);
  return 0;
}
