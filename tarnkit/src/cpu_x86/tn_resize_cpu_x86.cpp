// Bilinear resizing of byte pairs.

#include "tn_cv.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "tarnkit/src/cpu_x86/tn_resize_cpu_x86.cpp"
#include "hwy/foreach_target.h"  // compiles this file again for every CPU target
// After foreach_target.h, so that each target includes them again.
#include "common/tn_resize-inl.h"
#include "hwy/highway.h"

HWY_BEFORE_NAMESPACE();
namespace TarnCPU::HWY_NAMESPACE {
namespace {

void ResizePairs(const ResizeJob& job) { ResizeBilinear<2>(job); }

}  // namespace
}  // namespace TarnCPU::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace TarnCPU {

HWY_EXPORT(ResizePairs);

void TN_CV::resize_bilinear_c2(const unsigned char* src, int sw, int sh, unsigned char* dst, int dw,
                               int dh) {
  if (dw < 1 || dh < 1) return;
  HWY_DYNAMIC_DISPATCH(ResizePairs)({src, sw, sh, dst, dw, dh});
}

}  // namespace TarnCPU
#endif  // HWY_ONCE
