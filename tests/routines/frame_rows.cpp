// Rows of the YUV toolkit: frames to tensors, and crops.
#include <limits>

#include "tests/reference/yuv_reference.h"
#include "tests/routines/routine.h"
#include "tn_checked.h"
#include "tn_yuvconverter.h"

namespace tn_routines {
namespace {

namespace checked = Tarn::checked;
using Tarn::TarnYUVToolKit;

// Every coefficient different and none a power of two, so that a change of order shows in the last bit.
Tarn::_ConvertMatrixFromYUV matrix() {
  return {1.164383f, 0.017f, 1.792741f, 1.17f,  -0.213249f, -0.532909f,
          1.159f,    2.11f,  -0.0031f,  -97.3f, 33.77f,     -115.21f};
}

_TN_Image image(int format, int w, int h, void* data) { return {0, format, w, h, 0, data}; }

// One or the other of the formats with interleaved chroma, which the checked forms take alike.
int semiPlanar(const Numbers& n) {
  const int formats[] = {TN_PIX_FMT_NV12, TN_PIX_FMT_NV21, TN_PIX_FMT_YUV420V};
  return formats[static_cast<unsigned>(n[0]) % 3];
}

std::vector<Buffer> frameAndTensor(const Tarn::TransferExtents& extents) {
  std::vector<Buffer> buffers = transfer(extents);
  buffers[0].name = "in";
  buffers[1].name = "out";
  buffers[1].kind = Kind::kFloats;
  return buffers;
}

// Numbers: src_w, src_h, dst_w, dst_h, src_uv_w; with one more the matrix is of zeros.
Tarn::_ConvertMatrixFromYUV matrixOf(const Numbers& n) {
  return n.size() > 5 ? Tarn::_ConvertMatrixFromYUV{} : matrix();
}
Routine resample() {
  Routine routine = {"Tarn::TarnYUVToolKit::convert", 4};
  // clang-format off
  routine.cases = {
      // Down by fractions, by whole numbers with outputs on samples (3, 5) and between them (2, 4), and so
      // far down that a group of outputs takes two loads (6, 9) or one for each output (20, 40).
      {108, 61, 64, 64, 54}, {192, 108, 64, 64, 96}, {192, 108, 64, 36, 96}, {160, 90, 32, 18, 80},
      {64, 48, 32, 24, 32}, {128, 96, 32, 24, 64}, {192, 108, 32, 32, 96}, {324, 40, 36, 20, 162},
      {640, 48, 32, 24, 320},
      // By even whole numbers and onto samples, where the last group of a row is short.
      {1926, 20, 321, 9, 963}, {350, 14, 50, 6, 175}, {400, 16, 50, 6, 200}, {1280, 8, 32, 4, 640},
      {333, 77, 31, 19, 166}, {97, 55, 68, 38, 48},
      // Up: the weights extrapolate at the first samples and taps leave the frame at the last ones.
      {32, 24, 64, 48, 16}, {10, 8, 100, 80, 5}, {33, 17, 70, 90, 16}, {2, 2, 37, 41, 1}, {48, 64, 96, 16, 24},
      // Equal sizes, even and odd, longer than the columns in work at a time.
      {64, 48, 64, 48, 32}, {33, 21, 33, 21, 16}, {2300, 4, 2300, 4, 1150}, {1025, 3, 1025, 3, 512},
      // Fewer outputs than lanes, single rows, columns and pixels; one source row has no chroma at all.
      {1, 1, 1, 1, 0}, {1, 1, 4, 4, 0}, {1, 1, 2, 2, 1}, {3, 1, 6, 8, 1}, {1, 3, 2, 2, 0}, {7, 5, 2, 2, 3},
      {9, 9, 1, 9, 4}, {9, 9, 9, 1, 4}, {50, 50, 2, 100, 25}, {50, 50, 100, 3, 25}, {16, 2, 17, 19, 8},
      {640, 360, 6, 6, 320},
      // Chroma rows shorter or longer than half the luma's: at equal sizes too.
      {64, 48, 64, 48, 20}, {64, 48, 64, 48, 40}, {64, 48, 30, 30, 1}, {64, 48, 30, 30, 0}, {20, 4, 80, 64, 1}};
  // clang-format on
  for (const Size s : sizes())
    if (s.w % 5 == 0 || s.h == 1) routine.cases.push_back({s.w, s.h, s.h, s.w, s.w / 2});
  routine.draw = [](Dice& dice) {
    const int w = dice.between(1, 200), h = dice.between(1, 60);
    const bool same = dice.between(0, 7) == 0;
    return Numbers{w, h, same ? w : dice.between(1, 130), same ? h : dice.between(1, 60),
                   dice.between(0, 3) > 0 ? w / 2 : dice.between(0, 100)};
  };
  routine.buffers = [](const Numbers& n) {
    return frameAndTensor(Tarn::resampleExtents(n[0], n[1], n[4], n[2], n[3]));
  };
  routine.call = [](const Numbers& n, const Memory& at) {
    TarnYUVToolKit kit(n[0], n[1], n[4], n[1] / 2, n[2], n[3]);
    kit.setCvtMat(matrixOf(n));
    // Nothing of another frame before may show; the record's own sizes do not count.
    Bytes other(Tarn::resampleExtents(n[0], n[1], n[4], n[2], n[3]).src.bytes, 0xEE);
    for (std::uint8_t* const frame : {other.data(), at[0]})
      kit.convert(image(TN_PIX_FMT_NV12, 1, 1, frame), image(TN_PIX_FMT_CHW_F32, 1, 1, at[1]));
  };
  routine.checked = [](const Numbers& n, const Views& v) {
    // The tables take 36 bytes an output pixel; who calls must bound that.
    if (n[2] > 0 && n[3] > 0 && std::int64_t{n[2]} * n[3] > 1 << 16)
      Tarn::checked::rules::refuse("too large; here");
    checked::TarnYUVToolKit kit(n[0], n[1], n[4], n[1] / 2, n[2], n[3]);
    kit.setCvtMat(matrix());
    kit.convert({image(semiPlanar(n), n[0], n[1], v[0].data), v[0].bytes},
                {image(TN_PIX_FMT_CHW_F32, n[2], n[3], v[1].data), v[1].bytes});
  };
  routine.plain = [](const Numbers& n, const Memory& at) {
    tn_test::referenceConvert(at[0], {n[0], n[1], n[4], n[2], n[3]}, matrixOf(n), floats(at[1]));
  };
  // Up-scaling makes negative samples, whose products with 0 are -0; the sum is 0. The last has no
  // chroma.
  routine.large = {{90, 40, 1181, 903, 45}, {20, 2000, 64, 3000, 10, 0}, {64, 48, 64, 48, 0}};
  return routine;
}

// Numbers: w, h, columns and rows that the tensor has more, format.
Routine sameSize() {
  Routine routine = {"Tarn::TarnYUVToolKit::Convert", 2};
  routine.cases = {{66, 4, 0, 0, TN_PIX_FMT_NV21},
                   {30, 20, 0, 0, TN_PIX_FMT_YUVI420},  // read as interleaved pairs all the same
                   {18, 2, 0, 0, TN_PIX_FMT_YUV420V},
                   {2050, 2, 0, 0, TN_PIX_FMT_NV12},
                   {20, 10, 11, 3, TN_PIX_FMT_NV12},
                   {21, 11, -1, -1, TN_PIX_FMT_NV12}};  // into a tensor of the even part
  for (const Size s : sizes()) routine.cases.push_back({s.w, s.h, s.w % 3, s.h % 2, TN_PIX_FMT_NV12});
  routine.draw = [](Dice& dice) {
    return Numbers{dice.between(1, 150), dice.between(1, 40), dice.between(0, 3), dice.between(0, 3),
                   TN_PIX_FMT_NV12};
  };
  routine.buffers = [](const Numbers& n) {
    return frameAndTensor(Tarn::convertExtents(n[0], n[1], n[0] + n[2], n[1] + n[3]));
  };
  routine.call = [](const Numbers& n, const Memory& at) {
    TarnYUVToolKit::Convert(image(n[4], n[0], n[1], at[0]),
                            image(TN_PIX_FMT_CHW_F32, n[0] + n[2], n[1] + n[3], at[1]), matrix());
  };
  routine.checked = [](const Numbers& n, const Views& v) {
    const auto sum = [](int a, int b) {
      return static_cast<int>(static_cast<unsigned>(a) + static_cast<unsigned>(b));
    };
    checked::TarnYUVToolKit::Convert(
        {image(n[4], n[0], n[1], v[0].data), v[0].bytes},
        {image(TN_PIX_FMT_CHW_F32, sum(n[0], n[2]), sum(n[1], n[3]), v[1].data), v[1].bytes}, matrix());
  };
  routine.plain = [](const Numbers& n, const Memory& at) {
    tn_test::referenceConvertSameSize(at[0], n[0], n[1], matrix(), floats(at[1]), n[0] + n[2],
                                      n[1] + n[3]);
  };
  routine.large = {{1100, 970, 0, 1, TN_PIX_FMT_NV12}, {1921, 1080, 2, 0, TN_PIX_FMT_NV12}};
  return routine;
}

// Numbers: in_w, in_h, out_w, out_h, x0, y0, x1, y1.
constexpr int kMost = std::numeric_limits<int>::max(), kLeast = std::numeric_limits<int>::min();
Routine crop(const char* name, bool planar) {
  Routine routine = {name, 4};
  // clang-format off
  routine.cases = {
      // The whole frame; a part inside; one that reaches beyond it to the left, to the right, on all sides.
      {8, 6, 8, 6, 0, 0, 7, 5}, {64, 48, 32, 16, 10, 20, 41, 35}, {64, 48, 20, 20, -4, -2, 15, 17},
      {64, 48, 40, 30, 40, 30, 79, 59}, {20, 10, 40, 30, -10, -10, 29, 19},
      // Odd widths; odd heights, whose row below comes along, at the frame's last row too.
      {64, 48, 5, 4, 10, 10, 14, 13}, {64, 48, 8, 6, 0, 0, 7, 4}, {64, 47, 8, 4, 0, 44, 7, 46},
      {64, 48, 8, 4, 4, 45, 11, 47},
      // Odd corners, which shift the chroma, and odd frames.
      {64, 48, 16, 16, 7, 9, 22, 24}, {64, 48, 16, 16, -3, -5, 12, 10}, {33, 21, 15, 11, 4, 2, 18, 12},
      {33, 21, 33, 21, 0, 0, 32, 20}, {5, 3, 5, 3, 0, 0, 4, 2},
      // Inverted, outside, and as far out as numbers go.
      {9, 9, 9, 9, 3, 0, 2, 8}, {9, 9, 9, 9, 9, 0, 12, 8}, {9, 9, 9, 9, kMost, kMost, kMost, kMost},
      {9, 9, 9, 9, kLeast, kLeast, kLeast, kLeast}, {9, 9, 9, 9, kMost, 0, kLeast, 8},
      // One pixel has no even part; single rows; outputs of one row, whose chroma comes last, or V after U.
      {64, 48, 2, 2, 3, 3, 3, 3}, {1, 1, 1, 1, 0, 0, 0, 0}, {64, 48, 8, 2, 0, 5, 7, 5}, {4, 1, 4, 1, 0, 0, 3, 0},
      {45, 42, 23, 1, 24, 24, 46, 24}, {25, 33, 5, 1, 5, 25, 9, 25}};
  // clang-format on
  routine.draw = [](Dice& dice) {
    const int x0 = dice.between(-20, 60), y0 = dice.between(-20, 60);
    const int x1 = x0 + dice.between(0, 70), y1 = y0 + dice.between(0, 70);
    return Numbers{dice.between(1, 50),
                   dice.between(1, 50),
                   x1 - x0 + 1 + dice.between(0, 2),
                   y1 - y0 + 1 + dice.between(0, 2),
                   x0,
                   y0,
                   x1,
                   y1};
  };
  routine.buffers = [=](const Numbers& n) {
    std::vector<Buffer> buffers =
        frameAndTensor(Tarn::cropExtents(planar, n[0], n[1], n[2], n[3], n[4], n[5], n[6], n[7]));
    buffers[0].asked = std::max(buffers[0].asked, Tarn::cropFrameExtent(planar, n[0], n[1]).end());
    buffers[1].asked = std::max(buffers[1].asked, Tarn::cropFrameExtent(planar, n[2], n[3]).end());
    buffers[1].kind = Kind::kBytes;
    return buffers;
  };
  routine.call = [=](const Numbers& n, const Memory& at) {
    const int format = planar ? TN_PIX_FMT_YUVI420 : semiPlanar(n);
    (planar ? TarnYUVToolKit::Crop_YUVI420 : TarnYUVToolKit::Crop)(
        image(format, n[0], n[1], at[0]), image(format, n[2], n[3], at[1]), n[4], n[5], n[6], n[7]);
  };
  // The checked form refuses inverted rectangles.
  routine.checked = [=](const Numbers& n, const Views& v) {
    const int format = planar ? TN_PIX_FMT_YUVI420 : semiPlanar(n);
    (planar ? checked::TarnYUVToolKit::Crop_YUVI420 : checked::TarnYUVToolKit::Crop)(
        {image(format, n[0], n[1], v[0].data), v[0].bytes},
        {image(format, n[2], n[3], v[1].data), v[1].bytes}, n[4], n[5], n[6], n[7]);
  };
  routine.plain = [=](const Numbers& n, const Memory& at) {
    tn_test::referenceCrop(image(0, n[0], n[1], at[0]), image(0, n[2], n[3], at[1]), n[4], n[5], n[6],
                           n[7], planar);
  };
  routine.last_byte_counts = true;
  return routine;
}

}  // namespace

void addFrames(Table& table) {
  table.push_back(resample());
  table.push_back(sameSize());
  table.push_back(crop("Tarn::TarnYUVToolKit::Crop", false));
  table.push_back(crop("Tarn::TarnYUVToolKit::Crop_YUVI420", true));
}

}  // namespace tn_routines
