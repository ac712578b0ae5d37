// Tensors from packed pixels: bytes to float planes.

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "tn_core.h"
#include "tn_mat.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "platform/tn_cnn/src/tn_mat_pixels.cpp"
#include "hwy/foreach_target.h"  // compiles this file again for every CPU target
// After foreach_target.h, so that each target includes them again.
#include "common/tn_tail-inl.h"
#include "hwy/highway.h"

HWY_BEFORE_NAMESPACE();
namespace TarnCPU::HWY_NAMESPACE {
namespace {
namespace hn = hwy::HWY_NAMESPACE;

template <class DF>
HWY_INLINE void StoreFloats(DF df, hn::Vec<hn::Rebind<std::uint8_t, DF>> bytes, float* out) {
  const hn::Rebind<std::int32_t, DF> d32;
  hn::StoreU(hn::ConvertTo(df, hn::PromoteTo(d32, bytes)), df, out);
}

template <class DU>
HWY_INLINE hn::Vec<DU> LoadWords(DU du, const std::uint8_t* bytes) {
#if HWY_TARGET == HWY_SCALAR
  std::uint32_t word;
  std::memcpy(&word, bytes, sizeof(word));
  return hn::Set(du, word);
#else
  return hn::BitCast(du, hn::LoadU(hn::Repartition<std::uint8_t, DU>(), bytes));
#endif
}

// The vector of pixels that begins at pixel i; planes[k] takes byte k of each.
template <int kC, class DF>
HWY_INLINE void SplitAt(DF df, const std::uint8_t* pixels, float* const planes[3], std::size_t i) {
  if constexpr (kC == 3) {
    const hn::Rebind<std::uint8_t, DF> d8;
    hn::Vec<decltype(d8)> first, second, third;
    hn::LoadInterleaved3(d8, pixels + 3 * i, first, second, third);
    StoreFloats(df, first, planes[0] + i);
    StoreFloats(df, second, planes[1] + i);
    StoreFloats(df, third, planes[2] + i);
  } else {
    // A pixel is as large as a float, so it stays in its lane.
    const hn::RebindToUnsigned<DF> du;
    const auto words = LoadWords(du, pixels + 4 * i);
    const auto store = [&](auto shifted, float* out) HWY_ATTR {
      const auto byte = hn::And(shifted, hn::Set(du, 0xFFu));
      hn::StoreU(hn::ConvertTo(df, hn::BitCast(hn::RebindToSigned<DF>(), byte)), df, out);
    };
    store(words, planes[0] + i);
    store(hn::ShiftRight<8>(words), planes[1] + i);
    store(hn::ShiftRight<16>(words), planes[2] + i);
  }
}

template <int kC>
void Split(const std::uint8_t* pixels, float* const planes[3], std::size_t count) {
  ForEachVector(hn::ScalableTag<float>(), count,
                [&](auto df, std::size_t i) TN_INLINE_LAMBDA { SplitAt<kC>(df, pixels, planes, i); });
}

void Split3(const std::uint8_t* pixels, float* const planes[3], std::size_t count) {
  Split<3>(pixels, planes, count);
}
void Split4(const std::uint8_t* pixels, float* const planes[3], std::size_t count) {
  Split<4>(pixels, planes, count);
}

}  // namespace
}  // namespace TarnCPU::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace TarnCPU {

HWY_EXPORT(Split3);
HWY_EXPORT(Split4);

namespace {

constexpr int kRgb = 1, kBgr = 2, kRgba = 8;

}  // namespace

Mat Mat::from_pixels(const unsigned char* pixels, int type, int w, int h, Allocator* allocator) {
  const int given = type & 0xFFFF, wanted = (type >> 16) & 0xFFFF;
  const bool known_given = given == kRgb || given == kBgr || given == kRgba;
  if (!known_given || (wanted != 0 && wanted != kRgb && wanted != kBgr)) {
    Tarn::_LogError("Tarn", "Mat::from_pixels: type 0x%x is not supported", static_cast<unsigned>(type));
    return Mat();
  }
  const int given_order = given == kRgba ? kRgb : given;
  const bool swap = wanted != 0 && wanted != given_order;
  Mat tensor(w, h, 3, TensorShape::CHW, allocator);
  if (tensor.empty()) return tensor;
  const std::size_t count = tensor.total() / 3;
  float* const plane = static_cast<float*>(tensor.data);
  float* const planes[3] = {plane + (swap ? 2 * count : 0), plane + count,
                            plane + (swap ? 0 : 2 * count)};
  const auto split = given == kRgba ? HWY_DYNAMIC_DISPATCH(Split4) : HWY_DYNAMIC_DISPATCH(Split3);
  split(pixels, planes, count);
  return tensor;
}

}  // namespace TarnCPU
#endif  // HWY_ONCE
