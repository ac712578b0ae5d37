// Network input preparation beside the same job composed from libyuv and OpenCV: resize, then colours,
// turn and float planes. Every composition that makes sense is a contestant; the fastest is the peer to
// compare with. The peers' buffers are allocated before the clock starts; ours returns a new tensor for
// every frame. Everything runs on one thread.
#include <benchmark/benchmark.h>
#include <libyuv/scale_rgb.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "benchmarks/benchmark_main.h"
#include "benchmarks/peers.h"
#include "tn_cnn.h"
#include "tn_cv.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr int kSourceWidth = 1920, kSourceHeight = 1080, kSide = 640;
constexpr int kPixels = kSide * kSide;

struct Format {
  const char* name;
  int code, channels;
  bool yuv;
};
const Format kFormats[] = {{"NV12", TN_PIX_FMT_NV12, 3, true},
                           {"I420", TN_PIX_FMT_YUVI420, 3, true},
                           {"BGRA", TN_PIX_FMT_BGRA, 4, false},
                           {"RGB", TN_PIX_FMT_RGB, 3, false}};

Tarn::NetworkInputExtents extentsOf(const Format& format) {
  return Tarn::networkInputExtents(format.code, kSourceWidth, kSourceHeight, kSide, kSide);
}

Bytes makeFrame(const Format& format) {
  return cameraFrame(extentsOf(format).image.bytes, kSourceWidth);
}

void ours(benchmark::State& state, const Format& format, bool turned) {
  Bytes frame = makeFrame(format);
  Bytes work_a(extentsOf(format).work_a.bytes), work_b(extentsOf(format).work_b.bytes);
  const _TN_Image image = {
      turned ? TN_ORIENT_ROTATE_90 : 0u, format.code, kSourceWidth, kSourceHeight, 0, frame.data()};
  TarnCPU::Mat out;
  for (auto _ : state) {
    TarnCPU::TN_CV::getInMat(&image, out, 0, kSide, kSide, work_a.data(), work_b.data());
    benchmark::DoNotOptimize(out.data);
    benchmark::ClobberMemory();
  }
}

// Where in the chain the picture is turned.
enum class TurnAt { kNowhere, kYuvPlanes, kPackedLibyuv, kPackedOpenCv, kBytePlanes };

struct Composition {
  Library resize, colour, split;
  TurnAt turn;
};

class Composed {
 public:
  Composed(const Format& format, const Composition& how)
      : format_(format),
        how_(how),
        yuv_(3 * kPixels / 2),
        turned_yuv_(3 * kPixels / 2),
        pixels_(kSide, kSide, CV_8UC(format.channels)),
        turned_pixels_(kSide, kSide, CV_8UC(format.channels)),
        planes_(4 * kPixels),
        turned_planes_(3 * kPixels),
        tensor_(3 * kPixels) {}

  void run(std::uint8_t* frame) {
    if (!format_.yuv) {
      resizePacked(frame);
    } else if (format_.code == TN_PIX_FMT_NV12) {
      resizeNv12(how_.resize, frame, kSourceWidth, kSourceHeight, yuv_.data(), kSide, kSide);
      if (how_.turn == TurnAt::kYuvPlanes) {
        std::uint8_t* const y = turned_yuv_.data();
        libyuv::NV12ToI420Rotate(yuv_.data(), kSide, yuv_.data() + kPixels, kSide, y, kSide, y + kPixels,
                                 kSide / 2, y + 5 * kPixels / 4, kSide / 2, kSide, kSide,
                                 libyuv::kRotate90);
        colourI420(turned_yuv_.data());
      } else {
        nv12ToRgb(how_.colour, yuv_.data(), pixels_);
      }
    } else {
      resizeI420(frame);
      if (how_.turn == TurnAt::kYuvPlanes) {
        const std::uint8_t* const from = yuv_.data();
        std::uint8_t* const y = turned_yuv_.data();
        libyuv::I420Rotate(from, kSide, from + kPixels, kSide / 2, from + 5 * kPixels / 4, kSide / 2, y,
                           kSide, y + kPixels, kSide / 2, y + 5 * kPixels / 4, kSide / 2, kSide, kSide,
                           libyuv::kRotate90);
        colourI420(turned_yuv_.data());
      } else {
        colourI420(yuv_.data());
      }
    }
    if (how_.turn == TurnAt::kPackedOpenCv)
      cv::rotate(pixels_, turned_pixels_, cv::ROTATE_90_CLOCKWISE);
    else if (how_.turn == TurnAt::kPackedLibyuv)
      libyuv::ARGBRotate(pixels_.data, 4 * kSide, turned_pixels_.data, 4 * kSide, kSide, kSide,
                         libyuv::kRotate90);
    const bool packed_turn = how_.turn == TurnAt::kPackedOpenCv || how_.turn == TurnAt::kPackedLibyuv;
    toFloats(packed_turn ? turned_pixels_ : pixels_);
  }

 private:
  void resizePacked(std::uint8_t* frame) {
    if (how_.resize == Library::kOpenCv)
      resizeBilinear(picture(frame, kSourceWidth, kSourceHeight, format_.channels), pixels_);
    else if (format_.channels == 4)
      libyuv::ARGBScale(frame, 4 * kSourceWidth, kSourceWidth, kSourceHeight, pixels_.data, 4 * kSide,
                        kSide, kSide, libyuv::kFilterBilinear);
    else
      libyuv::RGBScale(frame, 3 * kSourceWidth, kSourceWidth, kSourceHeight, pixels_.data, 3 * kSide,
                       kSide, kSide, libyuv::kFilterBilinear);
  }

