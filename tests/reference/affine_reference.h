// Plain definitions of the affine warps, written from their contracts: pixel by pixel, without tables.
#ifndef TN_KITS_TESTS_REFERENCE_AFFINE_REFERENCE_H_
#define TN_KITS_TESTS_REFERENCE_AFFINE_REFERENCE_H_

#include <vector>

namespace tn_reference {

// c planes of h rows of w floats.
struct Planes {
  int w, h, c;
  std::vector<float> values;
};

// All fill dst.values, which has the right size; m are the six floats of the matrix.
void warpZeroBorder(const Planes& src, Planes& dst, const float* m);           // affine
void warpZeroBorderOptimized(const Planes& src, Planes& dst, const float* m);  // affine_optimized
void warpExtrapolating(const Planes& src, Planes& dst, const float* m);        // affine_sse
void warpReplicating(const Planes& src, Planes& dst, const float* m);          // affine_sse_hwc

}  // namespace tn_reference

#endif  // TN_KITS_TESTS_REFERENCE_AFFINE_REFERENCE_H_
