// The colour kernels beside the libraries that people would otherwise use, and beside a memcpy that
// moves as many bytes (half of them read, half written) as the job must at least move: the limit.
#include <libyuv.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <functional>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <random>
#include <string>
#include <utility>
#include <vector>

extern "C" {
#include <libswscale/swscale.h>
}

#include "benchmarks/benchmark_main.h"
#include "tn_checked.h"
#include "tn_cv.h"

namespace {

using namespace TarnCPU;

// One picture size and its buffers, large enough for every job and its documented over-reach, aligned to
// cache lines as image libraries allocate.
struct Frame {
  Frame(int width, int height)
      : w(width),
        h(height),
        n(width * height),
        src_rows(1, 4 * n + 4 * w, CV_8UC1),
        dst_rows(1, 4 * n + 6 * w, CV_8UC1),
        src(src_rows.data),
        dst(dst_rows.data) {
    std::mt19937 random(1);
    for (int i = 0; i < src_rows.cols; ++i) src[i] = static_cast<std::uint8_t>(random() >> 24);
    dst_rows.setTo(0);
  }
  Frame(const Frame&) = delete;
  Frame& operator=(const Frame&) = delete;

  cv::Mat packed(int channels) const { return cv::Mat(h, w, CV_8UC(channels), src); }
  std::vector<cv::Mat> planes() const {
    return {cv::Mat(h, w, CV_8UC1, dst), cv::Mat(h, w, CV_8UC1, dst + n),
            cv::Mat(h, w, CV_8UC1, dst + 2 * n)};
  }

