#include "tn_mat.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#if defined(__GLIBC__)
#include <malloc.h>
#endif

#include "common/tn_sanitizers.h"
#include "tests/support/log_lines.h"
#include "tests/support/test_support.h"
#include "tests/support/threads.h"

namespace {

using TarnCPU::Allocator;
using TarnCPU::Mat;
using TarnCPU::TensorShape;

// Counts, refuses on demand, and sees what is written behind the block.
class CountingAllocator : public Allocator {
 public:
  void* allocate(std::size_t size) override {
    ++allocated;
    last_size = size;
    if (refuse) return nullptr;
    block_.assign(size + 128, 0xA5);
    void* start = block_.data();
    std::size_t space = block_.size();
    return last = std::align(64, size, start, space);
  }
  void release(void* pointer) override {
    ++released;
    EXPECT_EQ(pointer, last);
    const unsigned char* const end = static_cast<unsigned char*>(pointer) + last_size;
    EXPECT_EQ(std::count(end, end + 64, 0xA5), 64);
  }

  int allocated = 0, released = 0;
  std::size_t last_size = 0;
  void* last = nullptr;
  bool refuse = false;

 private:
  std::vector<unsigned char> block_;
};

// What makes two records alike.
auto fieldsOf(const Mat& m) {
  return std::make_tuple(m.layout, m.c, m.h, m.w, m.elem_size, m.extra, m.data, m.refcount, m.allocator);
}

TEST(Mat, ANewTensorHasItsShapeAndMemoryIfItHasElements) {
  for (const int w : {1, 3, 16, 641}) {
    const Mat m(w, 5, 3, TensorShape::HWC);
    EXPECT_EQ(fieldsOf(m), std::make_tuple(TensorShape::HWC, 3, 5, w, 4u, 0, m.data, m.refcount,
                                           static_cast<Allocator*>(nullptr)));
    EXPECT_EQ(m.total(), static_cast<std::size_t>(w) * 15);
    ASSERT_NE(m.refcount, nullptr);
    EXPECT_EQ(*m.refcount, 1);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(m.data) % 64, 0u);
    // All of it can be written.
    std::memset(m.data, 0x11, m.total() * sizeof(float));
  }
  CountingAllocator allocator;
  float value = 0.0f;
  for (const auto& [w, h, c] : {std::array{0, 5, 3}, {5, -1, 3}, {5, 5, 0}}) {
    const Mat m(w, h, c, TensorShape::CHW, &allocator);
    EXPECT_TRUE(m.empty());
    EXPECT_EQ(m.total(), 0u);
    const Mat view = Mat::from_float_array(m.row(0), w, h, c, TensorShape::CHW, &allocator);
    EXPECT_EQ(fieldsOf(m), fieldsOf(view));
    EXPECT_TRUE(Mat::from_float_array(&value, w, h, c, TensorShape::CHW, nullptr).empty());
  }
  EXPECT_TRUE(Mat().empty());
  EXPECT_EQ(allocator.allocated, 0);
}

TEST(Mat, CopiesShareAndTheLastOwnerFrees) {
  for (const int h : {3, 90000}) {
    CountingAllocator allocator;
    Mat(4, h, 2).release();  // not to serve where an allocator is named
    {
      Mat a(4, h, 2, TensorShape::HWC, &allocator);
      a.extra = 7;
      Mat b = a, c, d(1, 1, 1);
      c = b;
      EXPECT_EQ(*a.refcount, 3);
      b.row(1)[2] = 5.0f;

      d = std::move(c);
      Mat e = std::move(d);
      EXPECT_EQ(fieldsOf(e), fieldsOf(a));
      // NOLINTNEXTLINE(bugprone-use-after-move)
      for (const Mat* gone : {&c, &d}) EXPECT_EQ(fieldsOf(*gone), fieldsOf(Mat()));
      Mat& same = e;
      e = same;
      EXPECT_EQ(*e.refcount, 3);
      a.release();
      EXPECT_EQ(fieldsOf(a), fieldsOf(Mat()));
      b = Mat(1, 1, 1);
      EXPECT_EQ(*e.refcount, 1);
      EXPECT_EQ(e.row(1)[2], 5.0f);
      EXPECT_EQ(allocator.released, 0);
    }
    EXPECT_EQ(allocator.allocated, 1);
    EXPECT_EQ(allocator.released, 1);
  }
}

