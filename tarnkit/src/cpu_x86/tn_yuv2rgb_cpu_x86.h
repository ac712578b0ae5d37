// YUV 4:2:0 to RGB for callers inside the library: the arithmetic of TN_CV's exported converters, but
// nothing is read or written past the image's end.
#ifndef TN_KITS_CPU_X86_TN_YUV2RGB_CPU_X86_H_
#define TN_KITS_CPU_X86_TN_YUV2RGB_CPU_X86_H_

#include <cstdint>

#include "tn_colormatrix.h"

namespace TarnCPU {

// Semi-planar image to packed RGB: pixel p of the w * h pixels takes luma byte p and chroma pair p / 2.
// Inside the image that equals the exported converter, so the lower half of a picture takes its chroma
// from beyond h / 2 chroma rows. y: w * h bytes. chroma: (w * h + 1) / 2 pairs, U or V first as `order`
// says. dst: w * h * 3 bytes, apart from both. Any alignment; nothing is touched beyond these sizes, and
// nothing at all when w or h is below 1.
void semiPlanarImageToRgb(const std::uint8_t* y, const std::uint8_t* chroma, int w, int h,
                          Tarn::ChromaOrder order, std::uint8_t* dst);

// Planar image to packed RGB: pixel (x, y) takes chroma sample (y / 2) * (w / 2) + x / 2 of each plane.
// With odd w the last column of dst is left as it was, and its luma is not read. y: w * h bytes. u, v:
// (w / 2) * ((h + 1) / 2) bytes each. dst: w * h * 3 bytes, apart from all three. Any alignment; nothing
// is touched beyond these sizes, and nothing at all when w or h is below 1.
void planarImageToRgb(const std::uint8_t* y, const std::uint8_t* u, const std::uint8_t* v, int w, int h,
                      std::uint8_t* dst);

}  // namespace TarnCPU

#endif  // TN_KITS_CPU_X86_TN_YUV2RGB_CPU_X86_H_
