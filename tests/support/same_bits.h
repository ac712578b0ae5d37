// Equality of floats, and of boxes made of them, to the bit.
#ifndef TN_KITS_TESTS_SUPPORT_SAME_BITS_H_
#define TN_KITS_TESTS_SUPPORT_SAME_BITS_H_

#include <cmath>
#include <cstring>

#include "tn_boxtracker.h"

namespace tn_test {

// Except that every NaN is as good as another: which of two operands' payloads comes out is the
// compiler's choice.
template <class Real>
bool sameBits(Real a, Real b) {
  return (std::isnan(a) && std::isnan(b)) || std::memcmp(&a, &b, sizeof(Real)) == 0;
}

inline bool sameBox(const Tarn::TarnBoundingBox2D& a, const Tarn::TarnBoundingBox2D& b) {
  return sameBits(a.x, b.x) && sameBits(a.y, b.y) && sameBits(a.w, b.w) && sameBits(a.h, b.h) &&
         sameBits(a.score, b.score) && a.label == b.label;
}
inline bool sameBox(const Tarn::TarnIdentifiedBox& a, const Tarn::TarnIdentifiedBox& b) {
  const Tarn::TarnBoundingBox2D &box_a = a, &box_b = b;
  return sameBox(box_a, box_b) && a.id == b.id;
}

}  // namespace tn_test

#endif  // TN_KITS_TESTS_SUPPORT_SAME_BITS_H_
