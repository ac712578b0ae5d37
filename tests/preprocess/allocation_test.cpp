// How often preprocessing takes memory, and what it leaves behind when there is none.
#include <gtest/gtest.h>

#include <new>

#include "tests/preprocess/frames.h"
#include "tests/reference/preprocess_reference.h"
#include "tests/support/allocation_count.h"

namespace {

using namespace tn_test;
using Tarn::FrameFormat;
using Tarn::FrameView;
using Tarn::Preprocessor;
using Tarn::Region;
using Tarn::Resampling;
using Tarn::TensorSpec;
using Bytes = std::vector<std::uint8_t>;

TensorSpec specOf(int mode) {
  TensorSpec spec = byteSpec(24, 16, static_cast<Resampling>(mode));
  spec.fit = Tarn::Fit::kLetterbox;
  return spec;
}

TEST(Allocation, PreprocessingOfSameSizesTakesNone) {
  const TestFrame frame = randomFrame(FrameFormat::kNv12, 160, 90, 9);
  const Region regions[] = {{0, 0, 60, 50}, {31, 17, 60, 50}, {9, 40, 60, 50}};
  for (int mode = 0; mode <= static_cast<int>(Resampling::kPillowBox); ++mode)
    for (const int exif : {1, 6}) {
      const TensorSpec spec = specOf(mode);
      FrameView view = frame.view;
      view.orientation = exif;
      Preprocessor preprocessor(spec);
      Bytes batch(3 * spec.bytes());
      const auto all = [&] {
        preprocessor.run(view, batch.data(), batch.size());
        preprocessor.run(view, batch.data(), batch.size(), regions[0]);
        preprocessor.run(view, regions, 3, batch.data(), batch.size());
      };
      all();
      const std::size_t before = allocationCount();
      all();
      EXPECT_EQ(allocationCount(), before) << "mode " << mode << ", orientation " << exif;
    }
}

// Without memory nothing is written, not even the first of a batch, and the next call works.
TEST(OutOfMemory, PreprocessingLeavesEverythingAsItWas) {
  const TestFrame frame = randomFrame(FrameFormat::kNv12, 160, 90, 10);
  // The second one needs the larger tables.
  const Region regions[] = {{3, 3, 4, 4}, {0, 0, 160, 90}};
  for (int mode = 0; mode <= static_cast<int>(Resampling::kPillowBox); ++mode) {
    const TensorSpec spec = specOf(mode);
    const Bytes expected = tn_reference::plainTensor(frame.view, spec);
    const std::size_t held = heldBlocks();
    int failures = 0;
    for (std::size_t nth = 1;; ++nth) {
      Bytes batch(2 * spec.bytes(), 0xAB);
      const Bytes untouched = batch;
      Preprocessor preprocessor(spec);
      bool failed = false;
      try {
        const FailingAllocation failing(nth, false);
        preprocessor.run(frame.view, regions, 2, batch.data(), batch.size());
      } catch (const std::bad_alloc&) {
        failed = true;
        ++failures;
      }
      if (failed) {
        EXPECT_TRUE(batch == untouched) << "mode " << mode << ", block " << nth;
      }
      batch.resize(spec.bytes());
      preprocessor.run(frame.view, batch.data(), batch.size());
      EXPECT_TRUE(batch == expected) << "mode " << mode;
      if (!failed) break;
    }
    EXPECT_GT(failures, 0) << "mode " << mode;
    EXPECT_EQ(heldBlocks(), held) << "mode " << mode;
  }
}

}  // namespace