  int w, h, n;
  cv::Mat src_rows, dst_rows;
  std::uint8_t *src, *dst;
};

void add(const Frame& f, const std::string& row, const char* contestant, std::function<void()> job) {
  addRow(row + " " + sizeName(f.w, f.h), contestant, std::move(job));
}

void addLimit(const Frame& f, const std::string& row, int bytes_moved) {
  add(f, row, "memcpy",
      [&f, bytes_moved] { std::memcpy(f.dst, f.src, static_cast<std::size_t>(bytes_moved / 2)); });
}

void addYuv(const Frame& f) {
  const int w = f.w, h = f.h, n = f.n;
  const std::uint8_t *const y = f.src, *const uv = f.src + n, *const v = f.src + n + n / 4;

  const auto swscale = [&](const char* row, AVPixelFormat format) {
    SwsContext* const context =
        sws_getContext(w, h, format, w, h, AV_PIX_FMT_RGB24, SWS_POINT, nullptr, nullptr, nullptr);
    add(f, row, "libswscale", [&f, context, format, y, uv, v, w, h] {
      const bool planar = format == AV_PIX_FMT_YUV420P;
      const std::uint8_t* const planes[4] = {y, uv, planar ? v : nullptr, nullptr};
      const int steps[4] = {w, planar ? w / 2 : w, planar ? w / 2 : 0, 0};
      std::uint8_t* const out[4] = {f.dst, nullptr, nullptr, nullptr};
      const int out_steps[4] = {3 * w, 0, 0, 0};
      sws_scale(context, planes, steps, 0, h, out, out_steps);
    });
  };
  const auto opencv = [&](const char* row, int code) {
    add(f, row, "opencv", [&f, code, w, h] {
      cv::Mat out(h, w, CV_8UC3, f.dst);
      cv::cvtColor(cv::Mat(h + h / 2, w, CV_8UC1, f.src), out, code);
    });
  };

  add(f, "nv12_to_rgb", "tn_kits", [&f] { TN_CV::nv12_to_rgb_fast_asm(f.src, f.w, f.h, f.dst); });
  add(f, "nv12_to_rgb", "libyuv", [=, &f] { libyuv::NV12ToRAW(y, w, uv, w, f.dst, 3 * w, w, h); });
  opencv("nv12_to_rgb", cv::COLOR_YUV2RGB_NV12);
  swscale("nv12_to_rgb", AV_PIX_FMT_NV12);
  addLimit(f, "nv12_to_rgb", n * 9 / 2);

  add(f, "nv21_to_rgb", "tn_kits", [&f] { TN_CV::yuv420sp_to_rgb_fast_asm(f.src, f.w, f.h, f.dst); });
  add(f, "nv21_to_rgb", "libyuv", [=, &f] { libyuv::NV21ToRAW(y, w, uv, w, f.dst, 3 * w, w, h); });
  opencv("nv21_to_rgb", cv::COLOR_YUV2RGB_NV21);
  swscale("nv21_to_rgb", AV_PIX_FMT_NV21);
  addLimit(f, "nv21_to_rgb", n * 9 / 2);

  add(f, "i420_to_rgb", "tn_kits", [&f] { TN_CV::yuv420f_to_rgb(f.src, f.w, f.h, f.dst); });
  add(f, "i420_to_rgb", "libyuv",
      [=, &f] { libyuv::I420ToRAW(y, w, uv, w / 2, v, w / 2, f.dst, 3 * w, w, h); });
  opencv("i420_to_rgb", cv::COLOR_YUV2RGB_I420);
  swscale("i420_to_rgb", AV_PIX_FMT_YUV420P);
  addLimit(f, "i420_to_rgb", n * 9 / 2);
}

// libyuv names packed formats by words: its ARGB is B, G, R, A in memory, its ABGR R, G, B, A, its RAW
// R, G, B.
struct PackedFormat {
  const char* name;
  int channels;
  void (*gray)(const unsigned char*, unsigned char*, int);
  int (*libyuv_gray)(const std::uint8_t*, int, std::uint8_t*, int, int, int);
  int opencv_gray;
  void (*planar)(const unsigned char*, unsigned char*, int);
  bool blue_first;
};
constexpr PackedFormat kPacked[] = {
    {"bgra", 4, getGray_from_BGRA_HWC, libyuv::ARGBToJ400, cv::COLOR_BGRA2GRAY, getRGB_CHW_from_BGRA_HWC,
     true},
    {"rgba", 4, getGray_from_RGBA_HWC, libyuv::ABGRToJ400, cv::COLOR_RGBA2GRAY, getRGB_CHW_from_RGBA_HWC,
     false},
    {"rgb", 3, getGray_from_RGB_HWC, libyuv::RAWToJ400, cv::COLOR_RGB2GRAY, getRGB_CHW_from_RGB_HWC,
     false},
};

void addGray(const Frame& f, const PackedFormat& p, const std::string& kind) {
  const std::string row = std::string("gray_from_") + p.name + kind;
  add(f, row, "tn_kits", [&] { p.gray(f.src, f.dst, f.n); });
  add(f, row, "libyuv", [&] { p.libyuv_gray(f.src, p.channels * f.w, f.dst, f.w, f.w, f.h); });
  add(f, row, "opencv", [&] {
    cv::Mat out(f.h, f.w, CV_8UC1, f.dst);
    cv::cvtColor(f.packed(p.channels), out, p.opencv_gray);
  });
  addLimit(f, row, f.n * (p.channels + 1));
}

void addPlanar(const Frame& f, const PackedFormat& p) {
  const std::string row = std::string("planar_from_") + p.name;
  add(f, row, "tn_kits", [&] { p.planar(f.src, f.dst, f.n); });
  add(f, row, "libyuv", [&] {
    std::uint8_t *const r = f.dst, *const g = f.dst + f.n, *const b = f.dst + 2 * f.n;
    if (p.channels == 3)
      libyuv::SplitRGBPlane(f.src, 3 * f.w, r, f.w, g, f.w, b, f.w, f.w, f.h);
    else  // its first plane is byte 2
      libyuv::SplitARGBPlane(f.src, 4 * f.w, p.blue_first ? r : b, f.w, g, f.w, p.blue_first ? b : r,
                             f.w, nullptr, 0, f.w, f.h);
  });
  add(f, row, "opencv", [&, planes = f.planes()]() mutable {
    const cv::Mat in = f.packed(p.channels);
    const int from_to[6] = {p.blue_first ? 2 : 0, 0, 1, 1, p.blue_first ? 0 : 2, 2};
    if (p.channels == 3)
      cv::split(in, planes);
    else
      cv::mixChannels(&in, 1, planes.data(), planes.size(), from_to, 3);
  });
  addLimit(f, row, f.n * (p.channels + 3));
}

// What the checks cost where they weigh most: on a picture so small that it takes a microsecond. The
// peer is the routine itself.
void addChecked(const Frame& f) {
  const Tarn::checked::ConstBytes src = {f.src, static_cast<std::size_t>(f.src_rows.cols)};
  const Tarn::checked::Bytes dst = {f.dst, static_cast<std::size_t>(f.dst_rows.cols)};
  add(f, "checked i420_to_rgb", "tn_kits",
      [&f, src, dst] { Tarn::checked::yuv420f_to_rgb(src, f.w, f.h, dst); });
  add(f, "checked i420_to_rgb", "unchecked", [&f] { TN_CV::yuv420f_to_rgb(f.src, f.w, f.h, f.dst); });
}

// Fills a frame with pixels from next(), of so many bytes each.
template <class Next>
void fill(Frame& f, int channels, const Next& next) {
  for (int i = 0; i + channels <= f.src_rows.cols; i += channels) {
    const std::array<std::uint8_t, 4> pixel = next();
    std::memcpy(f.src + i, pixel.data(), static_cast<std::size_t>(channels));
  }
}

// Pictures for grey conversions in which every pixel's exact sum is an integer, so that the rounding in
// double precision counts. Greys as grey cameras deliver them, one colour, and all such colours mixed,
// which is the slowest input there is.
void addExactSums() {
  static Frame greys(640, 480), flat_bgra(640, 480), flat_rgb(640, 480), mixed(640, 480);
  std::mt19937 random(1);
  const auto byte = [&] { return static_cast<std::uint8_t>(random() >> 24); };
  fill(greys, 4, [&] {
    const std::uint8_t v = byte();
    return std::array{v, v, v, v};
  });
  const std::array<std::uint8_t, 4> flat = {10, 0, 140, 255};  // 299 * 140 + 114 * 10 = 43000
  fill(flat_bgra, 4, [&] { return flat; });
  fill(flat_rgb, 3, [&] { return std::array{flat[2], flat[1], flat[0], flat[3]}; });
  fill(mixed, 4, [&] {
    for (;;) {
      const std::uint8_t b = byte(), g = byte(), r = byte();
      if ((587 * g + 299 * r + 114 * b) % 1000 == 0) return std::array{b, g, r, std::uint8_t{255}};
    }
  });
  addGray(greys, kPacked[0], " pure greys");
  addGray(flat_bgra, kPacked[0], " flat colour");
  addGray(flat_rgb, kPacked[2], " flat colour");
  addGray(mixed, kPacked[0], " slowest colours");
}

}  // namespace

void registerRows() {
  cv::setNumThreads(1);

  // Registered rows keep pointers to these.
  static Frame full(1920, 1080), small(640, 480), tiny(64, 48);
  for (const Frame* const f : {&full, &small}) {
    addYuv(*f);
    for (const PackedFormat& p : kPacked) addGray(*f, p, "");
    for (const PackedFormat& p : kPacked) addPlanar(*f, p);
  }
  addChecked(tiny);
  addExactSums();
}
