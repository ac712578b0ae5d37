#include "tests/support/test_support.h"

#include <gtest/gtest.h>
#include <hwy/highway.h>
#include <hwy/targets.h>

#include <cstring>
#include <filesystem>
#include <new>
#include <random>

#if defined(_WIN32)
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
#else
#include <sys/mman.h>
#include <unistd.h>
#endif

namespace tn_test {
namespace {

constexpr std::uint8_t kCanary = 0xC5;
constexpr std::size_t kCanaries = 64;

// Where the unreadable page of new buffers is.
bool guard_in_front = false;

#if defined(_WIN32)
std::size_t pageSize() {
  SYSTEM_INFO info;
  GetSystemInfo(&info);
  return info.dwPageSize;
}
void* mapPages(std::size_t bytes) {
  return VirtualAlloc(nullptr, bytes, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
}
void forbidPage(void* page, std::size_t bytes) {
  DWORD before;
  VirtualProtect(page, bytes, PAGE_NOACCESS, &before);
}
void unmapPages(void* pages, std::size_t) { VirtualFree(pages, 0, MEM_RELEASE); }
unsigned long processId() { return GetCurrentProcessId(); }
#else
std::size_t pageSize() { return static_cast<std::size_t>(sysconf(_SC_PAGESIZE)); }
void* mapPages(std::size_t bytes) {
  void* pages = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  return pages == MAP_FAILED ? nullptr : pages;
}
void forbidPage(void* page, std::size_t bytes) { mprotect(page, bytes, PROT_NONE); }
void unmapPages(void* pages, std::size_t bytes) { munmap(pages, bytes); }
int processId() { return getpid(); }
#endif

}  // namespace

void Guarded::Unmap::operator()(void* pages) const { unmapPages(pages, bytes); }

Guarded::Guarded(std::size_t size, std::uint8_t fill) : data_(nullptr), size_(size) {
  const std::size_t page = pageSize();
  const std::size_t usable = (size + kCanaries + page - 1) / page * page;
  pages_ = std::unique_ptr<void, Unmap>(mapPages(usable + page), Unmap{usable + page});
  if (pages_ == nullptr) throw std::bad_alloc();
  std::uint8_t* const first = static_cast<std::uint8_t*>(pages_.get());
  std::uint8_t* const usable_first = guard_in_front ? first + page : first;
  forbidPage(guard_in_front ? first : first + usable, page);
  std::memset(usable_first, kCanary, usable);
  data_ = guard_in_front ? usable_first : usable_first + usable - size;
  canaries_ = guard_in_front ? data_ + size : data_ - kCanaries;
  std::memset(data_, fill, size);
}

Guarded::~Guarded() {
  if (pages_ == nullptr) return;
  for (std::size_t i = 0; i < kCanaries; ++i)
    if (canaries_[i] != kCanary) {
      ADD_FAILURE() << "a byte " << (canaries_ < data_ ? "before" : "behind") << " a buffer of " << size_
                    << " was overwritten";
      break;
    }
}

Guarded RandomBytes(std::size_t size, std::uint32_t seed) {
  Guarded bytes(size);
  std::mt19937 random(seed);
  for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<std::uint8_t>(random() >> 24);
  return bytes;
}

void ForEachTarget(const std::function<void()>& body) {
  for (std::int64_t rest = hwy::SupportedTargets() & HWY_TARGETS; rest != 0; rest &= rest - 1) {
    const std::int64_t target = rest & -rest;
    hwy::SetSupportedTargetsForTest(target);
    hwy::GetChosenTarget().Update(hwy::SupportedTargets());
    for (const bool in_front : {false, true}) {
      SCOPED_TRACE(testing::Message() << "instruction set " << hwy::TargetName(target) << ", page "
                                      << (in_front ? "in front" : "behind"));
      guard_in_front = in_front;
      body();
    }
  }
  guard_in_front = false;
  hwy::SetSupportedTargetsForTest(0);
  hwy::GetChosenTarget().Update(hwy::SupportedTargets());
}

std::string FailedCheck(const std::string& condition, const std::string& file, int line) {
  const std::string number = std::to_string(line);
#if defined(_WIN32)
  return "Assertion failed: " + condition + ", file " + file + ", line " + number;
#else
  return file + ":" + number + ": .*`" + condition + "'";
#endif
}

std::string TempPath(const std::string& ending) {
  const std::string test = testing::UnitTest::GetInstance()->current_test_info()->name();
  const std::string name = "tarnkit-" + test + "-" + std::to_string(processId()) + ending;
  return (std::filesystem::temp_directory_path() / name).string();
}

}  // namespace tn_test
