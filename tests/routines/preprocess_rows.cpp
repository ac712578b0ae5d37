// Rows of frames to tensors, one for each way of resampling. Numbers: w, h, tensor w, h, then format,
// orientation, fit and element type as their enumerators' numbers.
#include "tests/preprocess/packings.h"
#include "tests/reference/preprocess_reference.h"
#include "tests/routines/routine.h"
#include "tn_preprocess.h"

namespace tn_routines {
namespace {

constexpr const char* kModes[] = {"nearest",         "bilinear",       "antialiased", "opencv-linear",
                                  "pillow-bilinear", "pillow-bicubic", "pillow-box"};

// Layout, channels and normalisation vary with the sizes.
Tarn::TensorSpec specOf(std::size_t mode, const Numbers& n) {
  Tarn::TensorSpec spec;
  spec.width = n[2];
  spec.height = n[3];
  spec.fit = static_cast<Tarn::Fit>(n[6]);
  spec.type = static_cast<Tarn::ElementType>(n[7]);
  spec.layout = static_cast<Tarn::TensorLayout>(n[0] % 2);
  spec.colour = static_cast<Tarn::TensorColour>((n[1] + n[3]) % 3);
  spec.resampling = static_cast<Tarn::Resampling>(mode);
  spec.pillow = 12 + n[2] % 2;
  if (spec.type == Tarn::ElementType::kInt8) spec.step = 0.02f;
  if (spec.type == Tarn::ElementType::kUint8) return spec;
  spec.divisor = 255;
  if (n[3] % 2 == 0) return spec;
  for (int c = 0; c < 3; ++c) {
    spec.mean[c] = 0.4f + 0.05f * static_cast<float>(c);
    spec.deviation[c] = 0.225f;
  }
  return spec;
}

// Planes back to back, each at an even byte.
Tarn::FrameView viewOf(const Numbers& n, const std::uint8_t* bytes, std::size_t* end) {
  Tarn::FrameView view;
  view.format = static_cast<Tarn::FrameFormat>(n[4]);
  view.width = n[0];
  view.height = n[1];
  view.orientation = n[5];
  view.range = n[0] % 3 == 0 ? Tarn::YuvRange::kFull : Tarn::YuvRange::kLimited;
  view.siting = static_cast<Tarn::ChromaSiting>(n[1] % 3);
  const tn_test::Packing& packing = tn_test::packingOf(view.format);
  *end = 0;
  for (std::size_t plane = 0; plane < packing.planes.size(); ++plane) {
    const tn_test::PlaneShape shape = tn_test::planeShape(packing, plane, n[0], n[1]);
    // Where only sizes are asked for there are no bytes.
    if (bytes != nullptr) view.planes[plane] = bytes + *end;
    view.strides[plane] = static_cast<std::ptrdiff_t>(shape.row_bytes);
    view.bytes[plane] = shape.row_bytes * static_cast<std::size_t>(shape.rows);
    *end += view.bytes[plane];
  }
  return view;
}

// The formats of each kind whose samples any bytes are.
const std::vector<int>& formats() {
  static const std::vector<int> all = {0, 1, 3, 4, 5, 7, 8, 9, 10, 11, 13, 14};
  return all;
}

void addMode(Table& table, std::size_t mode) {
  Routine routine = {std::string("Tarn::Preprocessor::run ") + kModes[mode], 0};
  int k = 0;
  for (const Size& from : {Size{1, 1}, {3, 2}, {17, 9}, {64, 36}, {97, 41}, {150, 20}})
    for (const Size& to : {Size{1, 1}, {16, 9}, {17, 20}, {32, 18}, {70, 33}, {97, 41}})
      routine.cases.push_back({from.w, from.h, to.w, to.h,
                               formats()[static_cast<std::size_t>(k) % formats().size()], 1 + k % 8,
                               k / 3 % 4, k++ % 5});
  routine.draw = [](Dice& dice) {
    return Numbers{dice.between(1, 99),   dice.between(1, 40), dice.between(1, 99), dice.between(1, 40),
                   dice.oneOf(formats()), dice.between(1, 8),  dice.between(0, 3),  dice.between(0, 4)};
  };
  routine.buffers = [=](const Numbers& n) -> std::vector<Buffer> {
    std::size_t bytes = 0;
    viewOf(n, nullptr, &bytes);
    const std::size_t tensor = specOf(mode, n).bytes();
    return {{"frame", Use::kRead, {0, bytes}, 0}, {"tensor", Use::kWritten, {0, tensor}, 0}};
  };
  routine.call = [=](const Numbers& n, const Memory& at) {
    std::size_t bytes = 0;
    const Tarn::TensorSpec spec = specOf(mode, n);
    Tarn::Preprocessor(spec).run(viewOf(n, at[0], &bytes), at[1], spec.bytes());
  };
  routine.plain = [=](const Numbers& n, const Memory& at) {
    std::size_t bytes = 0;
    put(at[1], tn_reference::plainTensor(viewOf(n, at[0], &bytes), specOf(mode, n)));
  };
  table.push_back(routine);
}

}  // namespace

void addPreprocessing(Table& table) {
  for (std::size_t mode = 0; mode < std::size(kModes); ++mode) addMode(table, mode);
}

}  // namespace tn_routines
