// Tensors that are never freed, and kernels that do nothing: enough to link and to start.
#include "tn_cnn.h"

#include <cstdlib>

namespace TarnCPU {

Allocator::~Allocator() = default;

Mat::Mat(int width, int height, int channels, TensorShape::Layout order, Allocator* memory)
    : layout(order), c(channels), h(height), w(width), elem_size(4), allocator(memory) {
  data = std::calloc(static_cast<std::size_t>(w) * static_cast<std::size_t>(h),
                     4 * static_cast<std::size_t>(c));
}
Mat::Mat(const Mat& other) { *this = other; }
Mat::Mat(Mat&& other) noexcept { *this = other; }
Mat& Mat::operator=(const Mat& other) {
  layout = other.layout;
  c = other.c;
  h = other.h;
  w = other.w;
  elem_size = other.elem_size;
  data = other.data;
  return *this;
}
Mat& Mat::operator=(Mat&& other) noexcept { return *this = static_cast<const Mat&>(other); }
Mat::~Mat() = default;
Mat Mat::from_pixels(const unsigned char*, int, int w, int h, Allocator*) { return Mat(w, h, 3); }
Mat Mat::from_float_array(const float*, int w, int h, int c, TensorShape::Layout layout, Allocator*) {
  return Mat(w, h, c, layout);
}
Mat Mat::channel(int) const { return Mat(w, h, 1); }
float* Mat::row(int) { return static_cast<float*>(data); }
const float* Mat::row(int) const { return static_cast<const float*>(data); }
std::size_t Mat::total() const { return 0; }
void Mat::release() { data = nullptr; }

void resize_bilinear_c1(const unsigned char*, int, int, unsigned char*, int, int) {}
void resize_bilinear_c2(const unsigned char*, int, int, unsigned char*, int, int) {}
void resize_bilinear_c3(const unsigned char*, int, int, unsigned char*, int, int) {}
void resize_bilinear_c4(const unsigned char*, int, int, unsigned char*, int, int) {}
void resize_nearest_c1(const unsigned char*, int, int, unsigned char*, int, int) {}
void crop_resize_nearest_c1(const unsigned char*, int, int, unsigned char*, int, int, int, int, int,
                            int) {}
void crop_resize_nearest_c3(const unsigned char*, int, int, unsigned char*, int, int, int, int, int,
                            int) {}
void crop_resize_nearest_c4(const unsigned char*, int, int, unsigned char*, int, int, int, int, int,
                            int) {}

}  // namespace TarnCPU
