// From a box of the upright picture to the same box of the frame as it is stored.
#include "tn_cv.h"
#include "tn_image.h"

namespace TarnCPU {

void TN_CV::rectify_cropbox(const _TN_Image* image, int& left, int& top, int& right, int& bottom,
                            int& box_width, int& box_height) {
  const auto asks = [image](unsigned bits) { return (image->orient & bits) != 0; };
  const bool swapped = asks(TN_ORIENT_ANTI_ROTATE_90 | TN_ORIENT_ROTATE_90);
  const int upright_width = swapped ? image->height : image->width;
  const int upright_height = swapped ? image->width : image->height;
  const int bw = box_width, bh = box_height;

  // The mirror came last when the picture was made upright, so it is undone first.
  int l = left, t = top, r = right, b = bottom;
  if (asks(TN_ORIENT_FLIP_V)) {
    t = upright_height - top - bh;
    b = upright_height - top - 1;
  } else if (asks(TN_ORIENT_FLIP_H)) {
    l = upright_width - left - bw;
    r = upright_width - left - 1;
  }

  if (asks(TN_ORIENT_ROTATE_90)) {
    left = t;
    top = upright_width - bw - l;
    right = t + bh - 1;
    bottom = upright_width - l - 1;
  } else if (asks(TN_ORIENT_ANTI_ROTATE_90)) {
    left = upright_height - bh - t;
    top = l;
    right = upright_height - t - 1;
    bottom = l + bw - 1;
  } else if (asks(TN_ORIENT_ROTATE_180 | TN_ORIENT_ROTATE_180_B)) {
    left = upright_width - r - 1;
    top = upright_height - b - 1;
    right = upright_width - l - 1;
    bottom = upright_height - t - 1;
  } else {
    left = l;
    top = t;
    right = r;
    bottom = b;
  }
}

}  // namespace TarnCPU
