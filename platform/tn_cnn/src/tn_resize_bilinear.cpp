// Bilinear resizing of packed bytes.

#include "tn_resize.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "platform/tn_cnn/src/tn_resize_bilinear.cpp"
#include "hwy/foreach_target.h"  // compiles this file again for every CPU target
// After foreach_target.h, so that each target includes them again.
#include "common/tn_resize-inl.h"
#include "hwy/highway.h"

HWY_BEFORE_NAMESPACE();
namespace TarnCPU::HWY_NAMESPACE {
namespace {

void ResizeC1(const ResizeJob& job) { ResizeBilinear<1>(job); }
void ResizeC2(const ResizeJob& job) { ResizeBilinear<2>(job); }
void ResizeC3(const ResizeJob& job) { ResizeBilinear<3>(job); }
void ResizeC4(const ResizeJob& job) { ResizeBilinear<4>(job); }

}  // namespace
}  // namespace TarnCPU::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace TarnCPU {

HWY_EXPORT(ResizeC1);
HWY_EXPORT(ResizeC2);
HWY_EXPORT(ResizeC3);
HWY_EXPORT(ResizeC4);

void resize_bilinear_c1(const unsigned char* src, int sw, int sh, unsigned char* dst, int dw, int dh) {
  if (dw < 1 || dh < 1) return;
  HWY_DYNAMIC_DISPATCH(ResizeC1)({src, sw, sh, dst, dw, dh});
}

void resize_bilinear_c2(const unsigned char* src, int sw, int sh, unsigned char* dst, int dw, int dh) {
  if (dw < 1 || dh < 1) return;
  HWY_DYNAMIC_DISPATCH(ResizeC2)({src, sw, sh, dst, dw, dh});
}

void resize_bilinear_c3(const unsigned char* src, int sw, int sh, unsigned char* dst, int dw, int dh) {
  if (dw < 1 || dh < 1) return;
  HWY_DYNAMIC_DISPATCH(ResizeC3)({src, sw, sh, dst, dw, dh});
}

void resize_bilinear_c4(const unsigned char* src, int sw, int sh, unsigned char* dst, int dw, int dh) {
  if (dw < 1 || dh < 1) return;
  HWY_DYNAMIC_DISPATCH(ResizeC4)({src, sw, sh, dst, dw, dh});
}

}  // namespace TarnCPU
#endif  // HWY_ONCE
