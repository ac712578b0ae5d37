// Rows of the network library's tensors and byte resizers.
#include "tests/hashes/digest.h"
#include "tn_cnn.h"

namespace tn_test {
namespace {

using namespace TarnCPU;

struct Size {
  int w, h;
};
constexpr Size kSizes[] = {{1, 1}, {3, 2}, {16, 9}, {67, 40}, {160, 90}};

void resize(Digest& digest, decltype(&resize_bilinear_c1) kernel, int channels) {
  for (const auto [sw, sh] : kSizes)
    for (const auto [dw, dh] : kSizes) {
      const Bytes& src = fixedBytes(count(sw * sh * channels));
      Bytes dst = untouched(count(dw * dh * channels));
      kernel(src.data(), sw, sh, dst.data(), dw, dh);
      digest.add(dst);
    }
}

void cropResize(Digest& digest, decltype(&crop_resize_nearest_c1) kernel, int channels) {
  for (const auto [sw, sh] : kSizes)
    for (const auto [dw, dh] : kSizes) {
      const Bytes& src = fixedBytes(count(sw * sh * channels));
      for (const int margin : {-1, 0, 5}) {  // below 0: inside the source
        Bytes dst = untouched(count(dw * dh * channels));
        kernel(src.data(), sw, sh, dst.data(), dw, dh, -margin, -margin, sw - 1 + margin,
               sh - 1 + margin);
        digest.add(dst);
      }
    }
}

void tensorsFromPixels(Digest& digest) {
  constexpr int kGiven[] = {1, 2, 8};
  for (const auto [w, h] : kSizes)
    for (const int given : kGiven)
      for (const int wanted : {0, 1, 2}) {
        const Bytes& pixels = fixedBytes(count(w * h * (given == 8 ? 4 : 3)));
        const Mat tensor = Mat::from_pixels(pixels.data(), given | wanted << 16, w, h);
        digest.add(tensor.data, tensor.total() * sizeof(float));
      }
}

}  // namespace

std::vector<HashRow> platformRows() {
  return {
      {"resize_bilinear_c1", [](Digest& d) { resize(d, resize_bilinear_c1, 1); }},
      {"TarnCPU::resize_bilinear_c2", [](Digest& d) { resize(d, resize_bilinear_c2, 2); }},
      {"resize_bilinear_c3", [](Digest& d) { resize(d, resize_bilinear_c3, 3); }},
      {"resize_bilinear_c4", [](Digest& d) { resize(d, resize_bilinear_c4, 4); }},
      {"resize_nearest_c1", [](Digest& d) { resize(d, resize_nearest_c1, 1); }},
      {"crop_resize_nearest_c1", [](Digest& d) { cropResize(d, crop_resize_nearest_c1, 1); }},
      {"crop_resize_nearest_c3", [](Digest& d) { cropResize(d, crop_resize_nearest_c3, 3); }},
      {"crop_resize_nearest_c4", [](Digest& d) { cropResize(d, crop_resize_nearest_c4, 4); }},
      {"Mat::from_pixels", tensorsFromPixels},
  };
}

}  // namespace tn_test
