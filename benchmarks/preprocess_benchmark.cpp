// Preprocessor beside the same jobs composed from OpenCV, libyuv and libswscale. Every chain of steps
// that makes sense is a contestant, and the fastest is the peer to compare with. Chains do the whole
// job: bars, normalisation, types and layout. Their buffers and scaling tables are made before the clock
// starts, and everything runs on one thread. Peers leave what they make in the same memory as ours.
//
// The peers round to bytes between their steps, so their tensors are close to ours; equal only where the
// row is named after their resampling.
#include <benchmark/benchmark.h>
#include <libyuv/scale_rgb.h>
#include <libyuv/scale_uv.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

extern "C" {
#include <libswscale/swscale.h>
}

#include "benchmarks/benchmark_main.h"
#include "benchmarks/peers.h"
#include "tests/support/allocation_count.h"
#include "tn_preprocess.h"
#include "tn_yuvconverter.h"

namespace {

using Tarn::ElementType;
using Tarn::FrameFormat;
using Tarn::Preprocessor;
using Tarn::Region;
using Tarn::Resampling;
using Tarn::TarnYUVToolKit;
using Tarn::TensorLayout;
using Tarn::TensorSpec;
using Bytes = std::vector<std::uint8_t>;
using Run = std::function<void()>;

// ---- pictures and tensors ----------------------------------------------------------------------

// A frame, or what a step makes of it, all planes in one block. R, G and B in three planes are kRgb too.
struct Picture {
  FrameFormat format;
  int w, h;
  std::vector<cv::Mat> planes;
};

Picture makePicture(FrameFormat format, int w, int h, bool rgb_planes = false) {
  struct Part {
    int w, h, channels;
  };
  std::vector<Part> parts = {{w, h, 1}};
  switch (format) {
    case FrameFormat::kNv12:
      parts.push_back({w / 2, h / 2, 2});
      break;
    case FrameFormat::kI420:
      parts.insert(parts.end(), 2, {w / 2, h / 2, 1});
      break;
    case FrameFormat::kI422:
      parts.insert(parts.end(), 2, {w / 2, h, 1});
      break;
    case FrameFormat::kYuyv:
      parts = {{w, h, 2}};
      break;
    case FrameFormat::kBgra:
      parts = {{w, h, 4}};
      break;
    default:
      parts = rgb_planes ? std::vector<Part>(3, {w, h, 1}) : std::vector<Part>{{w, h, 3}};
  }
  int bytes = 0;
  for (const Part& part : parts) bytes += part.w * part.h * part.channels;
  const cv::Mat block(1, bytes, CV_8UC1);
  Picture picture{format, w, h, {}};
  int at = 0;
  for (const Part& part : parts) {
    const int end = at + part.w * part.h * part.channels;
    picture.planes.push_back(block.colRange(at, end).reshape(part.channels, part.h));
    at = end;
  }
  return picture;
}

Picture cameraPicture(FrameFormat format, int w, int h) {
  Picture frame = makePicture(format, w, h);
  for (cv::Mat& plane : frame.planes) {
    const Bytes bytes = cameraFrame(plane.total() * plane.elemSize(), static_cast<int>(plane.step));
    std::copy(bytes.begin(), bytes.end(), plane.data);
  }
  return frame;
}

Tarn::FrameView viewOf(const Picture& picture, int orientation = 1) {
  Tarn::FrameView view;
  view.format = picture.format;
  view.width = picture.w;
  view.height = picture.h;
  view.matrix = Tarn::YuvMatrix::kBt601;
  view.orientation = orientation;
  for (std::size_t i = 0; i < picture.planes.size(); ++i) {
    const cv::Mat& plane = picture.planes[i];
    view.planes[i] = plane.data;
    view.strides[i] = static_cast<std::ptrdiff_t>(plane.step);
    view.bytes[i] = plane.total() * plane.elemSize();
  }
  return view;
}

// A part of an NV12 frame. Its corner is even.
Picture cut(const Picture& frame, const Region& r) {
  const cv::Rect luma(r.x, r.y, r.width, r.height), chroma(r.x / 2, r.y / 2, r.width / 2, r.height / 2);
  return {frame.format, r.width, r.height, {frame.planes[0](luma), frame.planes[1](chroma)}};
}

// What a peer has to fill: one tensor, and where the content goes in it.
struct Target {
  // The tensor's channels one by one, or all in one.
  std::vector<cv::Mat> whole() const {
    const bool planar = spec.layout == TensorLayout::kNchw;
    const int depth = spec.type == ElementType::kFloat32   ? CV_32F
                      : spec.type == ElementType::kFloat16 ? CV_16F
                                                           : CV_8U;
    std::vector<cv::Mat> channels;
    std::uint8_t* at = tensor;
    for (int i = 0; i < (planar ? 3 : 1); ++i) {
      channels.emplace_back(spec.height, spec.width, CV_MAKETYPE(depth, planar ? 1 : 3), at);
      at += channels.back().total() * channels.back().elemSize();
    }
    return channels;
  }
  std::vector<cv::Mat> shown() const {
    std::vector<cv::Mat> channels = whole();
    for (cv::Mat& channel : channels) channel = channel(content);
    return channels;
  }

