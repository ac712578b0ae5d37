#include "tn_mat.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <limits>
#include <memory>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include "common/tn_sanitizers.h"
#include "tests/support/log_lines.h"
#include "tests/support/test_support.h"

namespace {

using TarnCPU::Allocator;
using TarnCPU::Mat;
using TarnCPU::TensorShape;

// Counts, and refuses on demand.
class CountingAllocator : public Allocator {
 public:
  void* allocate(std::size_t size) override {
    ++allocated;
    last_size = size;
    if (refuse) return nullptr;
    block_.resize(size + 64);
    void* start = block_.data();
    std::size_t space = block_.size();
    return last = std::align(64, size, start, space);
  }
  void release(void* pointer) override {
    ++released;
    EXPECT_EQ(pointer, last);
  }

  int allocated = 0, released = 0;
  std::size_t last_size = 0;
  void* last = nullptr;
  bool refuse = false;

 private:
  std::vector<unsigned char> block_;
};

TEST(Mat, ANewTensorHasItsShapeAndIsAligned) {
  for (int w : {1, 3, 16, 641}) {
    const Mat m(w, 5, 3, TensorShape::HWC);
    EXPECT_EQ(m.layout, TensorShape::HWC);
    EXPECT_EQ(m.w, w);
    EXPECT_EQ(m.h, 5);
    EXPECT_EQ(m.c, 3);
    EXPECT_EQ(m.elem_size, 4u);
    EXPECT_EQ(m.extra, 0);
    EXPECT_EQ(m.allocator, nullptr);
    EXPECT_EQ(m.total(), static_cast<std::size_t>(w) * 15);
    ASSERT_NE(m.refcount, nullptr);
    EXPECT_EQ(*m.refcount, 1);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(m.data) % 64, 0u);
    // All of it can be written.
    std::memset(m.data, 0x11, m.total() * sizeof(float));
  }
}

TEST(Mat, NoElementsNeedNoMemory) {
  CountingAllocator allocator;
  for (const auto& [w, h, c] : {std::tuple{0, 5, 3}, std::tuple{5, -1, 3}, std::tuple{5, 5, 0}}) {
    const Mat m(w, h, c, TensorShape::CHW, &allocator);
    EXPECT_TRUE(m.empty());
    EXPECT_EQ(m.total(), 0u);
    EXPECT_EQ(m.w, w);
    EXPECT_EQ(m.refcount, nullptr);
  }
  EXPECT_TRUE(Mat::from_pixels(nullptr, 1, 0, 5, &allocator).empty());
  EXPECT_TRUE(Mat::from_pixels(nullptr, 8, 5, -1, &allocator).empty());
  EXPECT_TRUE(Mat().empty());
  EXPECT_EQ(allocator.allocated, 0);
}

TEST(Mat, CopiesShareAndTheLastOwnerFrees) {
  CountingAllocator allocator;
  {
    Mat a(4, 3, 2, TensorShape::CHW, &allocator);
    a.extra = 7;
    Mat b = a, c;
    c = b;
    EXPECT_EQ(*a.refcount, 3);
    EXPECT_EQ(c.data, a.data);
    EXPECT_EQ(c.extra, 7);
    b.row(1)[2] = 5.0f;
    EXPECT_EQ(a.row(1)[2], 5.0f);

    Mat d = std::move(c);
    EXPECT_TRUE(c.empty());  // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(c.refcount, nullptr);
    EXPECT_EQ(*d.refcount, 3);
    Mat& same = d;
    d = same;
    EXPECT_EQ(*d.refcount, 3);
    a.release();
    EXPECT_TRUE(a.empty());
    b = Mat(1, 1, 1);
    EXPECT_EQ(*d.refcount, 1);
    EXPECT_EQ(d.row(1)[2], 5.0f);
    EXPECT_EQ(allocator.released, 0);
  }
  EXPECT_EQ(allocator.allocated, 1);
  EXPECT_EQ(allocator.released, 1);
  EXPECT_GE(allocator.last_size, 4u * 3 * 2 * sizeof(float));
}

