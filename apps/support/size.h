// Sizes of frames, pictures and tensors.
#ifndef TN_KITS_APPS_SUPPORT_SIZE_H_
#define TN_KITS_APPS_SUPPORT_SIZE_H_

#include <string>

namespace tarnkit {

struct Size {
  int width = 0, height = 0;
};

// "640x480".
inline std::string sizeText(const Size& size) {
  return std::to_string(size.width) + "x" + std::to_string(size.height);
}

}  // namespace tarnkit

#endif  // TN_KITS_APPS_SUPPORT_SIZE_H_
