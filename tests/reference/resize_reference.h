// Plain definitions of the byte resizers, written from their contracts.
#ifndef TN_KITS_TESTS_REFERENCE_RESIZE_REFERENCE_H_
#define TN_KITS_TESTS_REFERENCE_RESIZE_REFERENCE_H_

#include <cstdint>
#include <vector>

namespace tn_reference {

using Bytes = std::vector<std::uint8_t>;

Bytes resizeBilinear(const std::uint8_t* src, int sw, int sh, int dw, int dh, int c);

// Inclusive corners.
struct Rectangle {
  int left, top, right, bottom;
};

// `background`: the destination as it was.
Bytes cropResizeNearest(const std::uint8_t* src, int sw, int sh, Bytes background, int dw, int dh, int c,
                        const Rectangle& crop);

Bytes resizeNearest(const std::uint8_t* src, int sw, int sh, int dw, int dh, int c);

}  // namespace tn_reference

#endif  // TN_KITS_TESTS_REFERENCE_RESIZE_REFERENCE_H_