TEST(Mat, ViewsOwnNothing) {
  std::vector<float> floats(3 * 4 * 5);
  for (std::size_t i = 0; i < floats.size(); ++i) floats[i] = static_cast<float>(i);
  CountingAllocator allocator;
  {
    Mat planes = Mat::from_float_array(floats.data(), 5, 4, 3, TensorShape::CHW, &allocator);
    planes.extra = 9;
    EXPECT_EQ(planes.data, floats.data());
    EXPECT_EQ(planes.refcount, nullptr);
    EXPECT_EQ(planes.allocator, &allocator);
    EXPECT_EQ(planes.row(2)[1], 11.0f);
    Mat plane = planes.channel(2);
    EXPECT_EQ(plane.c, 1);
    EXPECT_EQ(plane.w, 5);
    EXPECT_EQ(plane.h, 4);
    EXPECT_EQ(plane.extra, 9);
    EXPECT_EQ(plane.elem_size, 4u);
    EXPECT_EQ(plane.refcount, nullptr);
    EXPECT_EQ(plane.row(3)[4], 59.0f);
    plane.row(0)[0] = -1.0f;
    EXPECT_EQ(floats[40], -1.0f);

    for (const auto& [w, h, c] : {std::array{0, 4, 3}, {5, -1, 3}, {5, 4, 0}})
      EXPECT_TRUE(Mat::from_float_array(floats.data(), w, h, c, TensorShape::CHW, nullptr).empty());
    EXPECT_FALSE(planes.empty());

    Mat pixels = Mat::from_float_array(floats.data(), 5, 4, 3, TensorShape::HWC, nullptr);
    EXPECT_EQ(pixels.row(2)[1], 31.0f);  // second channel of the first pixel

    const Mat owner(5, 4, 3, TensorShape::CHW, &allocator);
    {
      const Mat of_owner = owner.channel(1);
      EXPECT_EQ(of_owner.data, owner.row(4));
      EXPECT_EQ(*owner.refcount, 1);
    }
    EXPECT_EQ(allocator.released, 0);
  }
  EXPECT_EQ(allocator.allocated, 1);
  EXPECT_EQ(allocator.released, 1);
}

TEST(Mat, CopiesAndDropsOnManyThreads) {
  CountingAllocator allocator;
  {
    const Mat shared(64, 64, 3, TensorShape::CHW, &allocator);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
      threads.emplace_back([copy = shared] {
        for (int i = 0; i < 20000; ++i) {
          Mat again = copy;
          Mat moved = std::move(again);
        }
      });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(*shared.refcount, 1);
    EXPECT_EQ(allocator.released, 0);
  }
  EXPECT_EQ(allocator.released, 1);

  // The last owner may be on any thread.
  for (int i = 0; i < 200; ++i) {
    Mat first(8, 8, 1);
    std::thread second([copy = first]() mutable { copy.release(); });
    first.release();
    second.join();
  }
}

// The last large block that was dropped serves again; no two tensors may ever get the same one.
TEST(Mat, LargeBlocksServeAgainButOneTensorAtATime) {
#if !defined(TN_ADDRESS_SANITIZER)
  const void* const dropped = Mat(256, 256, 3).data;
  EXPECT_EQ(Mat(256, 256, 3).data, dropped);
#endif
  // A kept block of another size must not serve: all of the larger tensor can be written.
  Mat(256, 256, 1).release();
  Mat larger(256, 256, 256);
  std::memset(larger.data, 0x11, larger.total() * sizeof(float));
  const Mat first(256, 256, 3), second(256, 256, 3);
  EXPECT_NE(first.data, second.data);
  std::vector<std::thread> threads;
  std::atomic<int> torn{0};
  for (int id = 0; id < 4; ++id)
    threads.emplace_back([id, &torn] {
      for (int i = 0; i < 200; ++i) {
        // Two sizes, so that a kept block does not always fit.
        Mat tensor(256, 256 + i % 2, 1);
        float* const values = static_cast<float*>(tensor.data);
        const std::size_t last = tensor.total() - 1;
        values[0] = values[last] = static_cast<float>(id);
        std::this_thread::yield();
        if (values[0] != static_cast<float>(id) || values[last] != static_cast<float>(id)) ++torn;
      }
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(torn, 0);
}

TEST(MatDeathTest, MemoryThatCannotBeHadEndsTheProgram) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  const std::string text =
      tn_test::FailedCheck("false && \"malloc failed\"", "platform/tn_cnn/src/tn_mat", 60);
  EXPECT_DEATH(
      {
        CountingAllocator allocator;
        allocator.refuse = true;
        Mat(2, 2, 2, TensorShape::CHW, &allocator);
      },
      text);
  // The product does not fit in a size, in front of any rounding or only after it.
  constexpr int kMost = std::numeric_limits<int>::max();
  EXPECT_DEATH(Mat(kMost, kMost, kMost), text);
  EXPECT_DEATH(Mat(kMost, kMost, 2), text);
  const unsigned char pixel[3] = {};
  EXPECT_DEATH(Mat::from_pixels(pixel, 1, kMost, kMost), text);
}

TEST(FromPixels, AnUnknownTypeIsLoggedAndGivesNothing) {
  tn_test::LogLines log(tn_test::LogLines::What::kWholeOfEach);
  const int unknown[] = {0, 3, 9, 8 << 16 | 1, 3 << 16 | 8, -1};
  for (const int type : unknown) {
    const Mat m = Mat::from_pixels(nullptr, type, 4, 4);
    EXPECT_TRUE(m.empty());
    EXPECT_EQ(m.total(), 0u);
  }
  const std::vector<std::string> lines = log.take();
  ASSERT_EQ(lines.size(), std::size(unknown));
  EXPECT_EQ(lines[1], "E/Tarn: Mat::from_pixels: type 0x3 is not supported");
  EXPECT_EQ(lines[5], "E/Tarn: Mat::from_pixels: type 0xffffffff is not supported");
}

}  // namespace
