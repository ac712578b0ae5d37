// Nearest-neighbour resizing of packed bytes, of a whole image or of a rectangle of it.
//
// The bytes of an output row are picked by windows (common/tn_windows.h) if each window serves four of
// them or more, otherwise pixel by pixel. Output rows with the same source row are copies.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "tn_resize.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "platform/tn_cnn/src/tn_resize_nearest.cpp"
#include "hwy/foreach_target.h"  // compiles this file again for every CPU target
// After foreach_target.h, so that each target includes them again.
#include "common/tn_scratch.h"
#include "common/tn_tail-inl.h"
#include "common/tn_windows-inl.h"
#include "hwy/highway.h"

#ifndef TN_KITS_PLATFORM_TN_CNN_SRC_TN_RESIZE_NEAREST_ONCE
#define TN_KITS_PLATFORM_TN_CNN_SRC_TN_RESIZE_NEAREST_ONCE
namespace TarnCPU {
namespace {

// Inclusive corners; they may lie outside the source.
struct Corners {
  int left, top, right, bottom;
};

struct Image {
  const unsigned char* src;
  int sw, sh;
  unsigned char* dst;
  int dw, dh;
};

// Columns, or rows: output i takes source position low + i * length / outputs.
struct Axis {
  int outputs, low;
  std::int64_t length;
  // The outputs whose source lies inside the image: one run, since positions do not fall.
  int begin, end;

  // No intermediate overflows: i < 2^31, length <= 2^32.
  std::int64_t positionOf(int i) const { return low + i * length / outputs; }
};

struct NearestJob {
  Image image;
  Axis columns, rows;  // neither run is empty
};

// One output row without vectors.
template <int kC>
void copyPixels(const std::uint8_t* row, const std::int32_t* columns, std::size_t count,
                std::uint8_t* out) {
  for (std::size_t i = 0; i < count; ++i)
    std::memcpy(out + i * kC, row + static_cast<std::ptrdiff_t>(columns[i]) * kC, kC);
}

// pick(source row, output row): fills the run of one row. Rows that repeat the one before are copied.
template <int kC, class Pick>
void forEachNearestRow(const NearestJob& job, Pick pick) {
  const Image& image = job.image;
  const std::size_t bytes = static_cast<std::size_t>(job.columns.end - job.columns.begin) * kC;
  std::int64_t last = -1;
  std::uint8_t* last_out = nullptr;
  for (int y = job.rows.begin; y < job.rows.end; ++y) {
    const std::int64_t row = job.rows.positionOf(y);
    std::uint8_t* const out =
        image.dst + (static_cast<std::ptrdiff_t>(y) * image.dw + job.columns.begin) * kC;
    if (row == last)
      std::memcpy(out, last_out, bytes);
    else
      pick(image.src + static_cast<std::ptrdiff_t>(row) * image.sw * kC, out);
    last = row;
    last_out = out;
  }
}

}  // namespace
}  // namespace TarnCPU
#endif  // TN_KITS_PLATFORM_TN_CNN_SRC_TN_RESIZE_NEAREST_ONCE

