// Highway's choice of an instruction set at run time, for systems that have its headers alone: the
// functions that its dispatch tables and the tests call, with the meaning that hwy/targets.h gives them.
// DisableTargets is left out; nothing here calls it. For GCC and clang on x86.
#include <cpuid.h>
#include <hwy/targets.h>

#include <atomic>
#include <cstdint>

namespace {

struct Registers {
  unsigned int a = 0, b = 0, c = 0, d = 0;
};

// All zero for a leaf that the processor does not have.
Registers cpuid(unsigned int leaf) {
  Registers r;
  if (__get_cpuid_count(leaf, 0, &r.a, &r.b, &r.c, &r.d) == 0) return Registers();
  return r;
}

// The kinds of registers that the operating system saves when it switches threads.
std::uint32_t savedRegisters() {
  std::uint32_t low = 0, high = 0;
  // The compilers' function for it is allowed only where the instruction is known to exist.
  __asm__ volatile("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
  return low;
}

bool hasAll(std::uint32_t value, std::uint32_t bits) { return (value & bits) == bits; }

// Sets that imply one another, each as Highway compiles for it (hwy/ops/set_macros-inl.h).
std::int64_t detectTargets() {
  constexpr std::uint32_t kYmm = 0x6, kZmm = 0xE6;
  constexpr std::uint32_t kLeaf7Avx2 = bit_BMI | bit_AVX2 | bit_BMI2;
  constexpr std::uint32_t kLeaf7Avx3 = bit_AVX512F | bit_AVX512DQ | bit_AVX512BW | bit_AVX512VL;
  const Registers basic = cpuid(1), more = cpuid(7), extended = cpuid(0x80000001);

  std::int64_t targets = HWY_EMU128 | HWY_SCALAR;
  if (!hasAll(basic.c, bit_SSE3 | bit_SSSE3)) return targets;
  targets |= HWY_SSSE3;
  if (!hasAll(basic.c, bit_SSE4_1 | bit_SSE4_2 | bit_PCLMUL | bit_AES)) return targets;
  targets |= HWY_SSE4;
  if (!hasAll(basic.c, bit_OSXSAVE | bit_AVX | bit_FMA | bit_F16C)) return targets;
  const std::uint32_t saved = savedRegisters();
  if (!hasAll(saved, kYmm) || !hasAll(more.b, kLeaf7Avx2) || !hasAll(extended.c, bit_LZCNT))
    return targets;
  targets |= HWY_AVX2;
  if (!hasAll(saved, kZmm) || !hasAll(more.b, kLeaf7Avx3)) return targets;
  return targets | HWY_AVX3;
}

std::atomic<std::int64_t> targets_for_test{0};

}  // namespace

namespace hwy {

std::int64_t SupportedTargets() {
  static const std::int64_t detected = detectTargets();
  const std::int64_t mock = targets_for_test.load(std::memory_order_relaxed);
  return mock != 0 ? mock : detected;
}

void SetSupportedTargetsForTest(std::int64_t targets) {
  targets_for_test.store(targets, std::memory_order_relaxed);
  // The next call of a kernel chooses anew.
  GetChosenTarget().DeInit();
}

ChosenTarget& GetChosenTarget() {
  static ChosenTarget chosen;
  return chosen;
}

}  // namespace hwy
