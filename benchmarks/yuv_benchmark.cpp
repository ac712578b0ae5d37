// Frames to tensors and crops, beside the same jobs composed from libyuv and OpenCV. Every composition
// that makes sense is a row of its own; the fastest of them is the peer to compare with. All buffers are
// allocated before the clock starts, and everything runs on one thread.
//
// The peers round to bytes between their steps, so their tensors are close to ours, not equal.
#include <benchmark/benchmark.h>
#include <libyuv.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <string>
#include <vector>

#if defined(__GLIBC__)
#include <malloc.h>
#endif

#include "benchmarks/benchmark_main.h"
#include "tests/support/allocation_count.h"
#include "tn_colormatrix.h"
#include "tn_yuvconverter.h"

namespace {

using Tarn::TarnYUVToolKit;
using Bytes = std::vector<std::uint8_t>;

struct Size {
  int w, h;
};

struct Job {
  Size src, dst;
};

Bytes makeFrame(const Size& size) {
  return cameraFrame(static_cast<std::size_t>(size.w * size.h * 3 / 2), size.w);
}

Tarn::_ConvertMatrixFromYUV normalisingMatrix() {
  Tarn::YuvToRgbOptions options;
  options.standard = Tarn::YuvStandard::kBt601;
  for (float& mean : options.mean) mean = 127.5f;
  for (float& scale : options.scale) scale = 1.0f / 127.5f;
  return Tarn::makeYuvToRgbMatrix(options);
}

// Bytes of the heap in use, where the C library tells.
std::size_t heapBytes() {
#if defined(__GLIBC__)
  const struct mallinfo2 info = mallinfo2();
  return info.uordblks + info.hblkhd;
#else
  return 0;
#endif
}

void countFrame(benchmark::State& state, const Size& dst) {
  state.SetItemsProcessed(state.iterations() * dst.w * dst.h);
}

// ---- frames to tensors -------------------------------------------------------------------------

void toolkitConvert(benchmark::State& state, const Job& job) {
  Bytes frame = makeFrame(job.src);
  std::vector<float> tensor(static_cast<std::size_t>(3 * job.dst.w * job.dst.h));
  const _TN_Image in{0, TN_PIX_FMT_NV12, job.src.w, job.src.h, 0, frame.data()};
  const _TN_Image out{0, TN_PIX_FMT_CHW_F32, job.dst.w, job.dst.h, 0, tensor.data()};
  const std::size_t heap_before = heapBytes();
  TarnYUVToolKit kit(job.src.w, job.src.h, job.src.w / 2, job.src.h / 2, job.dst.w, job.dst.h);
  state.counters["toolkit_bytes"] = static_cast<double>(heapBytes() - heap_before + sizeof kit);
  kit.setCvtMat(normalisingMatrix());
  const std::size_t blocks_before = tn_test::allocationCount();
  for (auto _ : state) {
    kit.convert(in, out);
    benchmark::ClobberMemory();
  }
  state.counters["allocations_per_frame"] =
      benchmark::Counter(static_cast<double>(tn_test::allocationCount() - blocks_before),
                         benchmark::Counter::kAvgIterations);
  countFrame(state, job.dst);
}

void toolkitConvertSameSize(benchmark::State& state, const Job& job) {
  Bytes frame = makeFrame(job.src);
  std::vector<float> tensor(static_cast<std::size_t>(3 * job.dst.w * job.dst.h));
  const _TN_Image in{0, TN_PIX_FMT_NV12, job.src.w, job.src.h, 0, frame.data()};
  const _TN_Image out{0, TN_PIX_FMT_CHW_F32, job.dst.w, job.dst.h, 0, tensor.data()};
  const Tarn::_ConvertMatrixFromYUV mat = normalisingMatrix();
  for (auto _ : state) {
    TarnYUVToolKit::Convert(in, out, mat);
    benchmark::ClobberMemory();
  }
  countFrame(state, job.dst);
}

enum class Library { kLibyuv, kOpenCv };
enum class Floats { kSplitLibyuv, kSplitOpenCv, kSplitFloats };

// The peers' road: resized planes, packed RGB, normalised float planes.
struct Composition {
  Library resize, colour;
  Floats floats;
};

class ComposedConverter {
 public:
  ComposedConverter(const Composition& how, const Job& job)
      : how_(how),
        job_(job),
        nv12_(static_cast<std::size_t>(job.dst.w * job.dst.h * 3 / 2)),
        rgb_(job.dst.h, job.dst.w, CV_8UC3),
        rgb_floats_(job.dst.h, job.dst.w, CV_32FC3),
        tensor_(static_cast<std::size_t>(3 * job.dst.w * job.dst.h)) {
    for (int i = 0; i < 3; ++i) {
      planes_[i].create(job.dst.h, job.dst.w, CV_8UC1);
      float_planes_[i] =
          cv::Mat(job.dst.h, job.dst.w, CV_32FC1, tensor_.data() + i * job.dst.w * job.dst.h);
    }
  }

