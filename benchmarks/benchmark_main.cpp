// main of all benchmark programs. The environment variable TN_BENCH_TARGETS (AVX3, AVX2, SSE4, SSSE3,
// SCALAR) limits tn_kits to that instruction set and older ones, as an older processor does. Peers are
// not limited.
#include "benchmarks/benchmark_main.h"

#include <benchmark/benchmark.h>
#include <hwy/aligned_allocator.h>
#include <hwy/highway.h>
#include <hwy/targets.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <utility>

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

struct PixelBuffers {
  static constexpr std::size_t kBytes = Tarn::tensorExtent(1920, 1080, 3).bytes;
  hwy::AlignedFreeUniquePtr<std::uint8_t[]> source = hwy::AllocateAligned<std::uint8_t>(kBytes);
  hwy::AlignedFreeUniquePtr<std::uint8_t[]> destination = hwy::AllocateAligned<std::uint8_t>(kBytes);

  PixelBuffers() {
    std::mt19937 random(7);
    for (std::size_t i = 0; i < kBytes; ++i) source[i] = static_cast<std::uint8_t>(random() >> 24);
    std::memset(destination.get(), 0, kBytes);
  }
};

const PixelBuffers& pixelBuffers() {
  static const PixelBuffers buffers;
  return buffers;
}

}  // namespace

void addRow(const std::string& row, const char* contestant, std::function<void()> job) {
  benchmark::RegisterBenchmark((row + "/" + contestant).c_str(), [job = std::move(job)](
                                                                     benchmark::State& state) {
    for (auto _ : state) {
      job();
      benchmark::ClobberMemory();
    }
  })->Unit(benchmark::kMicrosecond);
}

std::uint8_t* sourceBytes() { return pixelBuffers().source.get(); }
std::uint8_t* destinationBytes() { return pixelBuffers().destination.get(); }

void addLimit(const std::string& row, std::size_t bytes_read, std::size_t bytes_written) {
  const std::size_t bytes = (bytes_read + bytes_written) / 2;
  addRow(row, "memcpy", [bytes] { std::memcpy(destinationBytes(), sourceBytes(), bytes); });
}

void addLimit(const std::string& row, const Tarn::TransferExtents& extents) {
  addLimit(row, extents.src.bytes, extents.dst.bytes);
}

std::vector<std::uint8_t> cameraFrame(std::size_t bytes, int row_bytes) {
  std::vector<std::uint8_t> frame(bytes);
  std::mt19937 random(7);
  for (std::size_t i = 0; i < bytes; ++i)
    frame[i] = static_cast<std::uint8_t>(i % static_cast<std::size_t>(row_bytes) / 10 + random() % 16);
  return frame;
}

std::string sizeName(int w, int h) { return std::to_string(w) + "x" + std::to_string(h); }

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
