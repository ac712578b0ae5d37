// Sizes of frames, pictures and tensors, and how messages show them.
#ifndef TN_KITS_APPS_SUPPORT_SIZE_H_
#define TN_KITS_APPS_SUPPORT_SIZE_H_

#include <string>
#include <vector>

namespace tarnkit {

struct Size {
  int width = 0, height = 0;
};

// "640x480".
inline std::string sizeText(const Size& size) {
  return std::to_string(size.width) + "x" + std::to_string(size.height);
}

// "1x3x?x?": a size below 1 is open, or none.
inline std::string shapeText(const std::vector<int>& shape) {
  std::string text;
  for (const int size : shape)
    text += (text.empty() ? "" : "x") + (size < 1 ? std::string("?") : std::to_string(size));
  return text;
}

}  // namespace tarnkit

#endif  // TN_KITS_APPS_SUPPORT_SIZE_H_
