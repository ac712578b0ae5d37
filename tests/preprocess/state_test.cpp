// What is refused, and what outlives a call: errors, moves, batches and threads.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <type_traits>
#include <utility>

#include "tests/preprocess/cases.h"
#include "tests/preprocess/frames.h"
#include "tests/reference/preprocess_reference.h"
#include "tests/support/threads.h"

namespace {

using namespace tn_test;
using Tarn::ElementType;
using Tarn::FrameFormat;
using Tarn::FrameView;
using Tarn::Placement;
using Tarn::Preprocessor;
using Tarn::Region;
using Tarn::Resampling;
using Tarn::TensorSpec;
using Bytes = std::vector<std::uint8_t>;

constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

static_assert(!std::is_copy_constructible_v<Preprocessor> && !std::is_copy_assignable_v<Preprocessor> &&
              std::is_nothrow_move_constructible_v<Preprocessor> &&
              std::is_nothrow_move_assignable_v<Preprocessor>);

TensorSpec smallSpec() {
  TensorSpec spec = byteSpec(24, 16, Resampling::kBilinear);
  spec.fit = Tarn::Fit::kLetterbox;
  return spec;
}

Bytes runOf(Preprocessor& preprocessor, const FrameView& view, const Region& region = {}) {
  Bytes tensor(preprocessor.spec().bytes(), 0xAB);
  preprocessor.run(view, tensor.data(), tensor.size(), region);
  return tensor;
}

bool beginsWith(const std::string& text, const std::string& start) { return text.rfind(start, 0) == 0; }

TEST(Refusals, SpecsNameTheirField) {
  const struct {
    const char* field;
    std::function<void(TensorSpec&)> spoil;
  } cases[] = {
      {"width", [](auto& s) { s.width = 0; }},
      {"width", [](auto& s) { s.width = 65537; }},
      {"height", [](auto& s) { s.height = -1; }},
      {"type", [](auto& s) { s.type = static_cast<ElementType>(5); }},
      {"layout", [](auto& s) { s.layout = static_cast<Tarn::TensorLayout>(-1); }},
      {"colour", [](auto& s) { s.colour = static_cast<Tarn::TensorColour>(3); }},
      {"fit", [](auto& s) { s.fit = static_cast<Tarn::Fit>(4); }},
      {"never_enlarge", [](auto& s) { s.fit = Tarn::Fit::kStretch, s.never_enlarge = true; }},
      {"short_side", [](auto& s) { s.fit = Tarn::Fit::kCrop, s.short_side = -1; }},
      {"short_side", [](auto& s) { s.fit = Tarn::Fit::kCrop, s.short_side = 65537; }},
      {"short_side", [](auto& s) { s.short_side = 9; }},
      {"bar", [](auto& s) { s.bar[2] = kNan; }},
      {"bar", [](auto& s) { s.bar[0] = -0.5f; }},
      {"bar", [](auto& s) { s.bar[1] = 255.5f; }},
      {"divisor", [](auto& s) { s.divisor = 0; }},
      {"divisor", [](auto& s) { s.divisor = kNan; }},
      {"mean", [](auto& s) { s.mean[1] = kInfinity; }},
      {"deviation", [](auto& s) { s.deviation[2] = 0; }},
      {"deviation", [](auto& s) { s.deviation[0] = kNan; }},
      {"scale", [](auto& s) { s.scale[0] = -kInfinity; }},
      // Finite each, but their elements are not.
      {"divisor", [](auto& s) { s.divisor = 1e-37f, s.scale[1] = 0; }},
      {"step", [](auto& s) { s.type = ElementType::kInt8; }},
      {"step", [](auto& s) { s.step = -1; }},
      {"step", [](auto& s) { s.step = kNan; }},
      {"step", [](auto& s) { s.type = ElementType::kFloat16, s.step = 1; }},
      {"zero_point", [](auto& s) { s.step = 1, s.zero_point = 256; }},
      {"zero_point", [](auto& s) { s.type = ElementType::kInt8, s.step = 1, s.zero_point = -129; }},
      {"divisor", [](auto& s) { s.type = ElementType::kUint8, s.divisor = 255; }},
      {"mean", [](auto& s) { s.type = ElementType::kUint8, s.mean[0] = 1; }},
      {"deviation", [](auto& s) { s.type = ElementType::kUint8, s.deviation[1] = 2; }},
      {"scale", [](auto& s) { s.type = ElementType::kUint8, s.scale[2] = -1; }},
      {"resampling", [](auto& s) { s.resampling = static_cast<Resampling>(7); }},
      {"pillow", [](auto& s) { s.pillow = 11; }},
  };
  for (const auto& c : cases) {
    TensorSpec spec = smallSpec();
    c.spoil(spec);
    const std::string fault = FaultOf([&] { Preprocessor preprocessor(spec); });
    EXPECT_TRUE(beginsWith(fault, c.field)) << "'" << fault << "' for " << c.field;
  }
  TensorSpec spec;
  spec.width = spec.height = 65536;
  EXPECT_EQ(spec.bytes(), std::size_t{3} * 4 << 32);
  spec.colour = static_cast<Tarn::TensorColour>(9);
  EXPECT_TRUE(beginsWith(FaultOf([&] { static_cast<void>(spec.bytes()); }), "colour"));
}

struct Job {
  FrameView view;
  Region region;
  void* tensor;
  std::size_t bytes;
};

TEST(Refusals, JobsNameTheirFieldAndWriteNothing) {
  const struct {
    const char* field;
    std::function<void(Job&)> spoil;
  } cases[] = {
      {"format", [](Job& j) { j.view.format = static_cast<FrameFormat>(15); }},
      {"width", [](Job& j) { j.view.width = 0; }},
      {"width", [](Job& j) { j.view.width = 65537; }},
      {"height", [](Job& j) { j.view.height = -3; }},
      {"matrix", [](Job& j) { j.view.matrix = static_cast<Tarn::YuvMatrix>(3); }},
      {"range", [](Job& j) { j.view.range = static_cast<Tarn::YuvRange>(2); }},
      {"siting", [](Job& j) { j.view.siting = static_cast<Tarn::ChromaSiting>(-1); }},
      {"orientation", [](Job& j) { j.view.orientation = 0; }},
      {"orientation", [](Job& j) { j.view.orientation = 9; }},
      {"planes[0]", [](Job& j) { j.view.planes[0] = nullptr; }},
      {"planes[1]", [](Job& j) { j.view.planes[1] = nullptr; }},
      {"strides[0]", [](Job& j) { j.view.strides[0] = 16; }},
      {"strides[1]", [](Job& j) { j.view.strides[1] = -17; }},
      {"bytes[0]", [](Job& j) { --j.view.bytes[0]; }},
      {"bytes[1]", [](Job& j) { --j.view.bytes[1]; }},
      {"bytes[1]", [](Job& j) { j.view.bytes[1] = 0; }},
      {"bytes[0]", [](Job& j) { j.view.height = 65536; }},
      // Distances whose products and negatives wrap.
      {"bytes[0]", [](Job& j) { j.view.strides[0] = std::numeric_limits<std::ptrdiff_t>::min(); }},
      {"bytes[0]", [](Job& j) { j.view.strides[0] = std::numeric_limits<std::ptrdiff_t>::max(); }},
      {"region",
       [](Job& j) {
         j.region = {2, 2, 0, 4};
       }},
      {"region",
       [](Job& j) {
         j.region = {2, 2, 4, 0};
       }},
      {"region",
       [](Job& j) {
         j.region = {2, 2, 0, 0};
       }},
      {"region",
       [](Job& j) {
         j.region = {2, 2, -1, 4};
       }},
      {"region",
       [](Job& j) {
         j.region = {17, 0, 4, 4};
       }},
      {"region",
       [](Job& j) {
         j.region = {0, -4, 4, 4};
       }},
      {"region",
       [](Job& j) {
         j.region = {std::numeric_limits<int>::max(), 0, std::numeric_limits<int>::max(), 4};
       }},
      {"region",
       [](Job& j) {
         j.region = {std::numeric_limits<int>::min(), 0, std::numeric_limits<int>::max(), 4};
       }},
      {"tensor", [](Job& j) { j.tensor = nullptr; }},
      {"tensor", [](Job& j) { j.tensor = const_cast<void*>(j.view.planes[1]); }},
      {"bytes", [](Job& j) { --j.bytes; }},
  };
  const TestFrame frame = randomFrame(FrameFormat::kNv12, 17, 13, 1);
  Preprocessor preprocessor(smallSpec());
  const Bytes expected = tn_reference::plainTensor(frame.view, smallSpec());
  Bytes tensor(smallSpec().bytes(), 0xAB);
  for (const auto& c : cases) {
    Job job = {frame.view, {}, tensor.data(), tensor.size()};
    c.spoil(job);
    const std::string fault =
        FaultOf([&] { preprocessor.run(job.view, job.tensor, job.bytes, job.region); });
    EXPECT_TRUE(beginsWith(fault, std::string(c.field) + ": ")) << "'" << fault << "' for " << c.field;
    EXPECT_EQ(tensor, Bytes(tensor.size(), 0xAB)) << c.field;
    EXPECT_EQ(runOf(preprocessor, frame.view), expected) << "after " << c.field;
    // In a batch likewise; place does not look at the tensor.
    const Region regions[] = {{}, job.region};
    const bool of_tensor = job.tensor != tensor.data() || job.bytes != tensor.size();
    Bytes batch(2 * tensor.size(), 0xAB);
    if (of_tensor) continue;
    EXPECT_EQ(FaultOf([&] { static_cast<void>(preprocessor.place(job.view, job.region)); }), fault);
    const std::string batch_fault =
        FaultOf([&] { preprocessor.run(job.view, regions, 2, batch.data(), batch.size(), nullptr); });
    EXPECT_TRUE(beginsWith(batch_fault, c.field)) << batch_fault;
    if (std::string(c.field) == "region") {
      EXPECT_TRUE(beginsWith(batch_fault, "regions[1]")) << batch_fault;
    }
    EXPECT_EQ(batch, Bytes(batch.size(), 0xAB)) << c.field;
  }
  // An odd address, which an element of two bytes cannot have.
  TensorSpec wide = smallSpec();
  wide.type = ElementType::kFloat16;
  Bytes longer(wide.bytes() + 1);
  EXPECT_TRUE(beginsWith(
      FaultOf([&] { Preprocessor(wide).run(frame.view, longer.data() + 1, wide.bytes()); }), "tensor"));
  // Rows of one row need no distance.
  TestFrame flat = randomFrame(FrameFormat::kNv12, 17, 1, 2);
  const Bytes flat_expected = runOf(preprocessor, flat.view);
  flat.view.strides[0] = flat.view.strides[1] = 0;
  EXPECT_EQ(runOf(preprocessor, flat.view), flat_expected);
}

TEST(Batches, EqualTheirSingleRuns) {
  const TestFrame frame = randomFrame(FrameFormat::kNv12, 61, 47, 4);
  Random random(5);
  for (int mode = 0; mode <= static_cast<int>(Resampling::kPillowBox); ++mode) {
    TensorSpec spec = smallSpec();
    spec.resampling = static_cast<Resampling>(mode);
    spec.type = ElementType::kFloat16;
    Preprocessor preprocessor(spec);
    std::vector<Region> regions;
    for (int i = 0; i < 9; ++i) regions.push_back(drawRegion(random, frame.view));
    Guarded batch(regions.size() * spec.bytes());
    std::vector<Placement> placements(regions.size());
    preprocessor.run(frame.view, regions.data(), regions.size(), batch.data(), batch.size(),
                     placements.data());
    for (std::size_t i = 0; i < regions.size(); ++i) {
      const std::uint8_t* const tensor = batch.data() + i * spec.bytes();
      EXPECT_EQ(Bytes(tensor, tensor + spec.bytes()),
                tn_reference::plainTensor(frame.view, spec, regions[i]))
          << mode << ", region " << i;
      const Placement placed = preprocessor.place(frame.view, regions[i]);
      EXPECT_EQ(std::memcmp(&placements[i], &placed, sizeof placed), 0);
    }
    preprocessor.run(frame.view, nullptr, 0, nullptr, 0);
    const auto fault = [&](const Region* some, std::size_t count, void* tensors, std::size_t bytes) {
      return FaultOf([&] { preprocessor.run(frame.view, some, count, tensors, bytes); });
    };
    EXPECT_TRUE(beginsWith(fault(nullptr, 2, batch.data(), batch.size()), "regions"));
    EXPECT_TRUE(beginsWith(fault(regions.data(), 2, nullptr, batch.size()), "batch"));
    EXPECT_TRUE(beginsWith(fault(regions.data(), 2, batch.data(), 2 * spec.bytes() - 1), "bytes"));
    EXPECT_TRUE(beginsWith(
        fault(regions.data(), std::numeric_limits<std::size_t>::max() / 2, batch.data(), batch.size()),
        "count"));
  }
}

// One object for frames, regions and sizes of all kinds gives what a new one gives each time.
TEST(Preprocess, NothingOfOneCallShowsInTheNext) {
  Random random(6);
  for (int mode = 0; mode <= static_cast<int>(Resampling::kPillowBox); ++mode) {
    TensorSpec spec = smallSpec();
    spec.resampling = static_cast<Resampling>(mode);
    Preprocessor kept(spec);
    for (int i = 0; i < 40; ++i) {
      const FrameView drawn = drawView(random, i % 4 == 0 ? 200 : 20);
      TestFrame frame = randomFrame(drawn.format, drawn.width, drawn.height, random.bits());
      frame.view.orientation = drawn.orientation;
      const Region region = drawRegion(random, frame.view);
      EXPECT_EQ(runOf(kept, frame.view, region), tn_reference::plainTensor(frame.view, spec, region))
          << mode << " " << i;
      // The same job but for one field, which tables may depend on.
      if (i % 4 == 1) frame.view.siting = static_cast<Tarn::ChromaSiting>((i + 1) / 2 % 3);
      if (i % 4 == 2) frame.view.range = Tarn::YuvRange::kFull;
      if (i % 4 == 3)
        frame.view.orientation = (drawn.orientation - 1) / 4 * 4 + drawn.orientation % 4 + 1;
      EXPECT_EQ(runOf(kept, frame.view, region), tn_reference::plainTensor(frame.view, spec, region))
          << mode << " " << i << ", one field";
    }
    Preprocessor moved(std::move(kept));
    const TestFrame frame = randomFrame(FrameFormat::kYuyv, 33, 20, 7);
    const Bytes expected = tn_reference::plainTensor(frame.view, spec);
    EXPECT_EQ(runOf(moved, frame.view), expected);
    kept = Preprocessor(TensorSpec::clip224());
    EXPECT_EQ(kept.spec().width, 224);
    kept = std::move(moved);
    EXPECT_EQ(kept.spec().width, spec.width);
    EXPECT_EQ(runOf(kept, frame.view), expected);
  }
}

TEST(Threads, PreprocessorsSideBySideDoNotMeet) {
  const TestFrame frame = randomFrame(FrameFormat::kI420, 64, 48, 8);
  std::vector<std::vector<Bytes>> together(4);
  const auto spec_of = [](int i) {
    TensorSpec spec = smallSpec();
    spec.resampling = static_cast<Resampling>(i);
    return spec;
  };
  onThreads(4, [&](int thread) {
    for (int i = 0; i < 7; ++i) {
      Preprocessor preprocessor(spec_of((i + thread) % 7));
      together[static_cast<std::size_t>(thread)].push_back(runOf(preprocessor, frame.view));
    }
  });
  for (int thread = 0; thread < 4; ++thread)
    for (int i = 0; i < 7; ++i)
      EXPECT_EQ(together[static_cast<std::size_t>(thread)][static_cast<std::size_t>(i)],
                tn_reference::plainTensor(frame.view, spec_of((i + thread) % 7)));
}

}  // namespace