  TensorSpec spec;
  cv::Rect content;
  std::uint8_t* tensor;
};

Target makeTarget(const TensorSpec& spec, const Tarn::FrameView& view, std::uint8_t* tensor) {
  const Tarn::Rectangle r = Preprocessor(spec).place(view).content;
  return {spec, cv::Rect(cv::Rect2d(r.x, r.y, r.width, r.height)), tensor};
}

void fillBars(cv::Mat whole, const cv::Rect& content, const cv::Scalar& value) {
  const int right = content.x + content.width, below = content.y + content.height;
  const cv::Rect bars[] = {{0, 0, whole.cols, content.y},
                           {0, below, whole.cols, whole.rows - below},
                           {0, content.y, content.x, content.height},
                           {right, content.y, whole.cols - right, content.height}};
  for (const cv::Rect& bar : bars)
    if (bar.area() > 0) whole(bar).setTo(value);
}

// Bars go straight into the tensor: that costs a peer least.
void fillBars(const Target& target) {
  const double bar = static_cast<double>(target.spec.bar[0] / target.spec.divisor);
  for (const cv::Mat& channel : target.whole()) fillBars(channel, target.content, cv::Scalar::all(bar));
}

// ---- the peers' steps --------------------------------------------------------------------------

enum class Filter { kBilinear, kArea };

// A chain so far, and what its last step makes.
struct Chain {
  std::string name;
  Run run;
  Picture made;