  void run(std::uint8_t* frame) {
    const auto [w, h] = job_.dst;
    std::uint8_t* nv12 = frame;
    if (w != job_.src.w || h != job_.src.h) {
      nv12 = nv12_.data();
      resize(frame, nv12);
    }
    std::uint8_t* const uv = nv12 + w * h;
    if (how_.colour == Library::kLibyuv)
      libyuv::NV12ToRAW(nv12, w, uv, w, rgb_.data, 3 * w, w, h);
    else
      cv::cvtColorTwoPlane(cv::Mat(h, w, CV_8UC1, nv12), cv::Mat(h / 2, w / 2, CV_8UC2, uv), rgb_,
                           cv::COLOR_YUV2RGB_NV12);
    toFloats();
  }

 private:
  void resize(std::uint8_t* frame, std::uint8_t* nv12) {
    const auto [sw, sh] = job_.src;
    const auto [w, h] = job_.dst;
    if (how_.resize == Library::kLibyuv) {
      libyuv::NV12Scale(frame, sw, frame + sw * sh, sw, sw, sh, nv12, w, nv12 + w * h, w, w, h,
                        libyuv::kFilterBilinear);
      return;
    }
    cv::Mat y(h, w, CV_8UC1, nv12), uv(h / 2, w / 2, CV_8UC2, nv12 + w * h);
    cv::resize(cv::Mat(sh, sw, CV_8UC1, frame), y, y.size(), 0, 0, cv::INTER_LINEAR);
    cv::resize(cv::Mat(sh / 2, sw / 2, CV_8UC2, frame + sw * sh), uv, uv.size(), 0, 0, cv::INTER_LINEAR);
  }

  void toFloats() {
    const double scale = 1 / 127.5, shift = -1;
    if (how_.floats == Floats::kSplitFloats) {
      rgb_.convertTo(rgb_floats_, CV_32F, scale, shift);
      cv::split(rgb_floats_, float_planes_);
      return;
    }
    if (how_.floats == Floats::kSplitLibyuv)
      libyuv::SplitRGBPlane(rgb_.data, 3 * job_.dst.w, planes_[0].data, job_.dst.w, planes_[1].data,
                            job_.dst.w, planes_[2].data, job_.dst.w, job_.dst.w, job_.dst.h);
    else
      cv::split(rgb_, planes_);
    for (int i = 0; i < 3; ++i) planes_[i].convertTo(float_planes_[i], CV_32F, scale, shift);
  }