  // By nearest neighbour, as ours does it.
  void resizeI420(std::uint8_t* frame) {
    constexpr int kSource = kSourceWidth * kSourceHeight;
    std::uint8_t* const to = yuv_.data();
    if (how_.resize == Library::kLibyuv) {
      libyuv::I420Scale(frame, kSourceWidth, frame + kSource, kSourceWidth / 2, frame + kSource * 5 / 4,
                        kSourceWidth / 2, kSourceWidth, kSourceHeight, to, kSide, to + kPixels,
                        kSide / 2, to + kPixels * 5 / 4, kSide / 2, kSide, kSide, libyuv::kFilterNone);
      return;
    }
    const auto resize = [&](int from_at, int to_at, int part) {
      cv::Mat out = picture(to + to_at, kSide / part, kSide / part);
      cv::resize(picture(frame + from_at, kSourceWidth / part, kSourceHeight / part), out, out.size(), 0,
                 0, cv::INTER_NEAREST);
    };
    resize(0, 0, 1);
    resize(kSource, kPixels, 2);
    resize(kSource * 5 / 4, kPixels * 5 / 4, 2);
  }

  void colourI420(std::uint8_t* yuv) {
    if (how_.colour == Library::kLibyuv)
      libyuv::I420ToRAW(yuv, kSide, yuv + kPixels, kSide / 2, yuv + kPixels * 5 / 4, kSide / 2,
                        pixels_.data, 3 * kSide, kSide, kSide);
    else
      cv::cvtColor(picture(yuv, kSide, kSide * 3 / 2), pixels_, cv::COLOR_YUV2RGB_I420);
  }

  void toFloats(const cv::Mat& pixels) {
    // R, G, B and, behind them, alpha.
    std::uint8_t* const first = planes_.data();
    const bool bgr = format_.code == TN_PIX_FMT_BGRA;
    if (how_.split == Library::kOpenCv) {
      cv::Mat planes[4];
      for (int i = 0; i < format_.channels; ++i)
        planes[i] = picture(first + (bgr && i < 3 ? 2 - i : i) * kPixels, kSide, kSide);
      cv::split(pixels, planes);
    } else if (format_.channels == 4) {
      // libyuv names formats by 32-bit words: in memory ARGB begins with B.
      libyuv::SplitARGBPlane(pixels.data, 4 * kSide, first, kSide, first + kPixels, kSide,
                             first + 2 * kPixels, kSide, nullptr, 0, kSide, kSide);
    } else {
      libyuv::SplitRGBPlane(pixels.data, 3 * kSide, first, kSide, first + kPixels, kSide,
                            first + 2 * kPixels, kSide, kSide, kSide);
    }
    std::uint8_t* bytes = first;
    if (how_.turn == TurnAt::kBytePlanes) {
      bytes = turned_planes_.data();
      for (int i = 0; i < 3; ++i)
        libyuv::RotatePlane(first + i * kPixels, kSide, bytes + i * kPixels, kSide, kSide, kSide,
                            libyuv::kRotate90);
    }
    cv::Mat tensor(3 * kSide, kSide, CV_32FC1, tensor_.data());
    picture(bytes, kSide, 3 * kSide).convertTo(tensor, CV_32F);
  }

  Format format_;
  Composition how_;
  Bytes yuv_, turned_yuv_;
  cv::Mat pixels_, turned_pixels_;
  Bytes planes_, turned_planes_;
  std::vector<float> tensor_;
};

void composed(benchmark::State& state, const Format& format, const Composition& how) {
  Bytes frame = makeFrame(format);
  Composed job(format, how);
  for (auto _ : state) {
    job.run(frame.data());
    benchmark::ClobberMemory();
  }
}

std::vector<std::pair<std::string, TurnAt>> turnsOf(const Format& format, bool turned) {
  if (!turned) return {{"", TurnAt::kNowhere}};
  std::vector<std::pair<std::string, TurnAt>> turns = {{"opencv_turn+", TurnAt::kPackedOpenCv},
                                                       {"libyuv_turn_of_planes+", TurnAt::kBytePlanes}};
  if (format.yuv) turns.emplace_back("libyuv_turn_of_yuv+", TurnAt::kYuvPlanes);
  if (format.channels == 4) turns.emplace_back("libyuv_turn+", TurnAt::kPackedLibyuv);
  return turns;
}

}  // namespace

void registerRows() {
  cv::setNumThreads(1);
  for (const Format& format : kFormats)
    for (const bool turned : {false, true}) {
      const std::string row = std::string("getInMat ") + format.name + " 1920x1080 to 640x640" +
                              (turned ? " turned by 90" : " upright");
      benchmark::RegisterBenchmark((row + "/tn_kits").c_str(), ours, format, turned)
          ->Unit(benchmark::kMicrosecond);
      for (const auto& resize : kLibraries)
        for (const auto& colour : kLibraries)
          for (const auto& split : kLibraries)
            for (const auto& [turn_name, turn] : turnsOf(format, turned)) {
              if (!format.yuv && colour.library != Library::kLibyuv) continue;
              const std::string colour_name = format.yuv ? std::string(colour.name) + "_colour+" : "";
              const std::string name = row + "/" + resize.name + "_resize+" + colour_name + turn_name +
                                       split.name + "_split+opencv_floats";
              benchmark::RegisterBenchmark(
                  name.c_str(), composed, format,
                  Composition{resize.library, colour.library, split.library, turn})
                  ->Unit(benchmark::kMicrosecond);
            }
    }
}
