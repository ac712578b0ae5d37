// The byte resizers, and float tensors made of packed pixels, beside libyuv and OpenCV on one thread.
// The memcpy contestant copies as many bytes as the job must read and write: the limit.

#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>
#include <vector>

#include "benchmarks/benchmark_main.h"
#include "benchmarks/peers.h"
#include "tn_cnn.h"

namespace {

std::string rowName(const char* name, int sw, int sh, int dw, int dh) {
  return std::string(name) + " " + sizeName(sw, sh) + " to " + sizeName(dw, dh);
}

using Resize = void (*)(const unsigned char*, int, int, unsigned char*, int, int);

void addPeers(const std::string& row, int c, int sw, int sh, int dw, int dh, int interpolation,
              libyuv::FilterMode filter) {
  addRow(row, "opencv", [=] {
    cv::Mat out = picture(destinationBytes(), dw, dh, c);
    cv::resize(picture(sourceBytes(), sw, sh, c), out, cv::Size(dw, dh), 0, 0, interpolation);
  });
  if (c == 1)
    addRow(row, "libyuv", [=] {
      libyuv::ScalePlane(sourceBytes(), sw, sw, sh, destinationBytes(), dw, dw, dh, filter);
    });
  else if (c == 2)
    addRow(row, "libyuv", [=] {
      libyuv::UVScale(sourceBytes(), 2 * sw, sw, sh, destinationBytes(), 2 * dw, dw, dh, filter);
    });
  else if (c == 4)
    addRow(row, "libyuv", [=] {
      libyuv::ARGBScale(sourceBytes(), 4 * sw, sw, sh, destinationBytes(), 4 * dw, dw, dh, filter);
    });
  addLimit(row, Tarn::resizeExtents(sw, sh, dw, dh, c));
}

void addBilinear(int sw, int sh, int dw, int dh) {
  static const struct {
    const char* name;
    int c;
    Resize resize;
  } kernels[] = {{"resize_bilinear_c1", 1, TarnCPU::resize_bilinear_c1},
                 {"cnn_resize_bilinear_c2", 2, TarnCPU::resize_bilinear_c2},
                 {"resize_bilinear_c3", 3, TarnCPU::resize_bilinear_c3},
                 {"resize_bilinear_c4", 4, TarnCPU::resize_bilinear_c4}};
  for (const auto& kernel : kernels) {
    const std::string row = rowName(kernel.name, sw, sh, dw, dh);
    const Resize resize = kernel.resize;
    addRow(row, "tn_kits", [=] { resize(sourceBytes(), sw, sh, destinationBytes(), dw, dh); });
    addPeers(row, kernel.c, sw, sh, dw, dh, cv::INTER_LINEAR, libyuv::kFilterBilinear);
  }
}

void addNearest(int sw, int sh, int dw, int dh) {
  const std::string row = rowName("resize_nearest_c1", sw, sh, dw, dh);
  addRow(row, "tn_kits",
         [=] { TarnCPU::resize_nearest_c1(sourceBytes(), sw, sh, destinationBytes(), dw, dh); });
  addPeers(row, 1, sw, sh, dw, dh, cv::INTER_NEAREST, libyuv::kFilterNone);
}

// The middle of the picture: half its width, all its height.
void addCropNearest(int sw, int sh, int dw, int dh) {
  using Crop = void (*)(const unsigned char*, int, int, unsigned char*, int, int, int, int, int, int);
  static const struct {
    const char* name;
    int c;
    Crop crop;
  } kernels[] = {{"crop_resize_nearest_c1", 1, TarnCPU::crop_resize_nearest_c1},
                 {"crop_resize_nearest_c3", 3, TarnCPU::crop_resize_nearest_c3},
                 {"crop_resize_nearest_c4", 4, TarnCPU::crop_resize_nearest_c4}};
  const int left = sw / 4, cw = sw / 2;
  for (const auto& kernel : kernels) {
    const std::string row = rowName(kernel.name, sw, sh, dw, dh);
    const Crop crop = kernel.crop;
    const int c = kernel.c;
    addRow(row, "tn_kits", [=] {
      crop(sourceBytes(), sw, sh, destinationBytes(), dw, dh, left, 0, left + cw - 1, sh - 1);
    });
    addRow(row, "opencv", [=] {
      cv::Mat out = picture(destinationBytes(), dw, dh, c);
      cv::resize(picture(sourceBytes(), sw, sh, c)(cv::Rect(left, 0, cw, sh)), out, cv::Size(dw, dh), 0,
                 0, cv::INTER_NEAREST);
    });
    addLimit(row, Tarn::resizeExtents(cw, sh, dw, dh, c));
  }
}

// The peers write into planes that they are given; ours asks for its tensor's memory each time.
void addTensor(const char* name, int type, int c, int w, int h) {
  const std::string row = std::string(name) + " " + sizeName(w, h);
  const auto planes = [=] {
    std::vector<cv::Mat> out;
    for (std::size_t k = 0; k < 3; ++k)
      out.emplace_back(h, w, CV_32FC1, destinationBytes() + k * Tarn::tensorExtent(w, h, 1).bytes);
    return out;
  };
  const int dropped = c - 3;
  addRow(row, "tn_kits", [=] {
    TarnCPU::Mat tensor = TarnCPU::Mat::from_pixels(sourceBytes(), type, w, h);
    benchmark::DoNotOptimize(tensor.data);
  });
  addRow(row, "opencv_floats+split", [=, floats = cv::Mat(), spare = cv::Mat()]() mutable {
    std::vector<cv::Mat> out = planes();
    if (dropped == 1) out.push_back(spare);
    picture(sourceBytes(), w, h, c).convertTo(floats, CV_32F);
    cv::split(floats, out);
    if (dropped == 1) spare = out[3];
  });
  addRow(row, "opencv_split+floats", [=, bytes = std::vector<cv::Mat>()]() mutable {
    std::vector<cv::Mat> out = planes();
    cv::split(picture(sourceBytes(), w, h, c), bytes);
    for (std::size_t k = 0; k < 3; ++k) bytes[k].convertTo(out[k], CV_32F);
  });
  addRow(row, "opencv_extract+floats", [=, byte = cv::Mat()]() mutable {
    std::vector<cv::Mat> out = planes();
    for (int k = 0; k < 3; ++k) {
      cv::extractChannel(picture(sourceBytes(), w, h, c), byte, k);
      byte.convertTo(out[static_cast<std::size_t>(k)], CV_32F);
    }
  });
  addLimit(row, Tarn::fromPixelsExtents(type, w, h));
}

}  // namespace

void registerRows() {
  cv::setNumThreads(1);

  addBilinear(1920, 1080, 640, 640);
  addBilinear(1280, 720, 640, 640);
  addBilinear(320, 240, 640, 480);
  addNearest(1920, 1080, 640, 640);
  addNearest(960, 540, 320, 320);
  addCropNearest(1920, 1080, 640, 640);
  addTensor("from_pixels RGB", 1, 3, 640, 640);
  addTensor("from_pixels RGB to BGR", 1 | 2 << 16, 3, 640, 640);
  addTensor("from_pixels RGBA", 8, 4, 640, 640);
}