HWY_BEFORE_NAMESPACE();
namespace TarnCPU::HWY_NAMESPACE {
namespace {

#if TN_BLOCKS

using D8 = hn::ScalableTag<std::uint8_t>;
constexpr std::size_t kBytes = kVectorBytes<D8>;
using PickLayout = VectorLayout<1, kBytes / kBlockBytes>;
constexpr std::size_t kMostWindows = 4;

using PickFunction = void (*)(const std::uint8_t* row, const WindowTables& tables, std::size_t count,
                              std::uint8_t* out);

template <std::size_t kWindows>
void PickRow(const std::uint8_t* row, const WindowTables& tables, std::size_t count, std::uint8_t* out) {
  const D8 d8;
  WindowReader<kWindows> bytes(row, tables);
  std::size_t i = 0;
  for (; i + kBytes <= count; i += kBytes) hn::StoreU(bytes.next(d8), d8, out + i);
  if (i < count) StoreFirst(bytes.next(d8), d8, count - i, out + i);
}

#endif  // TN_BLOCKS

template <int kC>
void ResizeNearest(const NearestJob& job) {
#if TN_BLOCKS
  constexpr std::size_t kStep = kBytes;
#else
  constexpr std::size_t kStep = 1, kMostWindows = 0;
#endif
  const std::size_t width = static_cast<std::size_t>(job.columns.end - job.columns.begin);
  const std::size_t samples = width * kC;
  const std::size_t padded = (samples + kStep - 1) / kStep * kStep;
  Scratch scratch;
  const auto [columns, sources, offsets, shuffles] =
      scratch.allocate(ScratchArray<std::int32_t>{width}, ScratchArray<std::int32_t>{padded},
                       ScratchArray<std::int32_t>{padded / 16 * kMostWindows},
                       ScratchArray<std::uint8_t>{padded * kMostWindows});
  const std::int32_t* const pixels = columns;
  for (std::size_t x = 0; x < width; ++x)
    columns[x] =
        static_cast<std::int32_t>(job.columns.positionOf(job.columns.begin + static_cast<int>(x)));
#if TN_BLOCKS
  const std::ptrdiff_t row_bytes = static_cast<std::ptrdiff_t>(job.image.sw) * kC;
  if (windowsFit(row_bytes)) {
    const WindowTables tables = {offsets, shuffles};
    fillSources<kC>([pixels](std::size_t x) { return pixels[x]; }, samples, padded, sources);
    // A window for each pixel of 4 bytes would be no faster than a copy of the pixel.
    constexpr std::size_t kMost = kC == 4 ? 2 : kMostWindows;
    const PickFunction pick =
        fillFewestWindows<kMost>(PlainSamples(), PickLayout(), sources, padded, row_bytes, tables,
                                 [](auto windows) -> PickFunction { return PickRow<windows()>; });
    if (pick != nullptr)
      return forEachNearestRow<kC>(
          job, [&](const std::uint8_t* row, std::uint8_t* out) { pick(row, tables, samples, out); });
  }
#endif
  forEachNearestRow<kC>(
      job, [&](const std::uint8_t* row, std::uint8_t* out) { copyPixels<kC>(row, pixels, width, out); });
}

void NearestC1(const NearestJob& job) { ResizeNearest<1>(job); }
void NearestC3(const NearestJob& job) { ResizeNearest<3>(job); }
void NearestC4(const NearestJob& job) { ResizeNearest<4>(job); }

}  // namespace
}  // namespace TarnCPU::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace TarnCPU {

HWY_EXPORT(NearestC1);
HWY_EXPORT(NearestC3);
HWY_EXPORT(NearestC4);

namespace {

// The first output at or behind source position `least`.
int firstAt(const Axis& axis, std::int64_t least) {
  int low = 0, high = axis.outputs;
  while (low < high) {
    const int middle = low + (high - low) / 2;
    if (axis.positionOf(middle) < least)
      low = middle + 1;
    else
      high = middle;
  }
  return low;
}

Axis makeAxis(int outputs, int low, int high, int source) {
  Axis axis = {outputs, low, std::int64_t{high} - low + 1, 0, 0};
  axis.begin = firstAt(axis, 0);
  axis.end = firstAt(axis, source);
  return axis;
}

void cropResizeNearest(void (*resize)(const NearestJob&), const Image& image, const Corners& crop) {
  if (image.dw < 1 || image.dh < 1 || crop.right < crop.left || crop.bottom < crop.top) return;
  const Axis columns = makeAxis(image.dw, crop.left, crop.right, image.sw);
  const Axis rows = makeAxis(image.dh, crop.top, crop.bottom, image.sh);
  if (columns.begin >= columns.end || rows.begin >= rows.end) return;
  resize({image, columns, rows});
}

}  // namespace

void resize_nearest_c1(const unsigned char* src, int sw, int sh, unsigned char* dst, int dw, int dh) {
  // Rounded down, the last position is below sw already.
  cropResizeNearest(HWY_DYNAMIC_DISPATCH(NearestC1), {src, sw, sh, dst, dw, dh}, {0, 0, sw - 1, sh - 1});
}

void crop_resize_nearest_c1(const unsigned char* src, int sw, int sh, unsigned char* dst, int dw, int dh,
                            int left, int top, int right, int bottom) {
  cropResizeNearest(HWY_DYNAMIC_DISPATCH(NearestC1), {src, sw, sh, dst, dw, dh},
                    {left, top, right, bottom});
}

void crop_resize_nearest_c3(const unsigned char* src, int sw, int sh, unsigned char* dst, int dw, int dh,
                            int left, int top, int right, int bottom) {
  cropResizeNearest(HWY_DYNAMIC_DISPATCH(NearestC3), {src, sw, sh, dst, dw, dh},
                    {left, top, right, bottom});
}

void crop_resize_nearest_c4(const unsigned char* src, int sw, int sh, unsigned char* dst, int dw, int dh,
                            int left, int top, int right, int bottom) {
  cropResizeNearest(HWY_DYNAMIC_DISPATCH(NearestC4), {src, sw, sh, dst, dw, dh},
                    {left, top, right, bottom});
}

}  // namespace TarnCPU
#endif  // HWY_ONCE
