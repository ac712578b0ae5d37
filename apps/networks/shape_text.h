// Shapes of tensors in messages.
#ifndef TN_KITS_APPS_NETWORKS_SHAPE_TEXT_H_
#define TN_KITS_APPS_NETWORKS_SHAPE_TEXT_H_

#include <string>
#include <vector>

namespace tarnkit {

// "1x3x?x?": a size below 1 is open, or none.
inline std::string shapeText(const std::vector<int>& shape) {
  std::string text;
  for (const int size : shape)
    text += (text.empty() ? "" : "x") + (size < 1 ? std::string("?") : std::to_string(size));
  return text;
}

}  // namespace tarnkit

#endif  // TN_KITS_APPS_NETWORKS_SHAPE_TEXT_H_
