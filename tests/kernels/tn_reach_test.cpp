// How far the exported routines reach, each by a row of a table: which bytes of its buffers it may read,
// and which it writes. What the bytes are is for the tests of the families.
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <optional>
#include <regex>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/log_lines.h"
#include "tests/support/test_support.h"
#include "tn_boxtracker.h"
#include "tn_cnn.h"
#include "tn_core.h"
#include "tn_cv.h"
#include "tn_yuvconverter.h"

namespace {

using namespace TarnCPU;
using Tarn::TarnYUVToolKit;
using tn_test::ForEachTarget;
using tn_test::Guarded;

std::size_t size(int n) { return static_cast<std::size_t>(n); }

enum class Use {
  kRead,     // must come out as it went in
  kWritten,  // the bytes that `written` tells, all if it is empty, and no others
  kAny,      // scratch, or read and overwritten: anything may be in it afterwards
};

// Memory of exactly the documented size.
struct Buffer {
  Use use;
  std::size_t bytes;
  std::function<bool(int)> written = {};
  // Of kRead: results depend on the last of these bytes and on none behind it. None: not looked at.
  std::optional<std::size_t> needed = {};
  std::vector<std::uint8_t> content = {};  // of kRead, in place of random bytes
};

Buffer reads(int bytes) { return {Use::kRead, size(bytes)}; }
Buffer needs(int bytes, int ignored = 0) { return {Use::kRead, size(bytes), {}, size(bytes - ignored)}; }
Buffer readsAll(std::vector<std::uint8_t> content) {
  return {Use::kRead, content.size(), {}, {}, std::move(content)};
}
Buffer writes(int bytes, std::function<bool(int)> written = {}) {
  return {Use::kWritten, size(bytes), std::move(written)};
}
Buffer uses(int bytes) { return {Use::kAny, size(bytes)}; }

using Memory = std::vector<std::uint8_t*>;
struct Row {
  std::string routine;  // its name in the list of exported symbols
  std::string sizes;
  std::vector<Buffer> buffers;
  std::function<void(const Memory& at)> call;
};

float* floats(std::uint8_t* bytes) { return reinterpret_cast<float*>(bytes); }

// A buffer as a row finds it.
Guarded prepared(const Buffer& buffer, std::uint8_t fill) {
  Guarded memory =
      buffer.use == Use::kRead ? tn_test::RandomBytes(buffer.bytes) : Guarded(buffer.bytes, fill);
  if (!buffer.content.empty()) std::memcpy(memory.data(), buffer.content.data(), buffer.bytes);
  return memory;
}

// Runs a row with what is to be written filled with `fill`, and with the highest bit of one buffer's
// bytes from `from` to `to` turned.
std::vector<Guarded> run(const Row& row, std::uint8_t fill, std::size_t turned = 0, std::size_t from = 0,
                         std::size_t to = 0) {
  std::vector<Guarded> buffers;
  Memory at;
  for (const Buffer& buffer : row.buffers) {
    buffers.push_back(prepared(buffer, fill));
    at.push_back(buffers.back().data());
  }
  for (std::size_t i = from; i < to; ++i) buffers[turned][i] ^= 0x80;
  row.call(at);
  for (std::size_t i = from; i < to; ++i) buffers[turned][i] ^= 0x80;
  return buffers;
}

bool sameResults(const Row& row, const std::vector<Guarded>& a, const std::vector<Guarded>& b) {
  for (std::size_t k = 0; k < a.size(); ++k)
    if (row.buffers[k].use == Use::kWritten && a[k].size() != 0 &&
        std::memcmp(a[k].data(), b[k].data(), a[k].size()) != 0)
      return false;
  return true;
}

void expectReach(const Row& row) {
  constexpr std::uint8_t fills[] = {0xA5, 0x5A};
  const std::vector<Guarded> a = run(row, fills[0]), b = run(row, fills[1]);
  for (std::size_t k = 0; k < a.size(); ++k) {
    const Buffer& buffer = row.buffers[k];
    const std::string name =
        "of buffer " + std::to_string(k) + ", " + std::to_string(buffer.bytes) + " bytes";
    const Guarded before = prepared(buffer, fills[0]);
    for (std::size_t i = 0; i < buffer.bytes; ++i) {
      if (buffer.use == Use::kRead) {
        ASSERT_EQ(a[k][i], before[i]) << "byte " << i << " " << name << " is only to be read";
      }
      if (buffer.use != Use::kWritten) continue;
      const bool left = a[k][i] == fills[0] && b[k][i] == fills[1];
      ASSERT_EQ(!left, !buffer.written || buffer.written(static_cast<int>(i)))
          << "byte " << i << " " << name;
      ASSERT_TRUE(left || a[k][i] == b[k][i])
          << "byte " << i << " " << name << " depends on the old one";
    }
    if (!buffer.needed) continue;
    ASSERT_FALSE(sameResults(row, a, run(row, fills[0], k, *buffer.needed - 1, *buffer.needed)))
        << "nothing comes of byte " << *buffer.needed - 1 << " " << name;
    ASSERT_TRUE(sameResults(row, a, run(row, fills[0], k, *buffer.needed, buffer.bytes)))
        << "results depend on bytes behind " << *buffer.needed << " " << name;
  }
}

struct Table {
  std::vector<Row> rows;