  Composition how_;
  Job job_;
  Bytes nv12_;
  cv::Mat rgb_, rgb_floats_, planes_[3], float_planes_[3];
  std::vector<float> tensor_;
};

void composedConvert(benchmark::State& state, const Composition& how, const Job& job) {
  Bytes frame = makeFrame(job.src);
  ComposedConverter converter(how, job);
  for (auto _ : state) {
    converter.run(frame.data());
    benchmark::ClobberMemory();
  }
  countFrame(state, job.dst);
}

void registerComposed(const std::string& row, const Job& job) {
  static const struct {
    const char* name;
    Library library;
  } libraries[] = {{"libyuv", Library::kLibyuv}, {"opencv", Library::kOpenCv}};
  static const struct {
    const char* name;
    Floats floats;
  } floats[] = {{"libyuv_split", Floats::kSplitLibyuv},
                {"opencv_split", Floats::kSplitOpenCv},
                {"opencv_floats_split", Floats::kSplitFloats}};
  const bool scales = job.src.w != job.dst.w || job.src.h != job.dst.h;
  for (const auto& resize : libraries) {
    if (!scales && resize.library == Library::kOpenCv) continue;
    for (const auto& colour : libraries)
      for (const auto& f : floats)
        benchmark::RegisterBenchmark((row + "/" + (scales ? std::string(resize.name) + "_resize+" : "") +
                                      colour.name + "_colour+" + f.name)
                                         .c_str(),
                                     composedConvert,
                                     Composition{resize.library, colour.library, f.floats}, job);
  }
}

// ---- crops -------------------------------------------------------------------------------------

const Size kCropSource{1920, 1080}, kCropSize{640, 480};
const int kCropX = 320, kCropY = 200;

// Planes of a 4:2:0 frame as (offset, columns, rows) in bytes; x and y of the crop are halved with them.
struct Plane {
  int src_offset, dst_offset, src_pitch, dst_pitch, x, y, w, h;
};

std::vector<Plane> cropPlanes(bool planar) {
  const auto [sw, sh] = kCropSource;
  const auto [w, h] = kCropSize;
  std::vector<Plane> planes = {{0, 0, sw, w, kCropX, kCropY, w, h}};
  if (!planar) {
    planes.push_back({sw * sh, w * h, sw, w, kCropX, kCropY / 2, w, h / 2});
  } else {
    for (int v = 0; v < 2; ++v)
      planes.push_back({sw * sh + v * sw * sh / 4, w * h + v * w * h / 4, sw / 2, w / 2, kCropX / 2,
                        kCropY / 2, w / 2, h / 2});
  }
  return planes;
}

enum class Cropper { kToolkit, kLibyuv, kOpenCv };

void crop(benchmark::State& state, Cropper cropper, bool planar) {
  Bytes src = makeFrame(kCropSource), dst = makeFrame(kCropSize);
  const int format = planar ? TN_PIX_FMT_YUVI420 : TN_PIX_FMT_NV12;
  const _TN_Image in{0, format, kCropSource.w, kCropSource.h, 0, src.data()};
  const _TN_Image out{0, format, kCropSize.w, kCropSize.h, 0, dst.data()};
  const std::vector<Plane> planes = cropPlanes(planar);
  const int x1 = kCropX + kCropSize.w - 1, y1 = kCropY + kCropSize.h - 1;
  for (auto _ : state) {
    if (cropper == Cropper::kToolkit) {
      (planar ? TarnYUVToolKit::Crop_YUVI420 : TarnYUVToolKit::Crop)(in, out, kCropX, kCropY, x1, y1);
    } else if (cropper == Cropper::kLibyuv) {
      for (const Plane& p : planes)
        libyuv::CopyPlane(src.data() + p.src_offset + p.y * p.src_pitch + p.x, p.src_pitch,
                          dst.data() + p.dst_offset, p.dst_pitch, p.w, p.h);
    } else {
      for (const Plane& p : planes) {
        const cv::Mat from(p.h, p.w, CV_8UC1, src.data() + p.src_offset + p.y * p.src_pitch + p.x,
                           static_cast<std::size_t>(p.src_pitch));
        cv::Mat to(p.h, p.w, CV_8UC1, dst.data() + p.dst_offset);
        from.copyTo(to);
      }
    }
    benchmark::ClobberMemory();
  }
  countFrame(state, kCropSize);
}

}  // namespace

void registerRows() {
  cv::setNumThreads(1);
  for (const Job& job :
       {Job{{1920, 1080}, {640, 640}}, Job{{1920, 1080}, {320, 320}}, Job{{640, 640}, {640, 640}}}) {
    const std::string row =
        "convert/" + sizeName(job.src.w, job.src.h) + "_to_" + sizeName(job.dst.w, job.dst.h);
    benchmark::RegisterBenchmark((row + "/tn_kits").c_str(), toolkitConvert, job);
    registerComposed(row, job);
  }
  for (const Size& size : {Size{1920, 1080}, Size{640, 480}}) {
    const std::string row = "Convert/" + sizeName(size.w, size.h);
    benchmark::RegisterBenchmark((row + "/tn_kits").c_str(), toolkitConvertSameSize, Job{size, size});
    registerComposed(row, Job{size, size});
  }
  for (const bool planar : {false, true}) {
    const std::string row = planar ? "Crop_YUVI420/640x480" : "Crop/640x480";
    benchmark::RegisterBenchmark((row + "/tn_kits").c_str(), crop, Cropper::kToolkit, planar);
    benchmark::RegisterBenchmark((row + "/libyuv").c_str(), crop, Cropper::kLibyuv, planar);
    benchmark::RegisterBenchmark((row + "/opencv").c_str(), crop, Cropper::kOpenCv, planar);
  }
}