  Chain then(const std::string& step, Picture next_made, Run next) const {
    if (name.empty()) return {step, std::move(next), std::move(next_made)};
    Run both = [first = run, next = std::move(next)] {
      first();
      next();
    };
    return {name + "+" + step, std::move(both), std::move(next_made)};
  }
};

const char* nameOf(Library library) { return library == Library::kLibyuv ? "libyuv" : "opencv"; }
int strideOf(const cv::Mat& plane) { return static_cast<int>(plane.step); }

void resizePlane(Library library, Filter filter, const cv::Mat& from, cv::Mat to) {
  if (library == Library::kOpenCv) {
    cv::resize(from, to, to.size(), 0, 0, filter == Filter::kArea ? cv::INTER_AREA : cv::INTER_LINEAR);
    return;
  }
  const libyuv::FilterMode mode = filter == Filter::kArea ? libyuv::kFilterBox : libyuv::kFilterBilinear;
  const auto scale = [&](auto function) {
    function(from.data, strideOf(from), from.cols, from.rows, to.data, strideOf(to), to.cols, to.rows,
             mode);
  };
  switch (from.channels()) {
    case 1:
      scale(libyuv::ScalePlane);
      break;
    case 2:
      scale(libyuv::UVScale);
      break;
    case 3:
      scale(libyuv::RGBScale);
      break;
    default:
      scale(libyuv::ARGBScale);
  }
}

Chain resizedInto(const Chain& chain, Library library, Filter filter, const Picture& to) {
  return chain.then(std::string(nameOf(library)) + "_resize", to,
                    [library, filter, from = chain.made.planes, to = to.planes] {
                      for (std::size_t i = 0; i < from.size(); ++i)
                        resizePlane(library, filter, from[i], to[i]);
                    });
}

Chain resized(const Chain& chain, Library library, Filter filter, const cv::Size& size) {
  // Of 4:2:2 the shrunk chroma needs no more rows than 4:2:0 has.
  const FrameFormat format =
      chain.made.format == FrameFormat::kI422 ? FrameFormat::kI420 : chain.made.format;
  return resizedInto(chain, library, filter, makePicture(format, size.width, size.height));
}

// Into R, G, B, or, by libyuv only, into B, G, R, A, which it calls ARGB by its 32-bit words.
void colour(Library library, const Picture& from, cv::Mat to) {
  const std::vector<cv::Mat>& p = from.planes;
  const int w = from.w, h = from.h, step = strideOf(to);
  const bool words = to.channels() == 4;
  if (library == Library::kOpenCv) {
    if (from.format == FrameFormat::kNv12)
      cv::cvtColorTwoPlane(p[0], p[1], to, cv::COLOR_YUV2RGB_NV12);
    else if (from.format == FrameFormat::kI420)
      cv::cvtColor(picture(p[0].data, w, h * 3 / 2), to, cv::COLOR_YUV2RGB_I420);
    else
      cv::cvtColor(p[0], to, cv::COLOR_YUV2RGB_YUY2);
  } else if (from.format == FrameFormat::kNv12) {
    (words ? libyuv::NV12ToARGB : libyuv::NV12ToRAW)(p[0].data, strideOf(p[0]), p[1].data,
                                                     strideOf(p[1]), to.data, step, w, h);
  } else if (from.format == FrameFormat::kI420) {
    (words ? libyuv::I420ToARGB : libyuv::I420ToRAW)(p[0].data, strideOf(p[0]), p[1].data,
                                                     strideOf(p[1]), p[2].data, strideOf(p[2]), to.data,
                                                     step, w, h);
  } else {
    libyuv::YUY2ToARGB(p[0].data, strideOf(p[0]), to.data, step, w, h);
  }
}

Chain colouredInto(const Chain& chain, Library library, const Picture& to) {
  const char* const step = to.format == FrameFormat::kBgra ? "_bgra" : "_rgb";
  return chain.then(nameOf(library) + std::string(step), to,
                    [library, from = chain.made, to = to.planes[0]] { colour(library, from, to); });
}

std::vector<Chain> coloured(const Chain& chain) {
  const int w = chain.made.w, h = chain.made.h;
  std::vector<Chain> chains = {
      colouredInto(chain, Library::kLibyuv, makePicture(FrameFormat::kBgra, w, h)),
      colouredInto(chain, Library::kOpenCv, makePicture(FrameFormat::kRgb, w, h))};
  if (chain.made.format != FrameFormat::kYuyv)
    chains.push_back(colouredInto(chain, Library::kLibyuv, makePicture(FrameFormat::kRgb, w, h)));
  return chains;
}

AVPixelFormat swscaleFormat(FrameFormat format) {
  switch (format) {
    case FrameFormat::kNv12:
      return AV_PIX_FMT_NV12;
    case FrameFormat::kI422:
      return AV_PIX_FMT_YUV422P;
    case FrameFormat::kYuyv:
      return AV_PIX_FMT_YUYV422;
    case FrameFormat::kBgr:
      return AV_PIX_FMT_BGR24;
    default:
      return AV_PIX_FMT_RGB24;
  }
}

// Resizes and converts in one step, into packed R, G, B, or into planes of bytes or floats.
Chain swscaled(const Picture& from, const std::string& name, int flags, AVPixelFormat format,
               const Picture& to) {
  const std::shared_ptr<SwsContext> context(
      sws_getContext(from.w, from.h, swscaleFormat(from.format), to.w, to.h, format, flags, nullptr,
                     nullptr, nullptr),
      sws_freeContext);
  return {name,
          [=] {
            const std::uint8_t* src[4] = {};
            std::uint8_t* dst[4] = {};
            int src_steps[4] = {}, dst_steps[4] = {};
            for (std::size_t i = 0; i < from.planes.size(); ++i) {
              src[i] = from.planes[i].data;
              src_steps[i] = strideOf(from.planes[i]);
            }
            // Its planes are G, B, R.
            const std::size_t count = to.planes.size();
            for (std::size_t i = 0; i < count; ++i) {
              const cv::Mat& plane = to.planes[count == 1 ? 0 : (i + 1) % 3];
              dst[i] = plane.data;
              dst_steps[i] = strideOf(plane);
            }
            sws_scale(context.get(), src, src_steps, 0, from.h, dst, dst_steps);
          },
          to};
}

// Turned by 90 degrees clockwise, packed or in planes.
Chain turned(const Chain& chain) {
  const Picture& from = chain.made;
  const Picture to = makePicture(from.format, from.h, from.w, from.planes.size() == 3);
  const bool opencv = from.format == FrameFormat::kRgb && from.planes.size() == 1;
  return chain.then(opencv ? "opencv_turn" : "libyuv_turn", to, [from, to, opencv] {
    for (std::size_t i = 0; i < from.planes.size(); ++i) {
      const cv::Mat &a = from.planes[i], &b = to.planes[i];
      if (opencv)
        cv::rotate(a, b, cv::ROTATE_90_CLOCKWISE);
      else
        (a.channels() == 4 ? libyuv::ARGBRotate : libyuv::RotatePlane)(
            a.data, strideOf(a), b.data, strideOf(b), from.w, from.h, libyuv::kRotate90);
    }
  });
}

Chain turnedNv12(const Chain& chain) {
  const Picture& from = chain.made;
  const Picture to = makePicture(FrameFormat::kI420, from.h, from.w);
  return chain.then("libyuv_turn", to, [f = from, t = to.planes] {
    libyuv::NV12ToI420Rotate(f.planes[0].data, strideOf(f.planes[0]), f.planes[1].data,
                             strideOf(f.planes[1]), t[0].data, strideOf(t[0]), t[1].data, strideOf(t[1]),
                             t[2].data, strideOf(t[2]), f.w, f.h, libyuv::kRotate90);
  });
}

Chain split(const Chain& chain, Library library) {
  const Picture& from = chain.made;
  const Picture to = makePicture(FrameFormat::kRgb, from.w, from.h, true);
  std::vector<cv::Mat> planes = to.planes;
  if (from.format != FrameFormat::kRgb) std::swap(planes[0], planes[2]);
  const cv::Mat packed = from.planes[0];
  return chain.then(std::string(nameOf(library)) + "_split", to, [packed, planes, library]() mutable {
    const auto at = [&](std::size_t i) { return planes[i].data; };
    const int w = packed.cols, h = packed.rows, step = strideOf(packed);
    if (library == Library::kOpenCv)
      cv::split(packed, planes);
    else if (packed.channels() == 3)
      libyuv::SplitRGBPlane(packed.data, step, at(0), w, at(1), w, at(2), w, w, h);
    else  // Its order is that of a word too: R first.
      libyuv::SplitARGBPlane(packed.data, step, at(2), w, at(1), w, at(0), w, nullptr, 0, w, h);
  });
}

// ---- whole chains ------------------------------------------------------------------------------

// From planes of bytes to the tensor. libyuv's ByteToFloat has no code of its own for x86, and is slower
// in every chain.
void addFromPlanes(std::vector<Chain>& chains, const Chain& chain, const Target& target) {
  const std::vector<cv::Mat> from = chain.made.planes, to = target.shown();
  const double scale = 1.0 / static_cast<double>(target.spec.divisor);
  const auto add = [&](const char* step, const std::function<void(const cv::Mat&, cv::Mat)>& convert) {
    chains.push_back(chain.then(step, {}, [=] {
      for (std::size_t i = 0; i < 3; ++i) convert(from[i], to[i]);
      fillBars(target);
    }));
  };
  if (target.spec.type == ElementType::kFloat16) {
    add("opencv_halves", [=](const cv::Mat& a, cv::Mat b) { a.convertTo(b, CV_16F, scale); });
    add("opencv_floats+opencv_halves", [=, floats = cv::Mat()](const cv::Mat& a, cv::Mat b) mutable {
      a.convertTo(floats, CV_32F, scale);
      floats.convertTo(b, CV_16F);
    });
    return;
  }
  add("opencv_floats", [=](const cv::Mat& a, cv::Mat b) { a.convertTo(b, CV_32F, scale); });
}

void addFromPacked(std::vector<Chain>& chains, const Chain& chain, const Target& target) {
  addFromPlanes(chains, split(chain, Library::kLibyuv), target);
  if (chain.made.format == FrameFormat::kBgra || target.spec.type != ElementType::kFloat32) return;
  std::vector<cv::Mat> planes = target.shown();
  if (chain.made.format == FrameFormat::kBgr) std::swap(planes[0], planes[2]);
  const double scale = 1.0 / static_cast<double>(target.spec.divisor);
  chains.push_back(
      chain.then("opencv_floats_split", {},
                 [scale, target, planes, packed = chain.made.planes[0], floats = cv::Mat()]() mutable {
                   packed.convertTo(floats, CV_32F, scale);
                   cv::split(floats, planes);
                   fillBars(target);
                 }));
}

std::vector<int> swscaleFlags(Filter filter) {
  // Its bilinear filter widens as the step does when it shrinks; the fast one does so only downwards.
  return filter == Filter::kArea ? std::vector<int>{SWS_AREA, SWS_BILINEAR}
                                 : std::vector<int>{SWS_FAST_BILINEAR};
}

const char* swscaleName(int flags) {
  return flags == SWS_AREA ? "swscale_area" : flags == SWS_BILINEAR ? "swscale_bilinear" : "swscale";
}

// Frames to planes of floats. colour_first: chains that resize packed pixels are contestants too.
std::vector<Chain> toPlanes(const Picture& frame, const Target& target, Filter filter,
                            bool colour_first) {
  std::vector<Chain> chains;
  const cv::Size size = target.content.size();
  const Chain start{"", {}, frame};
  const bool packed = frame.format == FrameFormat::kBgr, yuyv = frame.format == FrameFormat::kYuyv;

  Chain planes = start;
  if (yuyv) {
    const Picture to = makePicture(FrameFormat::kNv12, frame.w, frame.h);
    planes = start.then("libyuv_nv12", to, [from = frame.planes[0], to] {
      libyuv::YUY2ToNV12(from.data, strideOf(from), to.planes[0].data, strideOf(to.planes[0]),
                         to.planes[1].data, strideOf(to.planes[1]), to.w, to.h);
    });
  }
  for (const auto& [name, library] : kLibraries) {
    const Chain small = resized(planes, library, filter, size);
    for (const Chain& chain : packed ? std::vector<Chain>{small} : coloured(small))
      addFromPacked(chains, chain, target);
  }
  if (packed)
    addFromPlanes(chains, split(resized(start, Library::kOpenCv, filter, size), Library::kOpenCv),
                  target);
  if (colour_first)
    for (const Chain& chain : coloured(start)) {
      const bool words = chain.made.format == FrameFormat::kBgra;
      addFromPacked(chains, resized(chain, words ? Library::kLibyuv : Library::kOpenCv, filter, size),
                    target);
    }

  for (const int flags : swscaleFlags(filter)) {
    const std::string name = swscaleName(flags);
    addFromPacked(chains,
                  swscaled(frame, name + "_rgb", flags, AV_PIX_FMT_RGB24,
                           makePicture(FrameFormat::kRgb, size.width, size.height)),
                  target);
    addFromPlanes(chains,
                  swscaled(frame, name + "_planes", flags, AV_PIX_FMT_GBRP,
                           makePicture(FrameFormat::kRgb, size.width, size.height, true)),
                  target);
    if (target.spec.type == ElementType::kFloat32)
      chains.push_back(swscaled(frame, name + "_floats", flags, AV_PIX_FMT_GBRPF32,
                                {FrameFormat::kRgb, size.width, size.height, target.shown()})
                           .then("opencv_bars", {}, [target] { fillBars(target); }));
  }
  return chains;
}

// NV12 frames that stand on their side.
std::vector<Chain> toPlanesTurned(const Picture& frame, const Target& target) {
  std::vector<Chain> chains;
  const cv::Size size(target.content.height, target.content.width);
  for (const auto& [name, library] : kLibraries) {
    const Chain small = resized({"", {}, frame}, library, Filter::kBilinear, size);
    for (const Chain& chain : coloured(turnedNv12(small))) addFromPacked(chains, chain, target);
    for (const Chain& chain : coloured(small)) {
      addFromPacked(chains, turned(chain), target);
      addFromPlanes(chains, turned(split(chain, Library::kLibyuv)), target);
    }
  }
  addFromPlanes(chains,
                turned(swscaled(frame, "swscale_planes", SWS_FAST_BILINEAR, AV_PIX_FMT_GBRP,
                                makePicture(FrameFormat::kRgb, size.width, size.height, true))),
                target);
  return chains;
}

// NV12 frames to packed bytes.
std::vector<Chain> toPackedBytes(const Picture& frame, const Target& target) {
  std::vector<Chain> chains;
  const cv::Size size = target.content.size();
  const Picture shown{FrameFormat::kRgb, size.width, size.height, target.shown()};
  const Picture whole{FrameFormat::kRgb, target.spec.width, target.spec.height, target.whole()};
  const Chain start{"", {}, frame};
  const auto bars = [target] { fillBars(target); };
  for (const auto& [resize_name, resize] : kLibraries)
    for (const auto& [colour_name, library] : kLibraries)
      chains.push_back(colouredInto(resized(start, resize, Filter::kBilinear, size), library, shown)
                           .then("opencv_bars", {}, bars));
  chains.push_back(swscaled(frame, "swscale", SWS_FAST_BILINEAR, AV_PIX_FMT_RGB24, shown)
                       .then("opencv_bars", {}, bars));

  // A frame that has its bars before it is converted.
  const Picture boxed = makePicture(FrameFormat::kNv12, whole.w, whole.h);
  const cv::Rect luma = target.content;
  const cv::Rect chroma(luma.x / 2, luma.y / 2, luma.width / 2, luma.height / 2);
  const Picture inside{
      FrameFormat::kNv12, size.width, size.height, {boxed.planes[0](luma), boxed.planes[1](chroma)}};
  const Chain grey = start.then("opencv_bars", frame, [=] {
    fillBars(boxed.planes[0], luma, cv::Scalar::all(114));
    fillBars(boxed.planes[1], chroma, cv::Scalar::all(128));
  });
  Chain scaled = resizedInto(grey, Library::kLibyuv, Filter::kBilinear, inside);
  scaled.made = boxed;
  chains.push_back(colouredInto(scaled, Library::kLibyuv, whole));
  return chains;
}

// ---- rows --------------------------------------------------------------------------------------

void run(benchmark::State& state, const TensorSpec& spec, const Tarn::FrameView& view,
         const std::vector<Region>& regions) {
  Preprocessor preprocessor(spec);
  const auto make = [&] {
    preprocessor.run(view, regions.data(), regions.size(), destinationBytes(),
                     regions.size() * spec.bytes());
    benchmark::ClobberMemory();
  };
  // The first frame allocates what all later ones use.
  make();
  const std::size_t blocks_before = tn_test::allocationCount();
  for (auto _ : state) make();
  state.counters["allocations_per_frame"] =
      benchmark::Counter(static_cast<double>(tn_test::allocationCount() - blocks_before),
                         benchmark::Counter::kAvgIterations);
}

void addOurs(const std::string& row, const char* contestant, const TensorSpec& spec,
             const Picture& frame, int orientation = 1, const std::vector<Region>& regions = {{}}) {
  // The view does not own the planes.
  const auto keep = [planes = frame.planes](auto&&... all) { run(all...); };
  benchmark::RegisterBenchmark((row + "/" + contestant).c_str(), keep, spec, viewOf(frame, orientation),
                               regions)
      ->Unit(benchmark::kMicrosecond);
}

void addPeers(const std::string& row, const std::vector<Chain>& chains) {
  for (const Chain& chain : chains) addRow(row, chain.name.c_str(), chain.run);
}

// The older routine, which makes the content alone.
void addToolkitLimit(const std::string& row, const Picture& frame, const cv::Size& content) {
  const auto kit = std::make_shared<TarnYUVToolKit>(frame.w, frame.h, frame.w / 2, frame.h / 2,
                                                    content.width, content.height);
  Tarn::YuvToRgbOptions options;
  options.standard = Tarn::YuvStandard::kBt601;
  for (float& scale : options.scale) scale = 1.0f / 255.0f;
  kit->setCvtMat(Tarn::makeYuvToRgbMatrix(options));
  addRow(row, "limit:TarnYUVToolKit::convert", [=] {
    kit->convert({0, TN_PIX_FMT_NV12, frame.w, frame.h, 0, frame.planes[0].data},
                 {0, TN_PIX_FMT_CHW_F32, content.width, content.height, 0, destinationBytes()});
  });
}

std::string rowName(const char* format, const Picture& frame, const TensorSpec& spec, const char* rest) {
  return std::string("preprocess ") + format + " " + sizeName(frame.w, frame.h) + " to " +
         sizeName(spec.width, spec.height) + " " + rest;
}

TensorSpec letterbox(int side) {
  TensorSpec spec;
  spec.width = spec.height = side;
  spec.divisor = 255;
  return spec;
}

void addNv12Rows(const Picture& frame) {
  for (const int side : {640, 416}) {
    const TensorSpec spec = letterbox(side);
    const std::string row = rowName("NV12", frame, spec, "float32");
    const Target target = makeTarget(spec, viewOf(frame), destinationBytes());
    addOurs(row, "tn_kits", spec, frame);
    addToolkitLimit(row, frame, target.content.size());
    addPeers(row, toPlanes(frame, target, Filter::kBilinear, false));
  }

  TensorSpec halves = letterbox(640);
  halves.type = ElementType::kFloat16;
  TensorSpec bytes = letterbox(640);
  bytes.type = ElementType::kUint8;
  bytes.layout = TensorLayout::kNhwc;
  bytes.divisor = 1;
  for (const TensorSpec& spec : {halves, bytes}) {
    const bool packed = spec.layout == TensorLayout::kNhwc;
    const std::string row = rowName("NV12", frame, spec, packed ? "uint8 NHWC" : "float16");
    const Target target = makeTarget(spec, viewOf(frame), destinationBytes());
    addOurs(row, "tn_kits", spec, frame);
    addOurs(row, "limit:float32", letterbox(640), frame);
    addPeers(row,
             packed ? toPackedBytes(frame, target) : toPlanes(frame, target, Filter::kBilinear, false));
  }

  const TensorSpec upright = letterbox(640);
  const std::string row = rowName("NV12", frame, upright, "float32 orientation 6");
  addOurs(row, "tn_kits", upright, frame, 6);
  addOurs(row, "limit:upright", upright, frame);
  addPeers(row, toPlanesTurned(frame, makeTarget(upright, viewOf(frame, 6), destinationBytes())));
}

// Boxes of people, small ones far away and large ones near. The corners are even, for the peers.
void addRegionsRow(const Picture& frame) {
  constexpr int kRegions = 16;
  TensorSpec spec = letterbox(128);
  spec.height = 256;
  spec.fit = Tarn::Fit::kStretch;
  std::vector<Region> regions;
  std::vector<std::vector<Chain>> chains;
  for (int i = 0; i < kRegions; ++i) {
    const int w = (40 + i * 260 / (kRegions - 1)) & ~1, h = (100 + i * 600 / (kRegions - 1)) & ~1;
    regions.push_back({(i * 797) % (frame.w - w) & ~1, (i * 331) % (frame.h - h) & ~1, w, h});
    const Picture part = cut(frame, regions.back());
    const Target target =
        makeTarget(spec, viewOf(frame), destinationBytes() + static_cast<std::size_t>(i) * spec.bytes());
    chains.push_back(toPlanes(part, target, Filter::kBilinear, true));
  }
  const std::string row = rowName("NV12", frame, spec, "float32 16 regions");
  addOurs(row, "tn_kits", spec, frame, 1, regions);
  for (std::size_t k = 0; k < chains[0].size(); ++k) {
    std::vector<Run> runs;
    for (const std::vector<Chain>& region : chains) runs.push_back(region[k].run);
    addRow(row, chains[0][k].name.c_str(), [runs] {
      for (const Run& run : runs) run();
    });
  }
}

// A frame that is copied beside ours as a limit, because little more than reading it can be done.
void addAntialiasedRow(const Picture& frame) {
  TensorSpec spec = letterbox(640);
  spec.resampling = Resampling::kAntialiased;
  const std::string row = rowName("NV12", frame, spec, "float32 antialiased");
  const std::size_t bytes = 3 * frame.planes[0].total() / 2;
  addOurs(row, "tn_kits", spec, frame);
  addLimit(row, bytes, bytes);
  addPeers(row,
           toPlanes(frame, makeTarget(spec, viewOf(frame), destinationBytes()), Filter::kArea, false));
}

// The bytes of cv::resize, so only its chains are peers.
void addOpencvLinearRow(const Picture& frame) {
  const TensorSpec spec = TensorSpec::detector640();
  const std::string row = rowName("BGR", frame, spec, "float32 opencv-linear");
  const Target target = makeTarget(spec, viewOf(frame), destinationBytes());
  addOurs(row, "tn_kits", spec, frame);
  for (const Chain& chain : toPlanes(frame, target, Filter::kBilinear, false))
    if (chain.name.rfind("opencv_resize", 0) == 0) addRow(row, chain.name.c_str(), chain.run);

  // Step by step, as it is mostly written.
  const cv::Rect at = target.content;
  const Picture boxed = makePicture(FrameFormat::kBgr, spec.width, spec.height);
  const Chain small = resized({"", {}, frame}, Library::kOpenCv, Filter::kBilinear, at.size());
  Chain bordered = small.then("opencv_border", boxed, [=, from = small.made.planes[0]] {
    cv::copyMakeBorder(from, boxed.planes[0], at.y, spec.height - at.br().y, at.x,
                       spec.width - at.br().x, cv::BORDER_CONSTANT, cv::Scalar::all(114));
  });
  const Picture rgb = makePicture(FrameFormat::kRgb, spec.width, spec.height);
  bordered = bordered.then("opencv_rgb", rgb,
                           [=] { cv::cvtColor(boxed.planes[0], rgb.planes[0], cv::COLOR_BGR2RGB); });
  Target all = target;
  all.content = {0, 0, spec.width, spec.height};
  std::vector<Chain> chains;
  addFromPacked(chains, bordered, all);
  addPeers(row, chains);
}

}  // namespace

