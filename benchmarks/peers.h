// Steps of the peers' pipelines that several benchmarks share, each done by libyuv or by OpenCV.
#ifndef TN_KITS_BENCHMARKS_PEERS_H_
#define TN_KITS_BENCHMARKS_PEERS_H_

#include <libyuv.h>

#include <cstdint>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

enum class Library { kLibyuv, kOpenCv };

constexpr struct {
  const char* name;
  Library library;
} kLibraries[] = {{"libyuv", Library::kLibyuv}, {"opencv", Library::kOpenCv}};

// A packed picture of c bytes a pixel, without a copy.
inline cv::Mat picture(std::uint8_t* bytes, int w, int h, int c = 1) {
  return cv::Mat(h, w, CV_8UC(c), bytes);
}

inline void resizeBilinear(const cv::Mat& from, cv::Mat to) {
  cv::resize(from, to, to.size(), 0, 0, cv::INTER_LINEAR);
}

inline void resizeNv12(Library library, std::uint8_t* src, int sw, int sh, std::uint8_t* dst, int dw,
                       int dh) {
  std::uint8_t *const src_uv = src + sw * sh, *const dst_uv = dst + dw * dh;
  if (library == Library::kLibyuv) {
    libyuv::NV12Scale(src, sw, src_uv, sw, sw, sh, dst, dw, dst_uv, dw, dw, dh, libyuv::kFilterBilinear);
    return;
  }
  resizeBilinear(picture(src, sw, sh), picture(dst, dw, dh));
  resizeBilinear(picture(src_uv, sw / 2, sh / 2, 2), picture(dst_uv, dw / 2, dh / 2, 2));
}

inline void nv12ToRgb(Library library, std::uint8_t* nv12, cv::Mat& rgb) {
  const int w = rgb.cols, h = rgb.rows;
  std::uint8_t* const uv = nv12 + w * h;
  if (library == Library::kLibyuv)
    libyuv::NV12ToRAW(nv12, w, uv, w, rgb.data, 3 * w, w, h);
  else
    cv::cvtColorTwoPlane(picture(nv12, w, h), picture(uv, w / 2, h / 2, 2), rgb, cv::COLOR_YUV2RGB_NV12);
}

#endif  // TN_KITS_BENCHMARKS_PEERS_H_
