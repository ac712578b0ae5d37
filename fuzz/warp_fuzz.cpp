// The four affine warps with any matrix and any floats, against their plain forms.
#include "fuzz/fuzz_input.h"
#include "tests/reference/affine_reference.h"
#include "tests/support/same_bits.h"
#include "tn_checked.h"

namespace {

using TarnCPU::Mat;
using tn_fuzz::FuzzInput;
using tn_reference::Planes;

struct Warp {
  void (*warp)(const Mat&, const Mat&, Tarn::checked::ConstFloats);
  void (*plain)(const Planes&, Planes&, const float*);
  bool one_size;
};
constexpr Warp kWarps[] = {
    {Tarn::checked::affine, tn_reference::warpZeroBorder, false},
    {Tarn::checked::affine_optimized, tn_reference::warpZeroBorderOptimized, false},
    {Tarn::checked::affine_sse, tn_reference::warpExtrapolating, true},
    {Tarn::checked::affine_sse_hwc, tn_reference::warpReplicating, true},
};

Mat view(const Planes& planes) {
  return Tarn::checked::from_float_array({planes.values.data(), planes.values.size() * sizeof(float)},
                                         planes.w, planes.h, planes.c, TarnCPU::TensorShape::CHW,
                                         nullptr);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzInput input(data, size);
  input.chooseTarget();
  const Warp& warp = kWarps[input.between(0, 3)];
  const int least = warp.one_size ? 2 : 1;
  const int w = input.between(least, 70), h = input.between(least, 20);
  const int c = warp.one_size ? 3 : input.between(1, 4);
  Planes src = {w, h, warp.one_size ? 3 : c + input.between(0, 1), {}};
  Planes dst = {
      warp.one_size ? w : input.between(1, 70), warp.one_size ? h : input.between(1, 20), c, {}};
  src.values.resize(tn_fuzz::count(src.w, src.h, src.c));
  dst.values.resize(tn_fuzz::count(dst.w, dst.h, dst.c), -1.0f);
  std::vector<float> matrix(6);
  for (float& entry : matrix) entry = input.real();
  const bool any_bits = input.byte() % 4 == 0;
  const std::vector<std::uint8_t> bits = input.bytes(src.values.size() * sizeof(float));
  if (any_bits)
    std::memcpy(src.values.data(), bits.data(), bits.size());
  else
    for (std::size_t i = 0; i < src.values.size(); ++i) src.values[i] = bits[i];
  Planes expected = dst;
  warp.plain(src, expected, matrix.data());
  warp.warp(view(src), view(dst), {matrix.data(), matrix.size() * sizeof(float)});
  for (std::size_t i = 0; i < expected.values.size(); ++i)
    FUZZ_CHECK(tn_test::sameBits(dst.values[i], expected.values[i]));
  return 0;
}
