#include "tests/support/allocation_count.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<std::size_t> count{0};

void* allocate(std::size_t bytes) {
#if !defined(TN_COUNT_MALLOC)
  count.fetch_add(1, std::memory_order_relaxed);
#endif
  void* const block = std::malloc(bytes != 0 ? bytes : 1);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

}  // namespace

#if defined(TN_COUNT_MALLOC)
extern "C" {
void* __real_malloc(std::size_t bytes);
void* __wrap_malloc(std::size_t bytes);
void* __wrap_malloc(std::size_t bytes) {
  count.fetch_add(1, std::memory_order_relaxed);
  return __real_malloc(bytes);
}
}
#endif

void* operator new(std::size_t bytes) { return allocate(bytes); }
void* operator new[](std::size_t bytes) { return allocate(bytes); }
void operator delete(void* block) noexcept { std::free(block); }
void operator delete[](void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }
void operator delete[](void* block, std::size_t) noexcept { std::free(block); }

std::size_t tn_test::allocationCount() { return count.load(std::memory_order_relaxed); }
