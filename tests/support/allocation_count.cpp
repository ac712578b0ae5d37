#include "tests/support/allocation_count.h"

#include <atomic>
#include <cstdlib>
#include <limits>
#include <new>

namespace {

constexpr std::size_t kNever = std::numeric_limits<std::size_t>::max();

std::atomic<std::size_t> count{0}, bytes_asked{0}, held{0};
// The counts that cannot be had.
std::atomic<std::size_t> first_failing{kNever}, last_failing{kNever};

// Counts a block; false if it cannot be had.
bool countBlock(std::size_t bytes) {
  const std::size_t number = count.fetch_add(1, std::memory_order_relaxed) + 1;
  bytes_asked.fetch_add(bytes, std::memory_order_relaxed);
  const bool had = number < first_failing.load(std::memory_order_relaxed) ||
                   number > last_failing.load(std::memory_order_relaxed);
  if (had) held.fetch_add(1, std::memory_order_relaxed);
  return had;
}

void* allocate(std::size_t bytes) {
#if !defined(TN_COUNT_MALLOC)
  if (!countBlock(bytes)) throw std::bad_alloc();
#endif
  void* const block = std::malloc(bytes != 0 ? bytes : 1);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

void* allocateAligned(std::size_t bytes, std::size_t alignment) {
  if (!countBlock(bytes)) throw std::bad_alloc();
  void* const block = std::aligned_alloc(alignment, (bytes + alignment - 1) / alignment * alignment);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

void countRelease(const void* block) {
  if (block != nullptr) held.fetch_sub(1, std::memory_order_relaxed);
}
void release(void* block) {
#if !defined(TN_COUNT_MALLOC)
  countRelease(block);
#endif
  std::free(block);
}

}  // namespace

#if defined(TN_COUNT_MALLOC)
extern "C" {
void* __real_malloc(std::size_t bytes);
void* __wrap_malloc(std::size_t bytes);
void* __wrap_malloc(std::size_t bytes) { return countBlock(bytes) ? __real_malloc(bytes) : nullptr; }
void* __real_calloc(std::size_t items, std::size_t bytes);
void* __wrap_calloc(std::size_t items, std::size_t bytes);
void* __wrap_calloc(std::size_t items, std::size_t bytes) {
  return countBlock(items * bytes) ? __real_calloc(items, bytes) : nullptr;
}
void __real_free(void* block);
void __wrap_free(void* block);
void __wrap_free(void* block) {
  countRelease(block);
  __real_free(block);
}
}
#endif

void* operator new(std::size_t bytes) { return allocate(bytes); }
void* operator new[](std::size_t bytes) { return allocate(bytes); }
// Calls the first one by default, but a sanitizer has one of its own, whose blocks are not for free().
void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept {
  try {
    return allocate(bytes);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}
void* operator new(std::size_t bytes, std::align_val_t alignment) {
  return allocateAligned(bytes, static_cast<std::size_t>(alignment));
}
void operator delete(void* block) noexcept { release(block); }
void operator delete[](void* block) noexcept { release(block); }
void operator delete(void* block, std::size_t) noexcept { release(block); }
void operator delete[](void* block, std::size_t) noexcept { release(block); }
void operator delete(void* block, std::align_val_t) noexcept { release(block); }

std::size_t tn_test::allocationCount() { return count; }
std::size_t tn_test::allocatedBytes() { return bytes_asked; }
std::size_t tn_test::heldBlocks() { return held; }

tn_test::FailingAllocation::FailingAllocation(std::size_t nth, bool and_later) {
  const std::size_t number = allocationCount() + nth;
  first_failing = number;
  last_failing = and_later ? kNever : number;
}

tn_test::FailingAllocation::~FailingAllocation() { first_failing = last_failing = kNever; }
