// Tensors: their memory, its sharing, and views of it. tn_mat_pixels.cpp makes them from pixels.
#include "tn_mat.h"

#include <cstddef>
#include <cstdlib>
#include <new>
#include <utility>

#include "common/tn_check.h"
#include "common/tn_sanitizers.h"

#if defined(_WIN32)
#include <malloc.h>
#endif

// Callers match crash reports by this file name and by the line given below, so neither changes.
#define TN_MAT_SOURCE "platform/tn_cnn/src/tn_mat"

namespace TarnCPU {
namespace {

using Count = std::atomic<std::int32_t>;
constexpr std::size_t kAlignment = 64;

// The end of each block, behind the elements.
struct Tail {
  Count count;
  std::size_t element_bytes;
};
static_assert(sizeof(Tail) <= kAlignment && offsetof(Tail, count) == 0, "the count leads to its tail");

std::size_t roundUp(std::size_t bytes) { return (bytes + kAlignment - 1) / kAlignment * kAlignment; }

// The memory of tensors without an Allocator.
void* allocateAligned(std::size_t bytes) {
#if defined(_WIN32)
  return _aligned_malloc(bytes, kAlignment);
#else
  return std::aligned_alloc(kAlignment, bytes);
#endif
}

void releaseAligned(void* pointer) {
#if defined(_WIN32)
  _aligned_free(pointer);
#else
  std::free(pointer);
#endif
}

// A video loop frees a large tensor and allocates one of the same size for the next frame. If the pages
// went back to the system in between, it would map and clear them again, which takes several times as
// long as filling them. So the last large block that was freed is kept for the next tensor of its size.
constexpr std::size_t kLargeBytes = std::size_t{1} << 18;
std::atomic<Tail*> kept_block{nullptr};

unsigned char* blockOf(Tail* tail) {
  return reinterpret_cast<unsigned char*>(tail) - tail->element_bytes;
}

void discard(Tail* tail) {
  if (tail != nullptr) releaseAligned(blockOf(tail));
}

// Memory for the elements and their tail, which the caller constructs; null if there is none.
unsigned char* takeBlock(Allocator* allocator, std::size_t element_bytes) {
  if (allocator != nullptr)
    return static_cast<unsigned char*>(allocator->allocate(element_bytes + kAlignment));
  if (element_bytes >= kLargeBytes) {
    Tail* const kept = kept_block.exchange(nullptr, std::memory_order_acq_rel);
    if (kept != nullptr && kept->element_bytes == element_bytes) return blockOf(kept);
    discard(kept);
  }
  return static_cast<unsigned char*>(allocateAligned(element_bytes + kAlignment));
}

void giveBack(Allocator* allocator, Tail* tail) {
  if (allocator != nullptr) return allocator->release(blockOf(tail));
#if defined(TN_ADDRESS_SANITIZER)
  // A kept block would hide reads of freed tensors.
  discard(tail);
#else
  if (tail->element_bytes < kLargeBytes) return discard(tail);
  discard(kept_block.exchange(tail, std::memory_order_acq_rel));
#endif
}

// Bytes of w * h * c elements, rounded up to the alignment; 0 on overflow.
std::size_t elementBytes(int w, int h, int c, std::size_t elem_size) {
  constexpr std::size_t kMost = SIZE_MAX / 2;
  std::size_t bytes = elem_size;
  for (const int size : {w, h, c}) {
    if (bytes > kMost / static_cast<std::size_t>(size)) return 0;
    bytes *= static_cast<std::size_t>(size);
  }
  return roundUp(bytes);
}

}  // namespace

Allocator::~Allocator() = default;

Mat::Mat(int columns, int rows, int channels, TensorShape::Layout order, Allocator* memory)
    : layout(order), c(channels), h(rows), w(columns), elem_size(sizeof(float)), allocator(memory) {
  if (w < 1 || h < 1 || c < 1) return;
  const std::size_t bytes = elementBytes(w, h, c, elem_size);
  unsigned char* const block = bytes == 0 ? nullptr : takeBlock(allocator, bytes);
  TN_CHECK_AT(block != nullptr, "false && \"malloc failed\"", TN_MAT_SOURCE, 60);
  data = block;
  refcount = &(new (block + bytes) Tail{Count(1), bytes})->count;
}

Mat::Mat(const Mat& other)
    : layout(other.layout),
      c(other.c),
      h(other.h),
      w(other.w),
      elem_size(other.elem_size),
      extra(other.extra),
      data(other.data),
      refcount(other.refcount),
      allocator(other.allocator) {
  if (refcount != nullptr) refcount->fetch_add(1, std::memory_order_relaxed);
}

Mat::Mat(Mat&& other) noexcept { swap(other); }

Mat& Mat::operator=(const Mat& other) {
  Mat(other).swap(*this);
  return *this;
}

Mat& Mat::operator=(Mat&& other) noexcept {
  Mat(std::move(other)).swap(*this);
  return *this;
}

Mat::~Mat() {
  if (refcount == nullptr) return;
  // Acquire and release: the last owner must see all writes of the others before it frees the block.
  if (refcount->fetch_sub(1, std::memory_order_acq_rel) == 1)
    giveBack(allocator, reinterpret_cast<Tail*>(refcount));
}

void Mat::swap(Mat& other) noexcept {
  std::swap(layout, other.layout);
  std::swap(c, other.c);
  std::swap(h, other.h);
  std::swap(w, other.w);
  std::swap(elem_size, other.elem_size);
  std::swap(extra, other.extra);
  std::swap(data, other.data);
  std::swap(refcount, other.refcount);
  std::swap(allocator, other.allocator);
}

Mat Mat::from_float_array(const float* data, int w, int h, int c, TensorShape::Layout layout,
                          Allocator* allocator) {
  Mat view;
  view.layout = layout;
  view.c = c;
  view.h = h;
  view.w = w;
  view.elem_size = sizeof(float);
  view.data = const_cast<float*>(data);
  view.allocator = allocator;
  return view;
}

Mat Mat::channel(int q) const {
  Mat view;
  view.layout = layout;
  view.c = 1;
  view.h = h;
  view.w = w;
  view.elem_size = elem_size;
  view.extra = extra;
  const std::size_t plane =
      std::size_t{elem_size} * static_cast<std::size_t>(w) * static_cast<std::size_t>(h);
  view.data = static_cast<unsigned char*>(data) + plane * static_cast<std::size_t>(q);
  view.allocator = allocator;
  return view;
}

const float* Mat::row(int y) const {
  const int pitch = layout == TensorShape::HWC ? w * c : w;
  return static_cast<const float*>(data) + static_cast<std::ptrdiff_t>(pitch) * y;
}

float* Mat::row(int y) { return const_cast<float*>(std::as_const(*this).row(y)); }

std::size_t Mat::total() const {
  if (w < 1 || h < 1 || c < 1) return 0;
  return static_cast<std::size_t>(w) * static_cast<std::size_t>(h) * static_cast<std::size_t>(c);
}

void Mat::release() { *this = Mat(); }

}  // namespace TarnCPU
