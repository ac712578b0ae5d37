// Rows of the stateless pixel kernels of tn_cv.h.
#include <algorithm>
#include <cstring>

#include "tests/hashes/digest.h"
#include "tn_cv.h"

namespace tn_test {
namespace {

using namespace TarnCPU;

struct Size {
  int w, h;
};
// The least, odd ones, and some beyond the widest vectors with and without a tail.
constexpr Size kSizes[] = {{1, 1}, {2, 2}, {7, 5}, {16, 4}, {33, 18}, {64, 48}, {131, 71}, {320, 36}};

using ImageKernel = void (*)(const unsigned char*, int, int, unsigned char*);

// Buffers that are long enough for what the walks read and write past the image.
void yuvToRgb(Digest& digest, ImageKernel kernel) {
  for (const auto [w, h] : kSizes) {
    const Bytes& src = fixedBytes(count(w) * count(2 * h + 1) + 8);
    Bytes dst = untouched(3 * count(w) * count(h + 2));
    kernel(src.data(), w, h, dst.data());
    digest.add(dst);
  }
}

void turn(Digest& digest, ImageKernel kernel, int channels) {
  for (const auto [w, h] : kSizes) {
    const Bytes& src = fixedBytes(count(w * h * channels));
    Bytes dst = untouched(src.size());
    kernel(src.data(), w, h, dst.data());
    digest.add(dst);
  }
}

void mirror(Digest& digest, void (*kernel)(const unsigned char*, int, int, unsigned char*, int)) {
  for (const auto [w, h] : kSizes)
    for (const int channels : {1, 2, 3, 4}) {
      const Bytes& src = fixedBytes(count(w * h * channels));
      Bytes dst = untouched(src.size());
      kernel(src.data(), w, h, dst.data(), channels);
      digest.add(dst);
    }
}

void cutPlanes(Digest& digest) {
  for (const auto [w, h] : kSizes) {
    const int cut_w = (w + 1) / 2, cut_h = (h + 1) / 2;
    std::vector<float> src(count(3 * w * h)), dst(count(3 * cut_w * cut_h));
    const Bytes& bits = fixedBytes(src.size() * sizeof(float));
    std::memcpy(src.data(), bits.data(), bits.size());
    TN_CV::cut_sub_img_inchw_outchw(src.data(), w, h, dst.data(), cut_w, cut_h, w - cut_w, h - cut_h, 3);
    digest.add(dst.data(), dst.size() * sizeof(float));
  }
}

void cutPixels(Digest& digest) {
  for (const auto [w, h] : kSizes)
    for (const int channels : {1, 3, 4}) {
      const int cut_w = (w + 1) / 2, cut_h = (h + 1) / 2;
      const Bytes& src = fixedBytes(count(w * h * channels));
      Bytes dst = untouched(count(cut_w * cut_h * channels));
      TN_CV::cut_sub_img_inhwc_outhwc(src.data(), w, h, dst.data(), cut_w, cut_h, w - cut_w, h - cut_h,
                                      channels);
      digest.add(dst);
    }
}

void resizePairs(Digest& digest) {
  for (const auto [sw, sh] : kSizes)
    for (const auto [dw, dh] : kSizes) {
      const Bytes& src = fixedBytes(2 * count(sw * sh));
      Bytes dst = untouched(2 * count(dw * dh));
      TN_CV::resize_bilinear_c2(src.data(), sw, sh, dst.data(), dw, dh);
      digest.add(dst);
    }
}

// Bytes of all values, then pure greys, whose sums in the grey conversion end beside integers.
void recolour(Digest& digest, void (*kernel)(const unsigned char*, unsigned char*, int), int step,
              int planes) {
  for (const int n : {1, 15, 63, 64, 65, 1000, 4096}) {
    Bytes src = fixedBytes(count(n * step));
    for (int pixel = n / 2; pixel < n; ++pixel)
      std::fill_n(src.begin() + pixel * step, step, static_cast<std::uint8_t>(pixel));
    Bytes dst = untouched(count(n * planes));
    kernel(src.data(), dst.data(), n);
    digest.add(dst);
  }
}

// Of pixels that are only read.
_TN_Image image(int format, std::uint32_t orient, Size size, const Bytes& bytes) {
  return {orient, format, size.w, size.h, 0, const_cast<std::uint8_t*>(bytes.data())};
}

constexpr int kFormats[] = {TN_PIX_FMT_YUVI420, TN_PIX_FMT_BGRA, TN_PIX_FMT_RGBA, TN_PIX_FMT_NV12,
                            TN_PIX_FMT_NV21,    TN_PIX_FMT_BGR,  TN_PIX_FMT_RGB};
constexpr std::uint32_t kOrients[] = {0,
                                      TN_ORIENT_ANTI_ROTATE_90,
                                      TN_ORIENT_ROTATE_90,
                                      TN_ORIENT_ROTATE_180,
                                      TN_ORIENT_FLIP_V,
                                      TN_ORIENT_ROTATE_90 | TN_ORIENT_FLIP_H,
                                      TN_ORIENT_ROTATE_180_B | TN_ORIENT_FLIP_V | TN_ORIENT_FLIP_H};

// `prepare` turns an image into a tensor of the given size, with work buffers of the most that it takes.
void networkInput(Digest& digest,
                  void (*prepare)(const _TN_Image*, Mat&, int to_bgr, Size, Bytes& a, Bytes& b)) {
  constexpr Size kFrames[] = {{2, 2}, {37, 23}, {160, 90}}, kTensors[] = {{16, 16}, {64, 64}, {30, 18}};
  Mat out;
  for (const int format : kFormats)
    for (const std::uint32_t orient : kOrients)
      for (const Size frame : kFrames)
        for (const Size size : kTensors) {
          const Bytes& pixels = fixedBytes(4 * count(frame.w * frame.h));
          Bytes a = untouched(4 * count(size.w * size.h)), b = a;
          const _TN_Image input = image(format, orient, frame, pixels);
          prepare(&input, out, static_cast<int>(orient % 3), size, a, b);
          digest.add(out.data, out.total() * sizeof(float));
        }
}

void wholeFrame(const _TN_Image* frame, Mat& out, int to_bgr, Size size, Bytes& a, Bytes& b) {
  TN_CV::getInMat(frame, out, to_bgr, size.w, size.h, a.data(), b.data());
}

// Inside the frame, and reaching outside.
void partOfFrame(const _TN_Image* frame, Mat& out, int to_bgr, Size size, Bytes& a, Bytes& b) {
  const bool outside = frame->width > 2 * size.w;
  int left = outside ? -5 : frame->width / 4, top = outside ? -3 : 0;
  int right = outside ? frame->width + 2 : frame->width / 2, bottom = frame->height / 2;
  TN_CV::getInMat_m1(frame, out, to_bgr, size.w, size.h, a.data(), b.data(), left, top, right, bottom,
                     outside);
}

void cropBoxes(Digest& digest) {
  const Bytes none(1);
  for (std::uint32_t orient = 0; orient < 128; ++orient) {
    const _TN_Image frame = image(TN_PIX_FMT_NV12, orient, {640, 360}, none);
    int corners[] = {10, 20, 109, 219}, width = 100, height = 200;
    TN_CV::rectify_cropbox(&frame, corners[0], corners[1], corners[2], corners[3], width, height);
    for (const int corner : corners) digest.add(std::int64_t{corner});
  }
}

// Floats from 0 to 255 in quarters.
Mat fixedTensor(int w, int h, int c) {
  Mat tensor(w, h, c);
  const Bytes& bytes = fixedBytes(tensor.total());
  for (std::size_t i = 0; i < bytes.size(); ++i)
    static_cast<float*>(tensor.data)[i] =
        static_cast<float>(bytes[i]) + 0.25f * static_cast<float>(i % 4);
  return tensor;
}

void paste(Digest& digest) {
  for (const auto [w, h] : kSizes) {
    Bytes dst = untouched(12 * count(w + 5) * count(h + 8));
    TN_CV::cover_mid_img_with_littleImg_inMat_outFloatPointer(reinterpret_cast<float*>(dst.data()),
                                                              w + 5, h + 8, fixedTensor(w, h, 3));
    digest.add(dst);
  }
}

// Identity, a small turn, a shrinking mirror, and one that mostly misses the source.
void warp(Digest& digest, decltype(&affine) kernel, bool one_size) {
  constexpr float kMatrices[][6] = {{1, 0, 0, 0, 1, 0},
                                    {0.9f, -0.31f, 0.05f, 0.31f, 0.9f, -0.1f},
                                    {-1.7f, 0.02f, 0.3f, 0.01f, 1.6f, 0},
                                    {3.3f, 2.1f, 1.4f, -2.2f, 3.1f, -0.9f}};
  for (const float* matrix : kMatrices)
    for (const auto [w, h] : kSizes) {
      if (w < 2 || h < 2) continue;
      const Mat src = one_size ? fixedTensor(w, h, 3) : fixedTensor(41, 29, 3), dst(w, h, 3);
      kernel(src, dst, matrix);
      digest.add(dst.data, dst.total() * sizeof(float));
    }
}

}  // namespace

std::vector<HashRow> pixelRows() {
  return {
      {"nv12_to_rgb_fast_asm", [](Digest& d) { yuvToRgb(d, TN_CV::nv12_to_rgb_fast_asm); }},
      {"yuv420sp_to_rgb_fast_asm", [](Digest& d) { yuvToRgb(d, TN_CV::yuv420sp_to_rgb_fast_asm); }},
      {"yuv420f_to_rgb", [](Digest& d) { yuvToRgb(d, TN_CV::yuv420f_to_rgb); }},
      {"rotate90_intrinsics_3_channel",
       [](Digest& d) { turn(d, TN_CV::rotate90_intrinsics_3_channel, 3); }},
      {"rotate90_intrinsics_4_channel",
       [](Digest& d) { turn(d, TN_CV::rotate90_intrinsics_4_channel, 4); }},
      {"anti_rotate90_intrinsics_3_channel",
       [](Digest& d) { turn(d, TN_CV::anti_rotate90_intrinsics_3_channel, 3); }},
      {"anti_rotate90_intrinsics_4_channel",
       [](Digest& d) { turn(d, TN_CV::anti_rotate90_intrinsics_4_channel, 4); }},
      {"flip_horizontal", [](Digest& d) { mirror(d, TN_CV::flip_horizontal); }},
      {"flip_vertical", [](Digest& d) { mirror(d, TN_CV::flip_vertical); }},
      {"cut_sub_img_inchw_outchw", cutPlanes},
      {"cut_sub_img_inhwc_outhwc", cutPixels},
      {"TN_CV::resize_bilinear_c2", resizePairs},
      {"getGray_from_BGRA_HWC", [](Digest& d) { recolour(d, getGray_from_BGRA_HWC, 4, 1); }},
      {"getGray_from_RGBA_HWC", [](Digest& d) { recolour(d, getGray_from_RGBA_HWC, 4, 1); }},
      {"getGray_from_RGB_HWC", [](Digest& d) { recolour(d, getGray_from_RGB_HWC, 3, 1); }},
      {"getRGB_CHW_from_BGRA_HWC", [](Digest& d) { recolour(d, getRGB_CHW_from_BGRA_HWC, 4, 3); }},
      {"getRGB_CHW_from_RGBA_HWC", [](Digest& d) { recolour(d, getRGB_CHW_from_RGBA_HWC, 4, 3); }},
      {"getRGB_CHW_from_RGB_HWC", [](Digest& d) { recolour(d, getRGB_CHW_from_RGB_HWC, 3, 3); }},
      {"getInMat", [](Digest& d) { networkInput(d, wholeFrame); }},
      {"getInMat_m1", [](Digest& d) { networkInput(d, partOfFrame); }},
      {"rectify_cropbox", cropBoxes},
      {"cover_mid_img_with_littleImg_inMat_outFloatPointer", paste},
      {"affine", [](Digest& d) { warp(d, affine, false); }},
      {"affine_optimized", [](Digest& d) { warp(d, affine_optimized, false); }},
      {"affine_sse", [](Digest& d) { warp(d, affine_sse, true); }},
      {"affine_sse_hwc", [](Digest& d) { warp(d, affine_sse_hwc, true); }},
  };
}

}  // namespace tn_test
