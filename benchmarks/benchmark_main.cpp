// main of all benchmarks. The environment variable TN_BENCH_TARGETS (AVX3, AVX2, SSE4, SSSE3, SCALAR)
// holds tn_kits to that instruction set and older ones, as older processors do; its peers are not held
// back.
#include "benchmarks/benchmark_main.h"

#include <benchmark/benchmark.h>
#include <hwy/highway.h>
#include <hwy/targets.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace {

bool sameName(const char* a, const char* b) {
  while (*a != '\0' && (*a | 0x20) == (*b | 0x20)) ++a, ++b;
  return *a == *b;
}

bool limitInstructionSets(const char* limit) {
  // Better sets have lower bits.
  for (std::int64_t rest = hwy::SupportedTargets() & HWY_TARGETS; rest != 0; rest &= rest - 1) {
    const std::int64_t best = rest & -rest;
    if (limit != nullptr && !sameName(hwy::TargetName(best), limit)) continue;
    hwy::SetSupportedTargetsForTest(rest);
    hwy::GetChosenTarget().Update(hwy::SupportedTargets());
    benchmark::AddCustomContext("instruction_set", hwy::TargetName(best));
    return true;
  }
  return false;
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  const char* const limit = std::getenv("TN_BENCH_TARGETS");
  if (!limitInstructionSets(limit)) {
    std::fprintf(stderr, "TN_BENCH_TARGETS: this machine has no instruction set '%s'\n", limit);
    return 1;
  }
  registerRows();
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