  void add(const std::string& routine, const std::string& sizes, std::vector<Buffer> buffers,
           std::function<void(const Memory&)> call) {
    rows.push_back({routine, sizes, std::move(buffers), std::move(call)});
  }
};

struct Size {
  int w, h;
};
// Pixels, odd sizes, and widths around a step of each vector length.
const Size kSizes[] = {{1, 1},  {1, 2},  {2, 1},  {2, 2},  {3, 3},  {4, 4},   {5, 2},  {1, 9},
                       {8, 8},  {15, 4}, {16, 1}, {17, 4}, {31, 3}, {32, 2},  {33, 5}, {64, 4},
                       {63, 2}, {65, 7}, {2, 33}, {68, 3}, {96, 8}, {129, 2}, {130, 3}};

std::string text(std::initializer_list<std::int64_t> numbers) {
  std::string all;
  for (const std::int64_t number : numbers) all += (all.empty() ? "" : " ") + std::to_string(number);
  return all;
}

template <class Routine>
struct Named {
  const char* name;
  Routine routine;
  int c;  // channels, or what else tells them apart
};
#define TN_NAMED(routine) #routine, routine

void addColour(Table& table) {
  using OfFrame = void (*)(const unsigned char*, int, int, unsigned char*);
  using OfCount = void (*)(const unsigned char*, unsigned char*, int);
  // With the bytes of a pixel.
  static const Named<OfCount> greys[] = {{TN_NAMED(TarnCPU::getGray_from_BGRA_HWC), 4},
                                         {TN_NAMED(TarnCPU::getGray_from_RGBA_HWC), 4},
                                         {TN_NAMED(TarnCPU::getGray_from_RGB_HWC), 3}};
  static const Named<OfCount> planars[] = {{TN_NAMED(TarnCPU::getRGB_CHW_from_BGRA_HWC), 4},
                                           {TN_NAMED(TarnCPU::getRGB_CHW_from_RGBA_HWC), 4},
                                           {TN_NAMED(TarnCPU::getRGB_CHW_from_RGB_HWC), 3}};
  for (const Size s : kSizes) {
    const int w = s.w, h = s.h, n = w * h, pairs = (h + 1) / 2;
    const auto of_frame = [&](const char* name, OfFrame routine, const Buffer& src, const Buffer& dst) {
      table.add(name, text({w, h}), {src, dst}, [=](const Memory& at) { routine(at[0], w, h, at[1]); });
    };
    const Buffer walk = needs(n + 2 * pairs * w), walked = writes(3 * w * (2 * pairs + 1));
    of_frame(TN_NAMED(TarnCPU::TN_CV::nv12_to_rgb_fast_asm), walk, walked);
    of_frame(TN_NAMED(TarnCPU::TN_CV::yuv420sp_to_rgb_fast_asm), walk, walked);
    const int planes = std::max(2 * pairs * w - w % 2, n + n / 4 + pairs * (w / 2));
    of_frame(TN_NAMED(TarnCPU::TN_CV::yuv420f_to_rgb), w == 1 ? reads(0) : needs(planes),
             writes(6 * pairs * w, [=](int i) { return i / 3 % w < w / 2 * 2; }));
    const auto of_count = [&](const Named<OfCount>& k, int written) {
      table.add(k.name, text({n}), {needs(k.c * n, k.c - 3), writes(written * n)},
                [=](const Memory& at) { k.routine(at[0], at[1], n); });
    };
    for (const Named<OfCount>& k : greys) of_count(k, 1);
    for (const Named<OfCount>& k : planars) of_count(k, 3);
  }
}

void addGeometry(Table& table) {
  using Turn = void (*)(const unsigned char*, int, int, unsigned char*);
  static const Named<Turn> turns[] = {{TN_NAMED(TarnCPU::TN_CV::rotate90_intrinsics_3_channel), 3},
                                      {TN_NAMED(TarnCPU::TN_CV::rotate90_intrinsics_4_channel), 4},
                                      {TN_NAMED(TarnCPU::TN_CV::anti_rotate90_intrinsics_3_channel), 3},
                                      {TN_NAMED(TarnCPU::TN_CV::anti_rotate90_intrinsics_4_channel), 4}};
  using Mirror = void (*)(const unsigned char*, int, int, unsigned char*, int);
  static const Named<Mirror> mirrors[] = {{TN_NAMED(TarnCPU::TN_CV::flip_horizontal), 0},
                                          {TN_NAMED(TarnCPU::TN_CV::flip_vertical), 0}};
  for (const Size s : kSizes) {
    const int w = s.w, h = s.h, n = w * h;
    // Turns of other sizes need not come to the last pixel.
    for (const auto& k : turns)
      table.add(k.name, text({w, h}),
                {w % 4 == 0 && h % 4 == 0 ? needs(k.c * n) : reads(k.c * n), writes(k.c * n)},
                [=](const Memory& at) { k.routine(at[0], w, h, at[1]); });
    for (const int c : {1, 2, 3, 4, 5}) {
      for (const auto& k : mirrors)
        table.add(k.name, text({w, h, c}), {needs(c * n), writes(c * n)},
                  [=](const Memory& at) { k.routine(at[0], w, h, at[1], c); });
      // Up to the last pixel, from the first one on or from further inside.
      for (const int x0 : {0, w / 2}) {
        const int y0 = x0 / 3 % h, cw = w - x0, ch = h - y0;
        table.add("TarnCPU::TN_CV::cut_sub_img_inhwc_outhwc", text({w, h, x0, y0, c}),
                  {needs(c * n), writes(c * cw * ch)}, [=](const Memory& at) {
                    TN_CV::cut_sub_img_inhwc_outhwc(at[0], w, h, at[1], cw, ch, x0, y0, c);
                  });
        table.add("TarnCPU::TN_CV::cut_sub_img_inchw_outchw", text({w, h, x0, y0, c}),
                  {needs(4 * c * n), writes(4 * c * cw * ch)}, [=](const Memory& at) {
                    TN_CV::cut_sub_img_inchw_outchw(floats(at[0]), w, h, floats(at[1]), cw, ch, x0, y0,
                                                    c);
                  });
      }
    }
  }
}

void addResizers(Table& table) {
  using Resize = void (*)(const unsigned char*, int, int, unsigned char*, int, int);
  static const Named<Resize> resizers[] = {
      {TN_NAMED(TarnCPU::TN_CV::resize_bilinear_c2), 2}, {TN_NAMED(TarnCPU::resize_bilinear_c1), 1},
      {TN_NAMED(TarnCPU::resize_bilinear_c2), 2},        {TN_NAMED(TarnCPU::resize_bilinear_c3), 3},
      {TN_NAMED(TarnCPU::resize_bilinear_c4), 4},        {TN_NAMED(TarnCPU::resize_nearest_c1), 1}};
  using Crop = void (*)(const unsigned char*, int, int, unsigned char*, int, int, int, int, int, int);
  static const Named<Crop> crops[] = {{TN_NAMED(TarnCPU::crop_resize_nearest_c1), 1},
                                      {TN_NAMED(TarnCPU::crop_resize_nearest_c3), 3},
                                      {TN_NAMED(TarnCPU::crop_resize_nearest_c4), 4}};
  static const int sizes[][4] = {{1, 1, 1, 1},   {1, 4, 40, 3},  {2, 2, 3, 3},    {3, 5, 7, 2},
                                 {7, 2, 64, 2},  {16, 4, 33, 9}, {33, 7, 16, 3},  {9, 3, 9, 3},
                                 {64, 3, 64, 3}, {17, 3, 13, 5}, {100, 9, 31, 4}, {5, 3, 130, 6}};
  for (const auto& pair : sizes) {
    const int sw = pair[0], sh = pair[1], dw = pair[2], dh = pair[3], n = sw * sh, m = dw * dh;
    for (const auto& k : resizers)
      table.add(k.name, text({sw, sh, dw, dh}),
                {sw == dw && sh == dh ? needs(k.c * n) : reads(k.c * n), writes(k.c * m)},
                [=](const Memory& at) { k.routine(at[0], sw, sh, at[1], dw, dh); });
    const int rectangles[][4] = {
        {0, 0, sw - 1, sh - 1}, {-3, -2, sw + 1, sh}, {sw / 2, 0, 3 * sw, sh - 1}, {-1, 1, -2, 5}};
    for (const auto& rectangle : rectangles) {
      const int l = rectangle[0], t = rectangle[1], r = rectangle[2], b = rectangle[3];
      const auto inside = [=](int pixel) {
        const int x = l + pixel % dw * (r - l + 1) / dw, y = t + pixel / dw * (b - t + 1) / dh;
        return l <= r && t <= b && x >= 0 && x < sw && y >= 0 && y < sh;
      };
      for (const auto& k : crops)
        table.add(k.name, text({sw, sh, dw, dh, l, t, r, b}),
                  {reads(k.c * n), writes(k.c * m, [=](int i) { return inside(i / k.c); })},
                  [=](const Memory& at) { k.routine(at[0], sw, sh, at[1], dw, dh, l, t, r, b); });
    }
  }
}

Mat view(std::uint8_t* data, int w, int h, int c) {
  return Mat::from_float_array(floats(data), w, h, c, TensorShape::CHW, nullptr);
}

void addWarps(Table& table) {
  using Warp = void (*)(Mat, Mat, const float*);
  // With the planes that the source says it has: those that the destination lacks may lack memory.
  static const Named<Warp> warps[] = {{TN_NAMED(affine), 4},
                                      {TN_NAMED(affine_optimized), 4},
                                      {TN_NAMED(affine_sse), 3},
                                      {TN_NAMED(affine_sse_hwc), 3}};
  // About upright, and one that leaves the source on all sides.
  const float matrices[][6] = {{0.9f, -0.2f, 0.05f, 0.2f, 0.9f, -0.03f}, {5, 1, 0.5f, -2, 4, 0}};
  for (const auto& m : matrices) {
    const auto* const bytes = reinterpret_cast<const std::uint8_t*>(m);
    const Buffer matrix = readsAll({bytes, bytes + sizeof m});
    for (const Size s : kSizes)
      for (const auto& k : warps) {
        const int w = s.w, h = s.h, n = k.c == 3 && (w < 2 || h < 2) ? 0 : w * h;
        table.add(k.name, text({w, h}), {reads(12 * n), writes(12 * n), matrix}, [=](const Memory& at) {
          k.routine(view(at[0], w, h, k.c), view(at[1], w, h, 3), floats(at[2]));
        });
        if (k.c == 3) continue;
        table.add(k.name, text({w, h, 19, 6}), {reads(8 * n), writes(8 * 19 * 6), matrix},
                  [=](const Memory& at) {
                    k.routine(view(at[0], w, h, 2), view(at[1], 19, 6, 2), floats(at[2]));
                  });
      }
  }
}

_TN_Image image(int format, int w, int h, void* data, unsigned orient = 0) {
  return {orient, format, w, h, 0, data};
}

// The bytes that a crop touches of one of its frames: `pairs` pairs of luma rows, `length` bytes of each
// from (x, y) on, and a chroma row for each pair.
struct CropBytes {
  bool planar;
  int w, h, x, y, pairs, length;

