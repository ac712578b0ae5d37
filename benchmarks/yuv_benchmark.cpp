// Frames to tensors and crops, beside the same jobs composed from libyuv and OpenCV. Every composition
// that makes sense is a contestant; the fastest is the peer to compare with. Buffers are allocated
// before the clock starts, and everything runs on one thread.
//
// The peers round to bytes between their steps, so their tensors are close to ours but not equal.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#if defined(__GLIBC__)
#include <malloc.h>
#endif

#include "benchmarks/benchmark_main.h"
#include "benchmarks/peers.h"
#include "tests/support/allocation_count.h"
#include "tn_colormatrix.h"
#include "tn_yuvconverter.h"

namespace {

using Tarn::TarnYUVToolKit;
using Bytes = std::vector<std::uint8_t>;

struct Size {
  int w, h;
};

Bytes makeFrame(const Size& size) {
  return cameraFrame(Tarn::cropFrameExtent(false, size.w, size.h).bytes, size.w);
}

// An NV12 frame, the tensor that it becomes, and their records.
struct Job {
  Job(const Size& from, const Size& to)
      : src(from),
        dst(to),
        frame(makeFrame(from)),
        tensor(Tarn::tensorExtent(to.w, to.h, 3).bytes / sizeof(float)) {}
  Job(const Job&) = delete;
  Job& operator=(const Job&) = delete;

  _TN_Image in() { return {0, TN_PIX_FMT_NV12, src.w, src.h, 0, frame.data()}; }
  _TN_Image out() { return {0, TN_PIX_FMT_CHW_F32, dst.w, dst.h, 0, tensor.data()}; }

  Size src, dst;
  Bytes frame;
  std::vector<float> tensor;
};

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

// ---- frames to tensors -------------------------------------------------------------------------

void toolkitConvert(benchmark::State& state, const Size& src, const Size& dst) {
  Job job(src, dst);
  const _TN_Image in = job.in(), out = job.out();
  const std::size_t heap_before = heapBytes();
  TarnYUVToolKit kit(src.w, src.h, src.w / 2, src.h / 2, dst.w, dst.h);
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
}

void toolkitConvertSameSize(benchmark::State& state, const Size& size) {
  Job job(size, size);
  const _TN_Image in = job.in(), out = job.out();
  const Tarn::_ConvertMatrixFromYUV mat = normalisingMatrix();
  for (auto _ : state) {
    TarnYUVToolKit::Convert(in, out, mat);
    benchmark::ClobberMemory();
  }
}

enum class Floats { kSplitLibyuv, kSplitOpenCv, kSplitFloats };

// What the peers do: resize the planes, convert to packed RGB, split into normalised float planes.
struct Composition {
  Library resize, colour;
  Floats floats;
};

class ComposedConverter {
 public:
  ComposedConverter(const Composition& how, const Size& src, const Size& dst)
      : how_(how),
        job_(src, dst),
        nv12_(Tarn::cropFrameExtent(false, dst.w, dst.h).bytes),
        rgb_(dst.h, dst.w, CV_8UC3),
        rgb_floats_(dst.h, dst.w, CV_32FC3) {
    for (int i = 0; i < 3; ++i) {
      planes_[i].create(dst.h, dst.w, CV_8UC1);
      float_planes_[i] = cv::Mat(dst.h, dst.w, CV_32FC1, job_.tensor.data() + i * dst.w * dst.h);
    }
  }

  void run() {
    const auto [sw, sh] = job_.src;
    const auto [w, h] = job_.dst;
    const bool scales = w != sw || h != sh;
    std::uint8_t* const nv12 = scales ? nv12_.data() : job_.frame.data();
    if (scales) resizeNv12(how_.resize, job_.frame.data(), sw, sh, nv12, w, h);
    nv12ToRgb(how_.colour, nv12, rgb_);
    toFloats(w, h);
  }

 private:
  void toFloats(int w, int h) {
    const double scale = 1 / 127.5, shift = -1;
    if (how_.floats == Floats::kSplitFloats) {
      rgb_.convertTo(rgb_floats_, CV_32F, scale, shift);
      cv::split(rgb_floats_, float_planes_);
      return;
    }
    if (how_.floats == Floats::kSplitLibyuv)
      libyuv::SplitRGBPlane(rgb_.data, 3 * w, planes_[0].data, w, planes_[1].data, w, planes_[2].data, w,
                            w, h);
    else
      cv::split(rgb_, planes_);
    for (int i = 0; i < 3; ++i) planes_[i].convertTo(float_planes_[i], CV_32F, scale, shift);
  }