void registerRows() {
  cv::setNumThreads(1);
  const Picture nv12 = cameraPicture(FrameFormat::kNv12, 1920, 1080);
  const Picture bgr = cameraPicture(FrameFormat::kBgr, 1920, 1080);
  addNv12Rows(nv12);
  const struct {
    const char* name;
    Picture frame;
  } others[] = {{"YUYV", cameraPicture(FrameFormat::kYuyv, 1280, 720)},
                {"I422", cameraPicture(FrameFormat::kI422, 1280, 720)},
                {"BGR", bgr}};
  for (const auto& [name, frame] : others) {
    const TensorSpec spec = letterbox(640);
    const std::string row = rowName(name, frame, spec, "float32");
    addOurs(row, "tn_kits", spec, frame);
    addPeers(row, toPlanes(frame, makeTarget(spec, viewOf(frame), destinationBytes()), Filter::kBilinear,
                           frame.format == FrameFormat::kYuyv));
  }
  addOpencvLinearRow(bgr);

  // Its peer is no C++ library: benchmarks/pillow_beside.py measures it.
  TensorSpec pillow = TensorSpec::imagenet224();
  pillow.fit = Tarn::Fit::kStretch;
  pillow.short_side = 0;
  pillow.pillow = 13;
  const Picture rgb = cameraPicture(FrameFormat::kRgb, 1920, 1080);
  addOurs(rowName("RGB", rgb, pillow, "float32 pillow-bilinear"), "tn_kits", pillow, rgb);

  addAntialiasedRow(cameraPicture(FrameFormat::kNv12, 3840, 2160));
  addRegionsRow(nv12);
}
