// Rows of network input preparation. Numbers: frame_w, frame_h, width, height, index of the format,
// orient, to_bgr, and of getInMat_m1 left, top, right, bottom, pad_grey.
#include "tests/reference/networkinput_reference.h"
#include "tests/routines/routine.h"
#include "tn_checked.h"
#include "tn_cv.h"

namespace tn_routines {
namespace {

namespace checked = Tarn::checked;
using TarnCPU::Mat;
using TarnCPU::TN_CV;

const std::vector<int> kFormats = {TN_PIX_FMT_YUVI420, TN_PIX_FMT_NV12, TN_PIX_FMT_NV21, TN_PIX_FMT_BGRA,
                                   TN_PIX_FMT_RGBA,    TN_PIX_FMT_BGR,  TN_PIX_FMT_RGB};
constexpr int kAll = 7;

// Every bit alone and what takes precedence over what; the last one has bits that mean nothing.
const std::vector<int> kOrients = {0, 1,  2,  3,  4,  64, 7,  68, 8,  16, 24,
                                   9, 17, 10, 18, 12, 20, 72, 80, 27, -96};

// From one pixel on.
const Size kFrames[] = {{1, 1}, {1, 2}, {2, 1}, {2, 2}, {3, 2}, {2, 5}, {5, 3}, {7, 7}, {33, 18}};
const Size kTensors[] = {{1, 1}, {1, 2}, {2, 1}, {1, 3}, {3, 1},  {2, 2},  {3, 2},  {2, 3},
                         {3, 3}, {4, 4}, {5, 3}, {7, 2}, {64, 1}, {65, 3}, {17, 16}};

int formatOf(const Numbers& n) {
  return n[4] >= 0 && n[4] < kAll ? kFormats[static_cast<std::size_t>(n[4])] : n[4];
}

_TN_Image image(const Numbers& n, void* data) {
  return {static_cast<std::uint32_t>(n[5]), formatOf(n), n[0], n[1], 0, data};
}

Routine routine(const char* name, bool cropped) {
  Routine routine = {name, 4};
  const auto add = [&](Numbers numbers, const Numbers& crop) {
    if (cropped) numbers.insert(numbers.end(), crop.begin(), crop.end());
    routine.cases.push_back(numbers);
  };
  for (int format = 0; format < kAll; ++format) {
    for (const int orient : kOrients)
      for (const Size to : std::vector<Size>{{16, 16}, {68, 68}, {18, 18}, {24, 12}, {9, 23}})
        add({50, 38, to.w, to.h, format, orient, to.w % 4 == 0 ? orient % 2 : -256}, {3, 5, 30, 20, 1});
    for (const Size from : kFrames)
      for (const Size to : kTensors)
        add({from.w, from.h, to.w, to.h, format, (from.w + to.w) % 5, 0}, {-1, 0, 2, 3, 1});
    if (!cropped) continue;
    // clang-format off
    for (const Numbers& crop : std::vector<Numbers>{
             {0, 0, 39, 29, 0}, {-10, -6, 49, 35, 1}, {-7, 9, 11, 28, 0}, {25, -13, 61, 12, 1}, {5, 5, 5, 5, 0},
             {38, 28, 41, 31, 1}, {-3, -3, -1, -1, 1}, {40, 0, 50, 10, 0}, {10, 10, 9, 20, 1},
             {10, 11, 20, 10, 0}, {30, 20, 3, 5, 1}, {-2000, -900, 2500, 1300, 1}})
      // clang-format on
      for (const int orient : {0, 2, 16}) {
        add({40, 30, 24, 24, format, orient, 0}, crop);
        add({40, 30, 31, 17, format, orient, 0}, crop);
      }
  }
  routine.draw = [=](Dice& dice) {
    const bool square = dice.coin();
    const int side = 4 * dice.between(1, 10);
    Numbers n = {dice.between(1, 50),
                 dice.between(1, 40),
                 square ? side : dice.between(1, 50),
                 square ? side : dice.between(1, 40),
                 dice.between(0, kAll - 1),
                 dice.between(0, 255),
                 dice.between(0, 1)};
    // The plain form adds corners as 32-bit numbers.
    for (int corner = 0; cropped && corner < 4; ++corner) n.push_back(dice.between(-70, 70));
    if (cropped) n.push_back(dice.between(0, 1));
    return n;
  };
  routine.buffers = [](const Numbers& n) {
    const Tarn::NetworkInputExtents e = Tarn::networkInputExtents(formatOf(n), n[0], n[1], n[2], n[3]);
    return std::vector<Buffer>{
        {"image", Use::kRead, e.image, e.image.end()},
        {"work_a", Use::kScratch, e.work_a, e.work_a.end()},
        {"work_b", Use::kScratch, e.work_b, e.work_b.end()},
        {"out", Use::kWritten, Tarn::tensorExtent(n[2], n[3], 3), 0, Kind::kFloats}};
  };
  routine.call = [=](const Numbers& n, const Memory& at) {
    const _TN_Image frame = image(n, at[0]);
    Mat out;
    if (cropped) {
      int left = n[7], top = n[8], right = n[9], bottom = n[10];
      TN_CV::getInMat_m1(&frame, out, n[6], n[2], n[3], at[1], at[2], left, top, right, bottom,
                         n[11] != 0);
      // The corners are only read; if they are not, the tensor is not the plain one.
      if (Numbers{left, top, right, bottom} != Numbers(n.begin() + 7, n.begin() + 11)) out = Mat();
    } else {
      TN_CV::getInMat(&frame, out, n[6], n[2], n[3], at[1], at[2]);
    }
    // The tensor is new memory.
    put(View{at[3], Tarn::tensorExtent(n[2], n[3], 3).bytes}, out);
  };
  routine.checked = [=](const Numbers& n, const Views& v) {
    const checked::Image frame = {image(n, v[0].data), v[0].bytes};
    Mat out;
    if (cropped)
      checked::getInMat_m1(frame, out, n[6], n[2], n[3], v[1], v[2], n[7], n[8], n[9], n[10],
                           n[11] != 0);
    else
      checked::getInMat(frame, out, n[6], n[2], n[3], v[1], v[2]);
    put(v[3], out);
  };
  routine.plain = [=](const Numbers& n, const Memory& at) {
    tn_reference::CropWindow crop = {};
    if (cropped) crop = {n[7], n[8], n[9], n[10], n[11] != 0};
    const std::vector<float> values = tn_reference::networkInput(image(n, at[0]), n[6] != 0, n[2], n[3],
                                                                 cropped ? &crop : nullptr, at[1][0]);
    std::memcpy(at[3], values.data(), values.size() * sizeof(float));
  };
  return routine;
}

// Where the pixel at (x, y) of a stored frame of 5x3 pixels lies on the upright picture.
constexpr Size kStored = {5, 3};
Size upright(int orient) { return (orient & 3) != 0 ? Size{kStored.h, kStored.w} : kStored; }
Size carried(int x, int y, int orient) {
  Size p = {x, y};
  const Size size = upright(orient);
  if ((orient & 2) != 0)
    p = {kStored.h - 1 - y, x};
  else if ((orient & 1) != 0)
    p = {y, kStored.w - 1 - x};
  else if ((orient & (4 | 64)) != 0)
    p = {kStored.w - 1 - x, kStored.h - 1 - y};
  if ((orient & 8) != 0) return {p.w, size.h - 1 - p.h};
  if ((orient & 16) != 0) return {size.w - 1 - p.w, p.h};
  return p;
}

// Numbers: orient, left, top, right, bottom. Every box of a small picture; the corners that come out are
// the written buffer. The plain form looks for the pixels that come to lie in the box.
Routine cropBox() {
  Routine routine = {"TarnCPU::TN_CV::rectify_cropbox", 0};
  for (int bits = 0; bits < 64; ++bits) {
    const int orient = (bits & 31) | (bits & 32) << 1;
    const Size size = upright(orient);
    for (int l = 0; l < size.w; ++l)
      for (int t = 0; t < size.h; ++t)
        for (int r = l; r < size.w; ++r)
          for (int b = t; b < size.h; ++b) routine.cases.push_back({orient, l, t, r, b});
  }
  routine.buffers = [](const Numbers&) {
    return std::vector<Buffer>{{"corners", Use::kWritten, {0, 4 * sizeof(int)}, 0}};
  };
  routine.call = [](const Numbers& n, const Memory& at) {
    const _TN_Image frame = {
        static_cast<std::uint32_t>(n[0]), TN_PIX_FMT_NV12, kStored.w, kStored.h, 0, nullptr};
    int corners[] = {n[1], n[2], n[3], n[4]}, width = n[3] - n[1] + 1, height = n[4] - n[2] + 1;
    TN_CV::rectify_cropbox(&frame, corners[0], corners[1], corners[2], corners[3], width, height);
    std::memcpy(at[0], corners, sizeof corners);
  };
  routine.plain = [](const Numbers& n, const Memory& at) {
    int found[] = {kStored.w, kStored.h, -1, -1};
    for (int y = 0; y < kStored.h; ++y)
      for (int x = 0; x < kStored.w; ++x) {
        const Size p = carried(x, y, n[0]);
        if (p.w < n[1] || p.w > n[3] || p.h < n[2] || p.h > n[4]) continue;
        found[0] = std::min(found[0], x);
        found[1] = std::min(found[1], y);
        found[2] = std::max(found[2], x);
        found[3] = std::max(found[3], y);
      }
    std::memcpy(at[0], found, sizeof found);
  };
  return routine;
}

}  // namespace

void addNetworkInput(Table& table) {
  table.push_back(routine("TarnCPU::TN_CV::getInMat", false));
  table.push_back(routine("TarnCPU::TN_CV::getInMat_m1", true));
  table.push_back(cropBox());
}

}  // namespace tn_routines