  Composition how_;
  Job job_;
  Bytes nv12_;
  cv::Mat rgb_, rgb_floats_, planes_[3], float_planes_[3];
};

void composedConvert(benchmark::State& state, const Composition& how, const Size& src, const Size& dst) {
  ComposedConverter converter(how, src, dst);
  for (auto _ : state) {
    converter.run();
    benchmark::ClobberMemory();
  }
}

void registerComposed(const std::string& row, const Size& src, const Size& dst) {
  static const struct {
    const char* name;
    Floats floats;
  } floats[] = {{"libyuv_split", Floats::kSplitLibyuv},
                {"opencv_split", Floats::kSplitOpenCv},
                {"opencv_floats_split", Floats::kSplitFloats}};
  const bool scales = src.w != dst.w || src.h != dst.h;
  for (const auto& resize : kLibraries) {
    if (!scales && resize.library == Library::kOpenCv) continue;
    for (const auto& colour : kLibraries)
      for (const auto& f : floats)
        benchmark::RegisterBenchmark((row + "/" + (scales ? std::string(resize.name) + "_resize+" : "") +
                                      colour.name + "_colour+" + f.name)
                                         .c_str(),
                                     composedConvert,
                                     Composition{resize.library, colour.library, f.floats}, src, dst);
  }
}

// ---- crops -------------------------------------------------------------------------------------

constexpr Size kCropSource{1920, 1080}, kCropSize{640, 480};
constexpr int kCropX = 320, kCropY = 200;

// A plane of a 4:2:0 frame: offsets and sizes in bytes; x and y are the crop's corner in it.
struct Plane {
  std::size_t src_offset, dst_offset;
  int src_pitch, dst_pitch, x, y, w, h;
};

std::vector<Plane> cropPlanes(bool planar) {
  const auto [sw, sh] = kCropSource;
  const auto [w, h] = kCropSize;
  const std::size_t src_luma = Tarn::pictureExtent(sw, sh, 1).bytes;
  const std::size_t dst_luma = Tarn::pictureExtent(w, h, 1).bytes;
  std::vector<Plane> planes = {{0, 0, sw, w, kCropX, kCropY, w, h}};
  if (!planar) {
    planes.push_back({src_luma, dst_luma, sw, w, kCropX, kCropY / 2, w, h / 2});
  } else {
    for (std::size_t v = 0; v < 2; ++v)
      planes.push_back({src_luma + v * src_luma / 4, dst_luma + v * dst_luma / 4, sw / 2, w / 2,
                        kCropX / 2, kCropY / 2, w / 2, h / 2});
  }
  return planes;
}

// All contestants of a row share the two frames.
void addCrop(const std::string& row, bool planar) {
  const auto src = std::make_shared<Bytes>(makeFrame(kCropSource));
  const auto dst = std::make_shared<Bytes>(makeFrame(kCropSize));
  addRow(row, "tn_kits", [=] {
    const int format = planar ? TN_PIX_FMT_YUVI420 : TN_PIX_FMT_NV12;
    (planar ? TarnYUVToolKit::Crop_YUVI420 : TarnYUVToolKit::Crop)(
        {0, format, kCropSource.w, kCropSource.h, 0, src->data()},
        {0, format, kCropSize.w, kCropSize.h, 0, dst->data()}, kCropX, kCropY, kCropX + kCropSize.w - 1,
        kCropY + kCropSize.h - 1);
  });
  const std::vector<Plane> planes = cropPlanes(planar);
  addRow(row, "libyuv", [=] {
    for (const Plane& p : planes)
      libyuv::CopyPlane(src->data() + p.src_offset + p.y * p.src_pitch + p.x, p.src_pitch,
                        dst->data() + p.dst_offset, p.dst_pitch, p.w, p.h);
  });
  addRow(row, "opencv", [=] {
    for (const Plane& p : planes) {
      const cv::Mat from(p.h, p.w, CV_8UC1, src->data() + p.src_offset + p.y * p.src_pitch + p.x,
                         static_cast<std::size_t>(p.src_pitch));
      from.copyTo(picture(dst->data() + p.dst_offset, p.w, p.h));
    }
  });
}

}  // namespace

void registerRows() {
  cv::setNumThreads(1);
  const Size full{1920, 1080}, square{640, 640}, vga{640, 480};
  for (const auto& [src, dst] : {std::pair{full, square}, {full, Size{320, 320}}, {square, square}}) {
    const std::string row = "convert/" + sizeName(src.w, src.h) + "_to_" + sizeName(dst.w, dst.h);
    benchmark::RegisterBenchmark((row + "/tn_kits").c_str(), toolkitConvert, src, dst);
    registerComposed(row, src, dst);
  }
  for (const Size& size : {full, vga}) {
    const std::string row = "Convert/" + sizeName(size.w, size.h);
    benchmark::RegisterBenchmark((row + "/tn_kits").c_str(), toolkitConvertSameSize, size);
    registerComposed(row, size, size);
  }
  addCrop("Crop/640x480", false);
  addCrop("Crop_YUVI420/640x480", true);
}