  template <class Range>
  void forEachRange(const Range& range) const {
    for (int row = y; row < y + 2 * pairs; ++row) range(row * w + x, length);
    for (int row = y / 2; row < y / 2 + pairs; ++row) {
      const int luma = w * h, offset = row * w + x;
      if (!planar) {
        range(luma + offset, length);
        continue;
      }
      range(luma + offset / 2, length / 2);
      range(luma + luma / 4 + offset / 2, length / 2);
    }
  }
  bool touches(int byte) const {
    bool found = false;
    forEachRange([&](int first, int count) { found |= byte >= first && byte < first + count; });
    return found;
  }
  // Behind the last byte; in front of the first one.
  int end() const {
    int end = 0;
    if (length > 0) forEachRange([&](int first, int count) { end = std::max(end, first + count); });
    return end;
  }
  int begin() const { return end() == 0 ? 0 : y * w + x; }
};

void addCrops(Table& table) {
  static const struct {
    Size in, out;
    int x0, y0, x1, y1;
  } crops[] = {
      {{8, 6}, {8, 6}, 0, 0, 7, 5},
      {{64, 48}, {32, 16}, 10, 20, 41, 35},
      {{64, 48}, {20, 20}, -4, -2, 15, 17},
      {{64, 48}, {40, 30}, 40, 30, 79, 59},
      {{20, 10}, {40, 30}, -10, -10, 29, 19},
      {{64, 48}, {6, 4}, 10, 10, 14, 13},
      // An odd number of rows, last at the bottom of frames of even and of odd height.
      {{64, 48}, {8, 6}, 0, 0, 7, 4},
      {{64, 48}, {8, 4}, 4, 45, 11, 47},
      {{64, 47}, {8, 4}, 0, 44, 7, 46},
      {{33, 21}, {33, 21}, 0, 0, 32, 20},
      {{64, 48}, {17, 17}, 7, 9, 22, 24},
      {{33, 21}, {15, 11}, 4, 2, 18, 12},
      {{1, 1}, {1, 1}, 0, 0, 0, 0},
      {{9, 9}, {9, 9}, 3, 0, 2, 8},
      {{9, 9}, {9, 9}, 9, 0, 12, 8},
      {{64, 48}, {9, 2}, 0, 5, 8, 5},
  };
  for (const auto& k : crops)
    for (const bool planar : {false, true}) {
      const int xs = std::max(k.x0, 0), xe = std::min(k.x1, k.in.w - 1);
      const int ys = std::max(k.y0, 0), ye = std::min(k.y1, k.in.h - 1);
      const bool some = xs <= xe && ys <= ye;
      const int pairs = some ? (ye - ys) / 2 + 1 : 0, length = some ? (xe - xs + 1) / 2 * 2 : 0;
      const CropBytes in = {planar, k.in.w, k.in.h, xs, ys, pairs, length};
      const CropBytes out = {planar, k.out.w, k.out.h, xs - k.x0, ys - k.y0, pairs, length};
      // Neither frame has memory but from the first byte that counts to the last.
      const int read = in.end() - in.begin();
      table.add(planar ? "Tarn::TarnYUVToolKit::Crop_YUVI420" : "Tarn::TarnYUVToolKit::Crop",
                text({in.w, in.h, out.w, out.h, k.x0, k.y0, k.x1, k.y1}),
                {read > 0 ? needs(read) : reads(0),
                 writes(out.end() - out.begin(), [=](int i) { return out.touches(i + out.begin()); })},
                [=](const Memory& at) {
                  (planar ? TarnYUVToolKit::Crop_YUVI420 : TarnYUVToolKit::Crop)(
                      image(0, in.w, in.h, at[0] - in.begin()),
                      image(0, out.w, out.h, at[1] - out.begin()), k.x0, k.y0, k.x1, k.y1);
                });
    }
}

// Three planes of w * h floats, written in the part that `inside` tells of a pixel.
template <class Inside>
Buffer writesPlanes(int w, int h, const Inside& inside) {
  return writes(12 * w * h, [=](int i) { return inside(i / 4 % (w * h) % w, i / 4 % (w * h) / w); });
}

void addToolkit(Table& table) {
  const Tarn::_ConvertMatrixFromYUV mat = {1.1f, 0.3f,  1.7f, 1.2f,   -0.2f, -0.5f,
                                           1.3f, 2.11f, 0.4f, -97.3f, 33.7f, -115.2f};
  for (const Size s : kSizes) {
    const int w = s.w, h = s.h;
    const bool even = w % 2 == 0 && h % 2 == 0;
    const auto even_part = [](int across, int down) {
      return [=](int x, int y) { return x < across / 2 * 2 && y < down / 2 * 2; };
    };
    for (const int extra : {0, 3}) {
      const int ow = w + extra, oh = h + extra, frame = w * h + w * (h / 2);
      table.add("Tarn::TarnYUVToolKit::Convert", text({w, h, extra}),
                {even ? needs(frame) : reads(frame), writesPlanes(ow, oh, even_part(w, h))},
                [=](const Memory& at) {
                  TarnYUVToolKit::Convert(image(TN_PIX_FMT_NV12, w, h, at[0]),
                                          image(TN_PIX_FMT_CHW_F32, ow, oh, at[1]), mat);
                });
    }
    for (const Size to : {Size{w, h}, Size{2 * w, 3 * h}, Size{w / 2 + 1, h / 2 + 1}, Size{33, 5}})
      for (const int uv : {w / 2, 1}) {
        const int dw = to.w, dh = to.h, frame = w * h + 2 * uv * (h / 2);
        const bool same = even && dw == w && dh == h && uv == w / 2;
        table.add("Tarn::TarnYUVToolKit::convert", text({w, h, uv, dw, dh}),
                  {same ? needs(frame) : reads(frame), writesPlanes(dw, dh, even_part(dw, dh))},
                  [=](const Memory& at) {
                    TarnYUVToolKit kit(w, h, uv, h / 2, dw, dh);
                    kit.setCvtMat(mat);
                    kit.convert(image(TN_PIX_FMT_NV12, 1, 1, at[0]),
                                image(TN_PIX_FMT_CHW_F32, 1, 1, at[1]));
                  });
      }
  }
}

int frameBytes(int format, int w, int h) {
  const int n = w * h, chroma = (w / 2) * (h / 2);
  if (format == TN_PIX_FMT_YUVI420) return chroma == 0 ? n : n + n / 4 + chroma;
  if (format == TN_PIX_FMT_NV12 || format == TN_PIX_FMT_NV21) return n + 2 * chroma;
  return format == TN_PIX_FMT_BGRA || format == TN_PIX_FMT_RGBA ? 4 * n : 3 * n;
}

void addNetworkInput(Table& table) {
  for (const int format : {TN_PIX_FMT_YUVI420, TN_PIX_FMT_NV12, TN_PIX_FMT_NV21, TN_PIX_FMT_BGRA,
                           TN_PIX_FMT_RGBA, TN_PIX_FMT_BGR, TN_PIX_FMT_RGB})
    for (const Size from : {Size{1, 1}, Size{3, 5}, Size{2, 2}, Size{16, 10}, Size{33, 7}})
      for (const Size to : {Size{1, 1}, Size{2, 3}, Size{4, 4}, Size{17, 5}, Size{36, 36}, Size{65, 2}})
        for (const unsigned orient : {0u, 1u, 20u}) {
          const int b = format == TN_PIX_FMT_BGRA || format == TN_PIX_FMT_RGBA ? 4 : 3;
          // The tensor that `out` held is the caller's and only dropped.
          const std::vector<Buffer> buffers = {reads(frameBytes(format, from.w, from.h)),
                                               uses(4 * to.w * to.h), uses(b * to.w * to.h), reads(8)};
          const std::string sizes = text({format, from.w, from.h, to.w, to.h, orient});
          table.add("TarnCPU::TN_CV::getInMat", sizes, buffers, [=](const Memory& at) {
            const _TN_Image frame = image(format, from.w, from.h, at[0], orient);
            Mat out = view(at[3], 2, 1, 1);
            TN_CV::getInMat(&frame, out, 0, to.w, to.h, at[1], at[2]);
          });
          table.add("TarnCPU::TN_CV::getInMat_m1", sizes, buffers, [=](const Memory& at) {
            const _TN_Image frame = image(format, from.w, from.h, at[0], orient);
            Mat out = view(at[3], 2, 1, 1);
            int left = -1, top = 0, right = from.w, bottom = from.h + 2;
            TN_CV::getInMat_m1(&frame, out, 1, to.w, to.h, at[1], at[2], left, top, right, bottom, true);
          });
        }
  // Of a format that it does not know it touches no pixel, but the background is there before it looks.
  table.add("TarnCPU::TN_CV::getInMat_m1", "unknown format",
            {reads(0), writes(4 * 5 * 3), reads(3 * 5 * 3)}, [](const Memory& at) {
              const _TN_Image frame = image(TN_PIX_FMT_YUV420V, 8, 8, at[0]);
              Mat out;
              int left = 0, top = 0, right = 7, bottom = 7;
              TN_CV::getInMat_m1(&frame, out, 0, 5, 3, at[1], at[2], left, top, right, bottom, true);
            });
  table.add("TarnCPU::TN_CV::rectify_cropbox", "any", {reads(0)}, [](const Memory& at) {
    const _TN_Image frame = image(TN_PIX_FMT_RGB, 9, 7, at[0], 1);
    int left = 1, top = 2, right = 3, bottom = 4, width = 3, height = 3;
    TN_CV::rectify_cropbox(&frame, left, top, right, bottom, width, height);
  });
  static const int pastes[][4] = {
      {5, 4, 5, 4}, {8, 9, 5, 2}, {7, 3, 1, 3}, {40, 6, 33, 5}, {4, 4, 0, 2}};
  for (const auto& paste : pastes) {
    const int dw = paste[0], dh = paste[1], w = paste[2], h = paste[3];
    const int x0 = (dw - w) / 2, y0 = (dh - h) / 2;
    const auto inside = [=](int x, int y) { return x >= x0 && x < x0 + w && y >= y0 && y < y0 + h; };
    table.add("TarnCPU::TN_CV::cover_mid_img_with_littleImg_inMat_outFloatPointer", text({dw, dh, w, h}),
              {w * h > 0 ? needs(12 * w * h) : reads(0), writesPlanes(dw, dh, inside)},
              [=](const Memory& at) {
                TN_CV::cover_mid_img_with_littleImg_inMat_outFloatPointer(floats(at[1]), dw, dh,
                                                                          view(at[0], w, h, 3));
              });
  }
}

// Gives one block, filled as asked.
class GuardedAllocator : public Allocator {
 public:
  explicit GuardedAllocator(std::uint8_t fill) : fill_(fill) {}
  void* allocate(std::size_t bytes) override {
    // Only multiples of the alignment have it at both ends of a page.
    EXPECT_EQ(bytes % 64, 0u);
    return block_.emplace(bytes, fill_).data();
  }
  void release(void*) override { block_.reset(); }

