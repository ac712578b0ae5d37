// Rows of the tensor record: pixels to a tensor, and a tensor over floats.
#include "tests/routines/routine.h"
#include "tn_checked.h"
#include "tn_mat.h"

namespace tn_routines {
namespace {

using TarnCPU::Mat;

const std::vector<int> kTypes = {1,           2,           8,           1 | 1 << 16, 1 | 2 << 16,
                                 2 | 1 << 16, 2 | 2 << 16, 8 | 1 << 16, 8 | 2 << 16};

// Numbers: w, h, type.
Routine fromPixels(bool padded) {
  Routine routine = {padded ? "TarnCPU::Mat::from_pixels of 4 bytes" : "TarnCPU::Mat::from_pixels", 2};
  for (const int code : kTypes)
    if (((code & 8) != 0) == padded)
      for (const Size s : sizes())
        if (s.w > 8 || s.h < 4) routine.cases.push_back({s.w, s.h, code});
  routine.draw = [=](Dice& dice) {
    const int w = dice.between(1, 200), h = dice.between(1, 20), order = dice.between(0, 2) << 16;
    return Numbers{w, h, (padded ? 8 : dice.between(1, 2)) | order};
  };
  routine.buffers = [](const Numbers& n) {
    std::vector<Buffer> buffers = transfer(Tarn::fromPixelsExtents(n[2], n[0], n[1]));
    buffers[0].name = "pixels";
    buffers[1].kind = Kind::kFloats;
    buffers[1].asked = 0;
    return buffers;
  };
  routine.call = [=](const Numbers& n, const Memory& at) {
    // Of a block from the rows' allocator what is left unwritten shows.
    put(View{at[1], Tarn::fromPixelsExtents(n[2], n[0], n[1]).dst.bytes},
        Mat::from_pixels(at[0], n[2], n[0], n[1], tensorAllocator()));
  };
  routine.checked = [=](const Numbers& n, const Views& v) {
    put(v[1], Tarn::checked::from_pixels(source(v[0]), n[2], n[0], n[1]));
  };
  routine.plain = [](const Numbers& n, const Memory& at) {
    const int given = n[2] & 0xffff, wanted = n[2] >> 16, pixels = n[0] * n[1];
    const bool swapped = wanted != 0 && (wanted == 2) != (given == 2);
    for (int plane = 0; plane < 3; ++plane)
      for (int i = 0; i < pixels; ++i)
        floats(at[1])[plane * pixels + i] =
            at[0][(given == 8 ? 4 : 3) * i + (swapped ? 2 - plane : plane)];
  };
  routine.skipped = padded ? 1 : 0;
  routine.last_byte_counts = true;
  return routine;
}

// Numbers: w, h, c, layout. A view: nothing is touched until somebody reads it.
Routine fromFloats() {
  Routine routine = {"TarnCPU::Mat::from_float_array", 3};
  routine.cases = {{3, 2, 4, 1}, {5, 4, 3, 2}, {1, 1, 1, 1}};
  routine.draw = [](Dice& dice) {
    return Numbers{dice.between(1, 20), dice.between(1, 20), dice.between(1, 5), dice.between(1, 2)};
  };
  routine.buffers = [](const Numbers& n) {
    const Tarn::Extent floats = Tarn::tensorExtent(n[0], n[1], n[2]);
    return std::vector<Buffer>{{"data", Use::kRead, floats, floats.end(), Kind::kFloats},
                               {"copy", Use::kWritten, floats, 0, Kind::kFloats}};
  };
  // Copies and moves of the record leave the elements alone, and all of them can be read.
  const auto copy = [](Mat tensor, const View& to) {
    Mat shared, moved;
    shared = tensor;
    moved = std::move(tensor);
    const Mat taken = std::move(moved);
    put(to, taken);
  };
  const auto layout = [](const Numbers& n) { return static_cast<TarnCPU::TensorShape::Layout>(n[3]); };
  routine.call = [=](const Numbers& n, const Memory& at) {
    copy(Mat::from_float_array(floats(at[0]), n[0], n[1], n[2], layout(n), nullptr),
         View{at[1], Tarn::tensorExtent(n[0], n[1], n[2]).bytes});
  };
  routine.checked = [=](const Numbers& n, const Views& v) {
    copy(Tarn::checked::from_float_array(floatSource(v[0]), n[0], n[1], n[2], layout(n), nullptr), v[1]);
  };
  routine.plain = [](const Numbers& n, const Memory& at) {
    std::memcpy(at[1], at[0], Tarn::tensorExtent(n[0], n[1], n[2]).bytes);
  };
  routine.last_byte_counts = true;
  return routine;
}

}  // namespace

void addTensors(Table& table) {
  table.push_back(fromPixels(false));
  table.push_back(fromPixels(true));
  table.push_back(fromFloats());
}

}  // namespace tn_routines
