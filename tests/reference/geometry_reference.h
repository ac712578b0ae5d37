// Plain definitions of the geometric kernels, written from their contracts.
#ifndef TN_KITS_TESTS_REFERENCE_GEOMETRY_REFERENCE_H_
#define TN_KITS_TESTS_REFERENCE_GEOMETRY_REFERENCE_H_

#include <cstdint>
#include <vector>

namespace tn_reference {

using Bytes = std::vector<std::uint8_t>;

// The turns in 4x4 blocks, onto zeros.
Bytes turnClockwise(const std::uint8_t* src, int w, int h, int c);
Bytes turnAnticlockwise(const std::uint8_t* src, int w, int h, int c);

Bytes flipHorizontal(const std::uint8_t* src, int w, int h, int c);
Bytes flipVertical(const std::uint8_t* src, int w, int h, int c);

// Rectangle (x0, y0, w, h) of an image of `src_w` pixels a row.
Bytes cutPacked(const std::uint8_t* src, int src_w, int w, int h, int x0, int y0, int c);

}  // namespace tn_reference

#endif  // TN_KITS_TESTS_REFERENCE_GEOMETRY_REFERENCE_H_