TEST(Mat, ViewsOwnNothing) {
  std::vector<float> floats(3 * 4 * 5);
  for (std::size_t i = 0; i < floats.size(); ++i) floats[i] = static_cast<float>(i);
  CountingAllocator allocator;
  std::atomic<std::int32_t>* const none = nullptr;
  Mat planes = Mat::from_float_array(floats.data(), 5, 4, 3, TensorShape::CHW, &allocator);
  planes.extra = 9;
  EXPECT_EQ(fieldsOf(planes),
            std::make_tuple(TensorShape::CHW, 3, 4, 5, 4u, 9, planes.row(0), none, &allocator));
  EXPECT_EQ(planes.data, floats.data());
  EXPECT_EQ(planes.row(2)[1], 11.0f);
  Mat plane = planes.channel(2);
  EXPECT_EQ(fieldsOf(plane),
            std::make_tuple(TensorShape::CHW, 1, 4, 5, 4u, 9, planes.row(8), none, &allocator));
  plane.row(0)[0] = -1.0f;
  EXPECT_EQ(floats[40], -1.0f);
  plane.elem_size = 2;  // of some other type
  EXPECT_EQ(plane.channel(3).data, planes.row(8) + 30);
  Mat view = planes;
  view = plane;
  EXPECT_EQ(fieldsOf(view), fieldsOf(plane));
  view.data = planes.data;
  view = planes;
  EXPECT_EQ(fieldsOf(view), fieldsOf(planes)) << "although of the same elements";
  view.release();
  EXPECT_EQ(fieldsOf(view), fieldsOf(Mat()));
  const Mat pixels = Mat::from_float_array(floats.data(), 5, 4, 3, TensorShape::HWC, nullptr);
  EXPECT_EQ(pixels.row(2)[1], 31.0f) << "second channel of the first pixel";
  constexpr int kSide = 1 << 20;  // whose square no int holds
  EXPECT_EQ(Mat::from_float_array(nullptr, kSide, kSide, 3, TensorShape::CHW, nullptr).total(),
            std::size_t{3} << 40);

  const Mat owner(5, 4, 3, TensorShape::CHW, &allocator);
  EXPECT_EQ(owner.channel(1).data, owner.row(4));
  EXPECT_EQ(*owner.refcount, 1);
  EXPECT_EQ(allocator.allocated, 1);
  EXPECT_EQ(allocator.released, 0);
}

TEST(Mat, CopiesAndDropsOnManyThreads) {
  CountingAllocator allocator;
  Mat shared(64, 64, 3, TensorShape::CHW, &allocator);
  tn_test::onThreads(4, [copy = shared](int) {
    for (int i = 0; i < 20000; ++i) {
      Mat again = copy;
      const Mat moved = std::move(again);
    }
  });
  EXPECT_EQ(*shared.refcount, 1);
  EXPECT_EQ(allocator.released, 0);
  // The last owner may be on any thread.
  std::array<Mat, 8> owners;
  for (Mat& owner : owners) owner = shared;
  shared.release();
  tn_test::onThreads(8, [&](int i) { owners[static_cast<std::size_t>(i)].release(); });
  EXPECT_EQ(allocator.released, 1);
}

// Bytes in blocks of the heap; 0 where the C library, or a sanitizer in its place, does not say.
std::size_t bytesInUse() {
#if __GLIBC__ * 100 + __GLIBC_MINOR__ >= 233 && !defined(TN_ADDRESS_SANITIZER)
  const struct mallinfo2 blocks = mallinfo2();
  return blocks.uordblks + blocks.hblkhd;
#else
  return 0;
#endif
}

TEST(Mat, OneLargeBlockIsKeptAndNoOther) {
  const Mat taken(256, 999, 1);  // after which none is kept
  const std::size_t before = bytesInUse();
  if (before == 0) GTEST_SKIP() << "the C library does not say what is in use";
  int kept = 0;
  for (const auto& [rows, more_rows] : {std::pair{255, 0}, {256, 0}, {700, 0}, {300, 500}, {400, 255}}) {
    Mat first(256, rows, 1), last(256, more_rows, 1);
    first.release();
    last.release();
    for (const int dropped : {rows, more_rows})
      if (dropped >= 256) kept = dropped;
    EXPECT_NEAR(static_cast<double>(bytesInUse() - before) / 1024, kept, 16) << rows;
    const Mat served(256, std::max(kept, 1), 1);
    std::memset(served.data, 0x11, served.total() * sizeof(float));
    EXPECT_NEAR(static_cast<double>(bytesInUse() - before) / 1024, kept, 16) << rows;
  }
}

// No two tensors may ever get the same block.
TEST(Mat, LargeBlocksServeOneTensorAtATime) {
  std::atomic<int> torn{0};
  tn_test::onThreads(4, [&torn](int id) {
    for (int i = 0; i < 200; ++i) {
      // Two sizes, so that a kept block does not always fit.
      Mat tensor(256, 256 + i % 2, 1);
      float &head = tensor.row(0)[0], &tail = tensor.row(255)[255];
      head = tail = static_cast<float>(id);
      std::this_thread::yield();
      torn += head != static_cast<float>(id) || tail != static_cast<float>(id);
    }
  });
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
  EXPECT_DEATH(Mat(2147418113, 429509837, 5), text) << "2^64 + 4 bytes";
  const unsigned char pixel[3] = {};
  EXPECT_DEATH(Mat::from_pixels(pixel, 1, kMost, kMost), text);
}

TEST(FromPixels, AnUnknownTypeIsLoggedAndGivesNothing) {
  tn_test::LogLines log(tn_test::LogLines::What::kWholeOfEach);
  CountingAllocator allocator;
  std::vector<std::string> expected;
  for (const char* type : {"0", "3", "9", "80001", "30008", "ffffffff"}) {
    const int code = static_cast<int>(std::stoul(type, nullptr, 16));
    EXPECT_EQ(fieldsOf(Mat::from_pixels(nullptr, code, 4, 4, &allocator)), fieldsOf(Mat()));
    expected.push_back(std::string("E/Tarn: Mat::from_pixels: type 0x") + type + " is not supported");
  }
  EXPECT_EQ(log.take(), expected);
  const unsigned char pixel[4] = {};
  for (const int type : {1, 2, 8}) EXPECT_EQ(Mat::from_pixels(pixel, type, 1, 1, &allocator).c, 3);
  EXPECT_EQ(allocator.released, 3) << "each has its memory from there";
}

}  // namespace
