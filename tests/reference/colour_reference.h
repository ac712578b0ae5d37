// Plain forms of the colour conversions, one sample at a time and in the documented order.
#ifndef TN_KITS_TESTS_REFERENCE_COLOUR_REFERENCE_H_
#define TN_KITS_TESTS_REFERENCE_COLOUR_REFERENCE_H_

#include <cstdint>

namespace tn_reference {

// The three bytes of one pixel.
void yuvToRgb(int y, int u, int v, std::uint8_t* rgb);

// The whole row-pair walk with its over-writes; each pass makes w steps, so its rows run into the next.
void semiPlanarWalk(const std::uint8_t* src, int w, int h, bool u_first, std::uint8_t* dst);

// The row-pair walk of planar chroma: w / 2 steps a pass, chroma positions never reset.
void planarWalk(const std::uint8_t* y, const std::uint8_t* u, const std::uint8_t* v, int w, int h,
                std::uint8_t* dst);

std::uint8_t gray(int r, int g, int b);

}  // namespace tn_reference

#endif  // TN_KITS_TESTS_REFERENCE_COLOUR_REFERENCE_H_