 private:
  std::uint8_t fill_;
  std::optional<Guarded> block_;
};

void addTensors(Table& table) {
  for (const Size s : kSizes)
    for (const int type : {1, 2, 8, 1 | 2 << 16, 8 | 2 << 16}) {
      const int w = s.w, h = s.h, n = w * h, step = (type & 8) != 0 ? 4 : 3;
      table.add("TarnCPU::Mat::from_pixels", text({type, w, h}),
                {needs(step * n, step - 3), writes(12 * n)}, [=](const Memory& at) {
                  // What it leaves of the block shows in the copy.
                  GuardedAllocator allocator(at[1][0]);
                  const Mat tensor = Mat::from_pixels(at[0], type, w, h, &allocator);
                  std::memcpy(at[1], tensor.data, size(12 * n));
                });
    }
  // Records change hands, elements are not looked at.
  const auto record = [&](const char* routine, void (*call)(Mat&)) {
    table.add(routine, "a view", {reads(0)}, [=](const Memory& at) {
      Mat tensor = view(at[0], 3, 2, 4);
      call(tensor);
    });
  };
  record("TarnCPU::Mat::from_float_array", [](Mat& tensor) { tensor.release(); });
  record("TarnCPU::Mat::Mat", [](Mat& tensor) {
    const Mat copy = tensor, moved = std::move(tensor), plane = moved.channel(3);
    EXPECT_EQ(plane.row(1), moved.row(7));
  });
  record("TarnCPU::Mat::operator=", [](Mat& tensor) {
    Mat copy, moved;
    copy = tensor;
    moved = std::move(tensor);
    EXPECT_EQ(copy.data, moved.data);
  });
}

std::vector<std::uint8_t> fileBytes(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  EXPECT_TRUE(file) << path;
  return {std::istreambuf_iterator<char>(file), {}};
}
Buffer zeroEnded(const std::string& value) {
  return readsAll({value.c_str(), value.c_str() + value.size() + 1});
}
const char* chars(const std::uint8_t* bytes) { return reinterpret_cast<const char*>(bytes); }

void addNetworksAndLog(Table& table) {
  const std::vector<std::uint8_t> model = fileBytes(TN_SOURCE "/tests/data/small.onnx");
  for (const std::size_t bytes : {model.size(), model.size() / 2})
    table.add("TarnCPU::KRNetLoader::LoadMemory", std::to_string(bytes),
              {readsAll({model.data(), model.data() + bytes})},
              [=](const Memory& at) { KRNetLoader().LoadMemory(at[0], bytes, false); });
  table.add("TarnCPU::KRNetLoader::LoadFile", "no such file", {zeroEnded("none.onnx")},
            [](const Memory& at) { EXPECT_FALSE(KRNetLoader().LoadFile(chars(at[0]), false)); });
  KRNetLoader loader;
  loader.LoadMemory(model.data(), model.size(), false);
  const auto net = std::make_shared<TarnNet>();
  net->load_tarn_net_with_inference_config(loader, nullptr);
  // What extract gives is its own memory; the view that it replaces stays as it is. The second size
  // fails.
  for (const int side : {6, 9})
    for (const char* const routine : {"input", "extract"})
      table.add(std::string("TarnCPU::TarnNetExtractor::") + routine, text({side}),
                {reads(12 * side * side), reads(4)}, [=](const Memory& at) {
                  TarnNetExtractor extractor = net->create_extractor();
                  extractor.set_num_threads(1);
                  extractor.input(0, view(at[0], side, side, 3));
                  Mat out = view(at[1], 1, 1, 1);
                  extractor.extract(extractor.get_last_layer_index(), out);
                });
  const std::vector<Buffer> line = {zeroEnded("tag"), zeroEnded("%d of these")};
  table.add("Tarn::_LogError", "strings", line,
            [](const Memory& at) { Tarn::_LogError(chars(at[0]), chars(at[1]), 7); });
  table.add("Tarn::_LogVerbose", "strings", line,
            [](const Memory& at) { Tarn::_LogVerbose(chars(at[0]), chars(at[1]), 7); });
}

template <class Tracker>
void addTracker(Table& table, const std::string& name) {
  using Step = void (Tracker::*)(float*, float*, float*, float*);
  const std::pair<const char*, Step> steps[] = {{"track", &Tracker::track},
                                                {"predict", &Tracker::predict}};
  for (const auto& step : steps)
    table.add(name + "::" + step.first, "a box", {uses(4), uses(4), uses(4), uses(4)},
              [routine = step.second](const Memory& at) {
                Tracker tracker(640, 480);
                tracker.init(0.5f, 0.5f, 0.1f, 0.2f);
                (tracker.*routine)(floats(at[0]), floats(at[1]), floats(at[2]), floats(at[3]));
              });
}

const std::vector<Row>& allRows() {
  static const std::vector<Row> all = [] {
    const tn_test::LogLines quiet;
    Table table;
    for (const auto add : {addColour, addGeometry, addResizers, addWarps, addCrops, addToolkit,
                           addNetworkInput, addTensors, addNetworksAndLog})
      add(table);
    addTracker<Tarn::TarnKalmanFilterBoxTracker2D>(table, "Tarn::TarnKalmanFilterBoxTracker2D");
    addTracker<Tarn::TarnOneEuroFilterBoxTracker2D>(table, "Tarn::TarnOneEuroFilterBoxTracker2D");
    return table.rows;
  }();
  return all;
}

// An unreadable page ends the process; say at least whose row it was.
const Row* row_at_work = nullptr;
void nameRow(int fault) {
  if (row_at_work != nullptr)
    std::fprintf(stderr, "out of its buffers: %s, %s\n", row_at_work->routine.c_str(),
                 row_at_work->sizes.c_str());
  std::signal(fault, SIG_DFL);
}

TEST(Reach, EveryRoutineKeepsToItsDocumentedBytes) {
  const std::vector<Row>& rows = allRows();
  const tn_test::LogLines quiet;
  const auto before = std::signal(SIGSEGV, nameRow);
  ForEachTarget([&] {
    for (const Row& row : rows) {
      SCOPED_TRACE(row.routine + ", " + row.sizes);
      row_at_work = &row;
      expectReach(row);
      if (HasFatalFailure()) return;
    }
  });
  std::signal(SIGSEGV, before);
}

using Names = std::set<std::string>;

// The exported routines to which elements are given: by pointer, or by a record that points to them.
Names routinesWithBuffers() {
  Names found;
  for (const char* const library : {"tn_core", "tn_cnn", "tn_kits"}) {
    std::ifstream list(std::string(TN_SOURCE "/packaging/abi/") + library + ".symbols");
    EXPECT_TRUE(list) << library;
    // What a callback takes is not meant.
    const std::regex callback(R"(\([^()]*\*\)\([^()]*\))");
    const std::regex buffer(R"(\b(char|float|void)( const)?\*|\bTarnCPU::Mat\b|\b_TN_Image\b)");
    for (std::string symbol; std::getline(list, symbol);) {
      const std::size_t open = symbol.find('(');
      if (symbol.empty() || symbol[0] == '#' || open == std::string::npos) continue;
      const std::string arguments = std::regex_replace(symbol.substr(open), callback, "callback");
      if (std::regex_search(arguments, buffer)) found.insert(symbol.substr(0, open));
    }
  }
  EXPECT_GT(found.size(), 40u) << "the lists were not understood";
  return found;
}

const Names kWithoutRow = {
    // Private; track, predict and the assignments call them.
    "Tarn::TarnOneEuroFilterBoxTracker2D::trackAt",
    "Tarn::TarnOneEuroFilterBoxTracker2D::predictAt",
    "TarnCPU::Mat::swap",
    // Hands its pointer through.
    "Tarn::setLogSink",
};

TEST(Reach, EveryExportedRoutineThatTakesABufferHasARow) {
  Names without = routinesWithBuffers();
  for (const std::string& name : kWithoutRow)
    EXPECT_EQ(without.erase(name), 1u) << name << " is not in the lists";
  Names with;
  for (const Row& row : allRows()) with.insert(row.routine);
  for (const std::string& name : with)
    EXPECT_EQ(without.erase(name), 1u) << name << " is not in the lists";
  for (const std::string& name : without) ADD_FAILURE() << name << " has no row";
}

// Those of networks, logs, and trackers of one box, which take no pixels.
bool isOfPixels(const std::string& routine) {
  for (const char* const other :
       {"TarnCPU::KRNetLoader::", "TarnCPU::TarnNetExtractor::", "Tarn::_Log", "Tarn::setLogSink",
        "Tarn::TarnKalmanFilterBoxTracker2D::", "Tarn::TarnOneEuroFilterBoxTracker2D::"})
    if (routine.rfind(other, 0) == 0) return false;
  return true;
}

// The names in a source, with all that stands before them; comments do not count.
void addNames(const std::filesystem::path& path, Names& names) {
  std::ifstream source(path);
  ASSERT_TRUE(source) << path;
  static const std::regex name(R"([A-Za-z_][\w:]*)");
  for (std::string line; std::getline(source, line);) {
    line.resize(std::min(line.size(), line.find("//")));
    for (std::sregex_iterator word(line.begin(), line.end(), name), end; word != end; ++word)
      names.insert(word->str());
  }
}

// The last `parts` parts of a routine's name.
std::string endOf(const std::string& routine, int parts) {
  std::size_t colons = std::string::npos;
  for (; parts > 0 && colons != 0; --parts) colons = routine.rfind("::", colons - 1);
  return colons == std::string::npos ? routine : routine.substr(colons + 2);
}

TEST(Reach, EveryRoutineOfPixelsIsCheckedHashedAndFuzzed) {
  // Copies, moves and swaps of a record leave its elements alone; boxes of frames have none.
  const Names without = {"TarnCPU::Mat::Mat", "TarnCPU::Mat::operator=", "TarnCPU::Mat::swap",
                         "TarnCPU::TN_CV::rectify_cropbox"};
  const struct {
    const char* what;
    const char* folder;
    std::regex files;
    Names without;
  } places[] = {
      {"checked form", "tarnkit/inc", std::regex(R"(tn_checked\.h)"), {}},
      // A view changes nothing.
      {"hash", "tests/hashes", std::regex(R"(expected\.txt)"), {"TarnCPU::Mat::from_float_array"}},
      {"fuzz target", "fuzz", std::regex(R"(.*_fuzz\.cpp)"), {}},
  };
  const Names routines = routinesWithBuffers();
  for (const std::string& name : without) EXPECT_EQ(routines.count(name), 1u) << name;
  for (const auto& place : places) {
    for (const std::string& name : place.without) EXPECT_EQ(routines.count(name), 1u) << name;
    Names names;
    for (const auto& entry :
         std::filesystem::directory_iterator(std::string(TN_SOURCE "/") + place.folder))
      if (std::regex_match(entry.path().filename().string(), place.files)) addNames(entry.path(), names);
    for (const std::string& routine : routines) {
      if (!isOfPixels(routine) || without.count(routine) + place.without.count(routine) > 0) continue;
      // Of two with one name the class or namespace must stand in front.
      const auto has_its_name = [&](const std::string& other) {
        return endOf(other, 1) == endOf(routine, 1);
      };
      const int parts = std::count_if(routines.begin(), routines.end(), has_its_name) > 1 ? 2 : 1;
      const auto is_it = [&](const std::string& name) {
        return endOf(name, parts) == endOf(routine, parts);
      };
      EXPECT_TRUE(std::any_of(names.begin(), names.end(), is_it)) << routine << " has no " << place.what;
    }
  }
}

}  // namespace
