// Any view, spec and region: refused by a field's name with nothing written, or equal to the plain form.
// Planes and tensors are blocks of exactly the bytes that are named.
#include <functional>
#include <iterator>
#include <stdexcept>
#include <string>

#include "fuzz/fuzz_input.h"
#include "tests/preprocess/cases.h"
#include "tests/preprocess/packings.h"
#include "tests/reference/preprocess_reference.h"

namespace {

using tn_fuzz::FuzzInput;
using Bytes = std::vector<std::uint8_t>;

int wild(FuzzInput& input) {
  return input.coin() ? input.between(-2, 300) : static_cast<int>(input.word());
}

// One field becomes anything at all.
void spoil(FuzzInput& input, Tarn::FrameView& view, Tarn::TensorSpec& spec, Tarn::Region& region) {
  const int plane = input.between(0, 2), channel = input.between(0, 2);
  const int value = wild(input);
  const float real = input.real();
  const std::function<void()> ways[] = {
      [&] { view.format = static_cast<Tarn::FrameFormat>(value); },
      [&] { view.width = value; },
      [&] { view.height = value; },
      [&] { view.planes[plane] = nullptr; },
      [&] { view.strides[plane] = value; },
      [&] { view.strides[plane] = std::ptrdiff_t{value} * 0x100000001; },
      [&] {
        view.bytes[plane] = std::min(view.bytes[plane], static_cast<std::size_t>(std::max(value, 0)));
      },
      [&] { view.matrix = static_cast<Tarn::YuvMatrix>(value); },
      [&] { view.range = static_cast<Tarn::YuvRange>(value); },
      [&] { view.siting = static_cast<Tarn::ChromaSiting>(value); },
      [&] { view.orientation = value; },
      [&] { spec.width = std::min(value, 300); },
      [&] { spec.height = std::min(value, 300); },
      [&] { spec.type = static_cast<Tarn::ElementType>(value); },
      [&] { spec.layout = static_cast<Tarn::TensorLayout>(value); },
      [&] { spec.colour = static_cast<Tarn::TensorColour>(value); },
      [&] { spec.fit = static_cast<Tarn::Fit>(value); },
      [&] { spec.short_side = value; },
      [&] { spec.bar[channel] = real; },
      [&] { spec.divisor = real; },
      [&] { spec.mean[channel] = real; },
      [&] { spec.deviation[channel] = real; },
      [&] { spec.scale[channel] = real; },
      [&] { spec.step = real; },
      [&] { spec.zero_point = value; },
      [&] { spec.resampling = static_cast<Tarn::Resampling>(value); },
      [&] { spec.pillow = value; },
      [&] {
        (plane == 0     ? region.x
         : channel == 0 ? region.y
         : channel == 1 ? region.width
                        : region.height) = value;
      },
  };
  ways[input.byte() % std::size(ways)]();
}

// Takes back what a spoilt view says of memory that is not there: a plane's memory begins at its lowest
// row, wherever its format, height and stride have that.
void describeMemory(const std::vector<Bytes>& planes, Tarn::FrameView& view) {
  constexpr std::ptrdiff_t kFar = 1 << 20;
  const int format = static_cast<int>(view.format);
  if (format < 0 || format > static_cast<int>(Tarn::FrameFormat::kGray)) return;
  const tn_test::Packing& packing = tn_test::packingOf(view.format);
  for (std::size_t k = 0; k < std::min(planes.size(), packing.planes.size()); ++k) {
    if (view.planes[k] == nullptr || view.height < 1 || view.height > 65536) continue;
    const std::ptrdiff_t rows = tn_test::planeShape(packing, k, 1, view.height).rows;
    // Of one row the distance does not matter.
    const std::ptrdiff_t stride = rows > 1 ? view.strides[k] : 0;
    if (stride >= kFar || stride <= -kFar) continue;
    const std::ptrdiff_t first = static_cast<const std::uint8_t*>(view.planes[k]) - planes[k].data();
    const std::ptrdiff_t lowest = first + std::min<std::ptrdiff_t>(0, stride * (rows - 1));
    const std::ptrdiff_t left = static_cast<std::ptrdiff_t>(planes[k].size()) - lowest;
    view.bytes[k] = lowest < 0 ? 0 : std::min(view.bytes[k], static_cast<std::size_t>(left));
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzInput input(data, size);
  input.chooseTarget();
  Tarn::FrameView view = tn_test::drawView(input, 40);
  Tarn::TensorSpec spec = tn_test::drawSpec(input, 40);
  Tarn::Region region = tn_test::drawRegion(input, view);
  const int padding = input.between(0, 3), spoilt = std::max(0, input.between(-2, 2));
  const bool bottom_up = input.coin(), short_tensor = input.byte() % 16 == 1;
  const tn_test::Packing& packing = tn_test::packingOf(view.format);
  std::vector<Bytes> planes;
  for (std::size_t k = 0; k < packing.planes.size(); ++k) {
    const tn_test::PlaneShape shape = tn_test::planeShape(packing, k, view.width, view.height);
    const std::size_t stride = shape.row_bytes + static_cast<std::size_t>(padding);
    const std::size_t before = stride * static_cast<std::size_t>(shape.rows - 1);
    view.bytes[k] = before + shape.row_bytes;
    planes.push_back(input.bytes(view.bytes[k]));
    view.planes[k] = planes[k].data() + (bottom_up ? before : 0);
    view.strides[k] = (bottom_up ? -1 : 1) * static_cast<std::ptrdiff_t>(stride);
  }
  for (int i = 0; i < spoilt; ++i) spoil(input, view, spec, region);
  describeMemory(planes, view);

  Bytes tensor;
  try {
    tensor.assign(spec.bytes() - (short_tensor ? 1 : 0), 0xAB);
    Tarn::Preprocessor preprocessor(spec);
    const Tarn::Placement placed = preprocessor.run(view, tensor.data(), tensor.size(), region);
    FUZZ_CHECK(!short_tensor);
    FUZZ_CHECK(tensor == tn_reference::plainTensor(view, spec, region));
    // Again, into what the first call left, and as a batch.
    Bytes batch(2 * tensor.size());
    const Tarn::Region regions[2] = {{}, region};
    Tarn::Placement placements[2];
    preprocessor.run(view, regions, 2, batch.data(), batch.size(), placements);
    FUZZ_CHECK(std::equal(tensor.begin(), tensor.end(),
                          batch.begin() + static_cast<std::ptrdiff_t>(tensor.size())));
    FUZZ_CHECK(std::memcmp(&placements[1], &placed, sizeof placed) == 0);
  } catch (const std::invalid_argument& fault) {
    FUZZ_CHECK(spoilt > 0 || short_tensor);
    FUZZ_CHECK(std::string(fault.what()).find(": ") != std::string::npos);
    FUZZ_CHECK(std::count(tensor.begin(), tensor.end(), 0xAB) ==
               static_cast<std::ptrdiff_t>(tensor.size()));
  }
  return 0;
}
