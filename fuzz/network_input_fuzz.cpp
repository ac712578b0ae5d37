// Frames of every format and orientation to network input, against the plain composition of steps.
#include "fuzz/fuzz_input.h"
#include "tests/reference/networkinput_reference.h"
#include "tn_checked.h"

namespace {

using tn_fuzz::FuzzInput;
using Block = std::vector<std::uint8_t>;

constexpr std::uint8_t kOldWorkA = 0xA5;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzInput input(data, size);
  input.chooseTarget();
  constexpr int kFormats[] = {TN_PIX_FMT_YUVI420, TN_PIX_FMT_NV12, TN_PIX_FMT_NV21, TN_PIX_FMT_BGRA,
                              TN_PIX_FMT_RGBA,    TN_PIX_FMT_BGR,  TN_PIX_FMT_RGB};
  _TN_Image image = {
      input.byte(), kFormats[input.between(0, 6)], input.between(1, 50), input.between(1, 40), 0,
      nullptr};
  const int side = 4 * input.between(1, 10);
  const bool square = input.coin();
  const int width = square ? side : input.between(1, 50), height = square ? side : input.between(1, 40);
  const bool to_bgr = input.coin(), cropped = input.coin(), wild = cropped && input.byte() % 8 == 0;
  tn_reference::CropWindow crop = {0, 0, 0, 0, input.coin()};
  // The plain form adds corners as 32-bit numbers.
  const int reach = wild ? 2147483647 : 70;
  for (int* const corner : {&crop.left, &crop.top, &crop.right, &crop.bottom})
    *corner = input.between(-reach, reach);

  // All blocks have exactly the bytes that the checked form asks for.
  const std::size_t frame_bytes = static_cast<std::size_t>(Tarn::checked::rules::bytesOfFrame(image));
  Block frame = input.bytes(frame_bytes);
  image.data = frame.data();
  const bool four = image.pix_fmt == TN_PIX_FMT_BGRA || image.pix_fmt == TN_PIX_FMT_RGBA;
  Block work_a(tn_fuzz::count(width, height, 4), kOldWorkA);
  Block work_b(tn_fuzz::count(width, height, four ? 4 : 3));
  const Tarn::checked::Image in = {image, frame.size()};
  TarnCPU::Mat out;
  if (cropped)
    Tarn::checked::getInMat_m1(in, out, to_bgr ? 1 : 0, width, height, {work_a.data(), work_a.size()},
                               {work_b.data(), work_b.size()}, crop.left, crop.top, crop.right,
                               crop.bottom, crop.pad_grey);
  else
    Tarn::checked::getInMat(in, out, to_bgr ? 1 : 0, width, height, {work_a.data(), work_a.size()},
                            {work_b.data(), work_b.size()});
  FUZZ_CHECK(out.c == 3 && out.w == width && out.h == height);
  if (wild) return 0;
  const std::vector<float> expected =
      tn_reference::networkInput(image, to_bgr, width, height, cropped ? &crop : nullptr, kOldWorkA);
  FUZZ_CHECK(std::memcmp(out.data, expected.data(), expected.size() * sizeof(float)) == 0);
  return 0;
}
