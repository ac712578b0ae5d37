// Turns, mirrors, cuts and the pair resizer beside the libraries that people would otherwise use, on one
// thread. The memcpy contestant moves the bytes that the job must read once and write once: the limit.

#include <benchmark/benchmark.h>
#include <hwy/aligned_allocator.h>
#include <libyuv.h>

#include <cstdint>
#include <cstring>
#include <functional>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <string>

#include "benchmarks/benchmark_main.h"
#include "tn_cv.h"

namespace {

using TarnCPU::TN_CV;
using Job = std::function<void()>;

constexpr int kMaxWidth = 1920, kMaxHeight = 1080;
constexpr std::size_t kBufferBytes = std::size_t{kMaxWidth} * kMaxHeight * 3 * sizeof(float);

// All contestants use the same two buffers, so none is favoured by where its pages happen to lie.
std::uint8_t* buffer(std::size_t which) {
  static const hwy::AlignedFreeUniquePtr<std::uint8_t[]> buffers[2] = {
      hwy::AllocateAligned<std::uint8_t>(kBufferBytes),
      hwy::AllocateAligned<std::uint8_t>(kBufferBytes)};
  static const bool filled = [] {
    for (std::size_t i = 0; i < kBufferBytes; ++i) {
      buffers[0][i] = static_cast<std::uint8_t>((i * 2654435761u) >> 13);
      buffers[1][i] = 0;
    }
    return true;
  }();
  static_cast<void>(filled);
  return buffers[which].get();
}
std::uint8_t* source() { return buffer(0); }
std::uint8_t* destination() { return buffer(1); }

void add(const std::string& row, const char* contestant, Job job) {
  benchmark::RegisterBenchmark((row + "/" + contestant).c_str(), [job](benchmark::State& state) {
    for (auto _ : state) {
      job();
      benchmark::ClobberMemory();
    }
  })->Unit(benchmark::kMicrosecond);
}

void addLimit(const std::string& row, std::size_t bytes_read, std::size_t bytes_written) {
  // A copy reads and writes the same number of bytes; where the job's two differ, it moves half their
  // sum.
  const std::size_t bytes = (bytes_read + bytes_written) / 2;
  add(row, "memcpy", [bytes] { std::memcpy(destination(), source(), bytes); });
}

cv::Mat image(std::uint8_t* pixels, int w, int h, int type) { return cv::Mat(h, w, type, pixels); }

std::string sized(const char* name, int w, int h) {
  return std::string(name) + " " + std::to_string(w) + "x" + std::to_string(h);
}

void addTurns(int w, int h) {
  using Turn = void (*)(const unsigned char*, int, int, unsigned char*);
  struct Case {
    const char* name;
    Turn turn;
    int c, code;
    libyuv::RotationMode mode;
  };
  static const Case cases[] = {
      {"rotate90 3ch", TN_CV::rotate90_intrinsics_3_channel, 3, cv::ROTATE_90_CLOCKWISE,
       libyuv::kRotate90},
      {"rotate90 4ch", TN_CV::rotate90_intrinsics_4_channel, 4, cv::ROTATE_90_CLOCKWISE,
       libyuv::kRotate90},
      {"anti_rotate90 3ch", TN_CV::anti_rotate90_intrinsics_3_channel, 3, cv::ROTATE_90_COUNTERCLOCKWISE,
       libyuv::kRotate270},
      {"anti_rotate90 4ch", TN_CV::anti_rotate90_intrinsics_4_channel, 4, cv::ROTATE_90_COUNTERCLOCKWISE,
       libyuv::kRotate270},
  };
  for (const Case& k : cases) {
    const std::string row = sized(k.name, w, h);
    const std::size_t bytes = std::size_t(w) * std::size_t(h) * std::size_t(k.c);
    add(row, "tn_kits", [=] { k.turn(source(), w, h, destination()); });
    if (k.c == 4)
      add(row, "libyuv",
          [=] { libyuv::ARGBRotate(source(), 4 * w, destination(), 4 * h, w, h, k.mode); });
    add(row, "opencv", [=] {
      cv::Mat out = image(destination(), h, w, CV_8UC(k.c));
      cv::rotate(image(source(), w, h, CV_8UC(k.c)), out, k.code);
    });
    addLimit(row, bytes, bytes);
  }
}

void addFlips(int w, int h) {
  for (int c : {1, 3, 4}) {
    const std::size_t bytes = std::size_t(w) * std::size_t(h) * std::size_t(c);
    const std::string suffix = " " + std::to_string(c) + "ch";
    const std::string across = sized(("flip_horizontal" + suffix).c_str(), w, h);
    add(across, "tn_kits", [=] { TN_CV::flip_horizontal(source(), w, h, destination(), c); });
    add(across, "libyuv", [=] {
      const auto mirror = c == 3 ? libyuv::RGB24Mirror : libyuv::ARGBMirror;
      if (c == 1)
        libyuv::MirrorPlane(source(), w, destination(), w, w, h);
      else
        mirror(source(), c * w, destination(), c * w, w, h);
    });
    add(across, "opencv", [=] {
      cv::Mat out = image(destination(), w, h, CV_8UC(c));
      cv::flip(image(source(), w, h, CV_8UC(c)), out, 1);
    });
    addLimit(across, bytes, bytes);
    if (c == 1) continue;  // up and down, a row is a row whatever its channels

    const std::string down = sized(("flip_vertical" + suffix).c_str(), w, h);
    add(down, "tn_kits", [=] { TN_CV::flip_vertical(source(), w, h, destination(), c); });
    add(down, "libyuv", [=] { libyuv::CopyPlane(source(), c * w, destination(), c * w, c * w, -h); });
    add(down, "opencv", [=] {
      cv::Mat out = image(destination(), w, h, CV_8UC(c));
      cv::flip(image(source(), w, h, CV_8UC(c)), out, 0);
    });
    addLimit(down, bytes, bytes);
  }
}

// Cuts the middle: three quarters of the width and of the height.
void addCuts(int w, int h) {
  const int cw = w / 4 * 3, ch = h / 4 * 3, x = w / 8, y = h / 8;
  const cv::Rect box(x, y, cw, ch);
  const std::size_t pixels = std::size_t(cw) * std::size_t(ch);

  const std::string packed = sized("cut_packed 3ch", w, h);
  add(packed, "tn_kits",
      [=] { TN_CV::cut_sub_img_inhwc_outhwc(source(), w, h, destination(), cw, ch, x, y, 3); });
  add(packed, "libyuv",
      [=] { libyuv::CopyPlane(source() + 3 * (y * w + x), 3 * w, destination(), 3 * cw, 3 * cw, ch); });
  add(packed, "opencv", [=] {
    cv::Mat out = image(destination(), cw, ch, CV_8UC3);
    image(source(), w, h, CV_8UC3)(box).copyTo(out);
  });
  addLimit(packed, 3 * pixels, 3 * pixels);

  const std::string planar = sized("cut_planar 3ch", w, h);
  add(planar, "tn_kits", [=] {
    TN_CV::cut_sub_img_inchw_outchw(reinterpret_cast<const float*>(source()), w, h,
                                    reinterpret_cast<float*>(destination()), cw, ch, x, y, 3);
  });
  add(planar, "libyuv", [=] {
    for (int k = 0; k < 3; ++k)
      libyuv::CopyPlane(source() + 4 * ((k * h + y) * w + x), 4 * w, destination() + 4 * k * cw * ch,
                        4 * cw, 4 * cw, ch);
  });
  add(planar, "opencv", [=] {
    for (int k = 0; k < 3; ++k) {
      cv::Mat out = image(destination() + 4 * k * cw * ch, cw, ch, CV_32FC1);
      image(source() + 4 * k * w * h, w, h, CV_32FC1)(box).copyTo(out);
    }
  });
  addLimit(planar, 12 * pixels, 12 * pixels);
}

void addResize(int sw, int sh, int dw, int dh) {
  const std::string row = sized("resize_bilinear_c2", sw, sh) + sized(" to", dw, dh);
  add(row, "tn_kits", [=] { TN_CV::resize_bilinear_c2(source(), sw, sh, destination(), dw, dh); });
  add(row, "libyuv", [=] {
    libyuv::UVScale(source(), 2 * sw, sw, sh, destination(), 2 * dw, dw, dh, libyuv::kFilterBilinear);
  });
  add(row, "opencv", [=] {
    cv::Mat out = image(destination(), dw, dh, CV_8UC2);
    cv::resize(image(source(), sw, sh, CV_8UC2), out, cv::Size(dw, dh), 0, 0, cv::INTER_LINEAR);
  });
  addLimit(row, 2 * std::size_t(sw) * std::size_t(sh), 2 * std::size_t(dw) * std::size_t(dh));
}

}  // namespace

void registerRows() {
  cv::setNumThreads(1);

  addTurns(1920, 1080);
  addTurns(640, 640);
  addFlips(1920, 1080);
  addFlips(640, 480);
  addCuts(1920, 1080);
  addCuts(640, 480);
  addResize(960, 540, 320, 320);
  addResize(960, 540, 640, 360);
  addResize(320, 240, 640, 480);
}
