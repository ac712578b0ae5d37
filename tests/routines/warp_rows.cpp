// Rows of the affine warps, and of pasting a tensor into a larger one.
#include <limits>

#include "tests/reference/affine_reference.h"
#include "tests/routines/routine.h"
#include "tn_checked.h"
#include "tn_cv.h"

namespace tn_routines {
namespace {

namespace checked = Tarn::checked;
using TarnCPU::Mat;
using tn_reference::Planes;

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInf = std::numeric_limits<float>::infinity();
constexpr float kMax = std::numeric_limits<float>::max();

// clang-format off
const float kMatrices[][6] = {
    {1, 0, 0, 0, 1, 0}, {-1, 0, 0, 0, 1, 0}, {0, 1, 0, -1, 0, 0},
    {0.88f, -0.18f, 0.05f, 0.18f, 0.88f, -0.03f}, {0.2f, 0.1f, -0.3f, 0, 0.3f, 0.4f}, {5, 1, 0.5f, -2, 4, 0},
    {1, 0, 4, 0, 1, 0}, {1, 0, 0, 0, 1, -1.1f}, {0, 0, 0, 0, 0, 0}, {0, 0, 1, 0, 0, 1}, {0, 0, -1, 0, 0, -1},
    // Positions beyond 32 bits, just and far, on one side of the picture or on both.
    {2e8f, 0, 0, 0, 1, 0}, {1, 0, 0, 3e8f, 1, 1e8f}, {1, 0, 1e30f, 0, 1, -1e30f},
    {kMax, kMax, -kMax, -kMax, kMax, kMax}, {1, 0, kInf, 0, 1, 0}, {1, -kInf, 0, kInf, 1, 0},
    {1, 0, 0, 0, 1, kNan}, {kNan, kNan, kNan, kNan, kNan, kNan}, {1, 0, kNan, 0, 1, 4},
    {1e-45f, -1e-40f, -0.0f, 1e-30f, -0.0f, -1e-45f},
};
// clang-format on
constexpr int kKnown = static_cast<int>(std::size(kMatrices));
// Of 64x64 pixels all positions are columns 2^31, the first that does not fit, and rows -2^31.
constexpr int kAtTheLimit = -1;
const float kLimits[] = {0, 0, 0x1p26f, 0, 0, -0x1p26f};

// Of those above, and from then on random ones: mild for even numbers, of any bits for odd ones.
Bytes matrixOf(int number) {
  float matrix[6];
  SeededDice dice(static_cast<std::uint32_t>(number));
  for (int i = 0; i < 6; ++i) {
    const int bits = dice.between(std::numeric_limits<int>::min(), std::numeric_limits<int>::max());
    if (number < kKnown)
      matrix[i] = (number < 0 ? kLimits : kMatrices[number])[i];
    else if (number % 2 == 0)
      matrix[i] = static_cast<float>(bits) / 1.5e9f;
    else
      std::memcpy(&matrix[i], &bits, sizeof bits);
  }
  const auto* const bytes = reinterpret_cast<const std::uint8_t*>(matrix);
  return {bytes, bytes + sizeof matrix};
}

Mat view(std::uint8_t* data, int w, int h, int c) {
  return Mat::from_float_array(floats(data), w, h, c, TarnCPU::TensorShape::CHW, nullptr);
}
// As many as its record says, or none where there is not the memory for it.
Mat view(const View& v, int w, int h, int c) {
  return view(Tarn::tensorExtent(w, h, c).end() <= v.bytes ? v.data : nullptr, w, h, c);
}

std::vector<Buffer> buffersOf(const Tarn::WarpExtents& extents, int matrix) {
  return {{"src", Use::kRead, extents.src, 0, Kind::kFloats},
          {"dst", Use::kWritten, extents.dst, 0, Kind::kFloats},
          {"matrix", Use::kRead, extents.matrix, extents.matrix.end(), Kind::kFloats,
           extents.matrix.bytes == 0 ? Bytes() : matrixOf(matrix)}};
}

using PlainWarp = void (*)(const Planes&, Planes&, const float*);

void warpPlainly(PlainWarp plain, const Memory& at, Planes src, Planes dst) {
  for (Planes* planes : {&src, &dst})
    planes->values.resize(Tarn::tensorExtent(planes->w, planes->h, planes->c).bytes / sizeof(float));
  const auto copy = [](void* to, const void* from, const Planes& planes) {
    if (!planes.values.empty()) std::memcpy(to, from, planes.values.size() * sizeof(float));
  };
  copy(src.values.data(), at[0], src);
  copy(dst.values.data(), at[1], dst);
  plain(src, dst, floats(at[2]));
  copy(at[1], dst.values.data(), dst);
}

// Between any two sizes. Numbers: sw, sh, dw, dh, c, planes of the source beyond those, matrix.
template <class Call, class Checked>
void addWarp(Table& table, const char* name, Call call, Checked form, PlainWarp plain) {
  Routine routine = {name, 5};
  for (int matrix = 0; matrix < kKnown + 60; ++matrix) {
    routine.cases.push_back({37, 22, 37, 22, 3, 0, matrix});
    routine.cases.push_back({21, 50, 37, 22, 4, 1, matrix});
  }
  for (const Size s : sizes()) {
    if (s.w <= 20 && s.h <= 20 && s.w % 3 + s.h % 3 > 0) continue;
    routine.cases.push_back({s.w, s.h, s.w, s.h, 3, 0, 3});
    routine.cases.push_back({s.w, s.h, 24, 9, 1, 1, 3});
    routine.cases.push_back({24, 9, s.h, s.w, 1, 0, 5});
  }
  routine.draw = [](Dice& dice) {
    return Numbers{dice.between(1, 70),     dice.between(1, 20), dice.between(1, 70),
                   dice.between(1, 20),     dice.between(1, 4),  dice.between(0, 1),
                   dice.between(0, 1 << 20)};
  };
  routine.buffers = [](const Numbers& n) {
    return buffersOf(Tarn::warpExtents(n[0], n[1], n[2], n[3], n[4]), n[6]);
  };
  routine.call = [=](const Numbers& n, const Memory& at) {
    // Row 0 and column 0 do not count: of a source without others nothing is read.
    std::uint8_t* const src = n[0] < 2 || n[1] < 2 ? nullptr : at[0];
    call(view(src, n[0], n[1], n[4] + n[5]), view(at[1], n[2], n[3], n[4]), floats(at[2]));
  };
  routine.checked = [=](const Numbers& n, const Views& v) {
    Mat src = view(v[0], n[0], n[1], n[4]);
    if (src.data != nullptr && n[5] == 1) ++src.c;  // which is not read
    form(src, view(v[1], n[2], n[3], n[4]), floatSource(v[2]));
  };
  routine.plain = [=](const Numbers& n, const Memory& at) {
    warpPlainly(plain, at, {n[0], n[1], n[4], {}}, {n[2], n[3], n[4], {}});
  };
  routine.large = {
      {741, 737, 741, 737, 3, 0, 3}, {741, 737, 741, 737, 3, 0, 4}, {64, 64, 64, 64, 3, 0, kAtTheLimit}};
  for (const Size none : std::vector<Size>{{1, 1}, {1, 9}, {9, 1}, {0, 0}, {0, 5}})
    for (const int matrix : {0, 3, 5}) routine.large.push_back({none.w, none.h, 19, 5, 2, 0, matrix});
  table.push_back(routine);
}

// Within one size. Numbers: w, h, matrix.
template <class Call, class Checked>
void addWarpOfOneSize(Table& table, const char* name, Call call, Checked form, PlainWarp plain) {
  Routine routine = {name, 2};
  for (int matrix = 0; matrix < kKnown + 60; ++matrix) routine.cases.push_back({37, 22, matrix});
  for (const Size s : sizes())
    if (s.w > 1 && s.h > 1)
      for (const int matrix : {0, 3, 5}) routine.cases.push_back({s.w, s.h, matrix});
  routine.draw = [](Dice& dice) {
    return Numbers{dice.between(2, 70), dice.between(2, 20), dice.between(0, 1 << 20)};
  };
  routine.buffers = [](const Numbers& n) {
    return buffersOf(Tarn::warpSameSizeExtents(n[0], n[1]), n[2]);
  };
  routine.call = [=](const Numbers& n, const Memory& at) {
    call(view(at[0], n[0], n[1], 3), view(at[1], n[0], n[1], 3), floats(at[2]));
  };
  routine.checked = [=](const Numbers& n, const Views& v) {
    form(view(v[0], n[0], n[1], 3), view(v[1], n[0], n[1], 3), floatSource(v[2]));
  };
  routine.plain = [=](const Numbers& n, const Memory& at) {
    warpPlainly(plain, at, {n[0], n[1], 3, {}}, {n[0], n[1], 3, {}});
  };
  routine.large = {{741, 737, 3}, {741, 737, 4}, {64, 64, kAtTheLimit}};
  table.push_back(routine);
}

// Numbers: dst_width, dst_height, little's w, h, c.
void addPaste(Table& table) {
  Routine routine = {"TarnCPU::TN_CV::cover_mid_img_with_littleImg_inMat_outFloatPointer", 5};
  for (const int c : {1, 3, 4})
    for (const Numbers& n : std::vector<Numbers>{
             {5, 4, 5, 4, c}, {8, 6, 4, 4, c}, {8, 9, 5, 2, c}, {7, 3, 1, 3, c}, {40, 6, 33, 5, c}})
      routine.cases.push_back(n);
  routine.draw = [](Dice& dice) {
    const int w = dice.between(1, 70), h = dice.between(1, 20);
    return Numbers{w, h, dice.between(1, w), dice.between(1, h), dice.between(1, 4)};
  };
  routine.buffers = [](const Numbers& n) {
    std::vector<Buffer> buffers =
        transfer(Tarn::pasteExtents(n[0], n[1], n[2], n[3], n[4]), Kind::kFloats);
    buffers[0].name = "little";
    buffers[0].asked = 0;
    buffers[1].asked = Tarn::tensorExtent(n[0], n[1], n[4]).end();
    return buffers;
  };
  routine.call = [](const Numbers& n, const Memory& at) {
    TarnCPU::TN_CV::cover_mid_img_with_littleImg_inMat_outFloatPointer(floats(at[1]), n[0], n[1],
                                                                       view(at[0], n[2], n[3], n[4]));
  };
  routine.checked = [](const Numbers& n, const Views& v) {
    checked::cover_mid_img_with_littleImg_inMat_outFloatPointer(floats(v[1]), n[0], n[1],
                                                                view(v[0], n[2], n[3], n[4]));
  };
  routine.plain = [](const Numbers& n, const Memory& at) {
    const int x0 = (n[0] - n[2]) / 2, y0 = (n[1] - n[3]) / 2;
    for (int c = 0; c < n[4]; ++c)
      for (int y = 0; y < n[3]; ++y)
        for (int x = 0; x < n[2]; ++x)
          std::memcpy(at[1] + 4 * ((c * n[1] + y0 + y) * n[0] + x0 + x),
                      at[0] + 4 * ((c * n[3] + y) * n[2] + x), 4);
  };
  routine.last_byte_counts = true;
  table.push_back(routine);
}

}  // namespace

void addWarps(Table& table) {
  addWarp(table, "affine", affine, checked::affine, tn_reference::warpZeroBorder);
  addWarp(table, "affine_optimized", affine_optimized, checked::affine_optimized,
          tn_reference::warpZeroBorderOptimized);
  addWarpOfOneSize(table, "affine_sse", affine_sse, checked::affine_sse,
                   tn_reference::warpExtrapolating);
  addWarpOfOneSize(table, "affine_sse_hwc", affine_sse_hwc, checked::affine_sse_hwc,
                   tn_reference::warpReplicating);
  addPaste(table);
}

}  // namespace tn_routines
