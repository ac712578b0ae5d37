// What the benchmark programs share: the row function that each one defines for the common main, and the
// tools that rows are made of.
#ifndef TN_KITS_BENCHMARKS_BENCHMARK_MAIN_H_
#define TN_KITS_BENCHMARKS_BENCHMARK_MAIN_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "tn_extents.h"

// Registers the rows of one program, each as ROW/CONTESTANT. "tn_kits" is ours; "memcpy", or
// "limit:NAME" for another job of ours, is a limit and no peer, one a row; all others are peers.
void registerRows();

// One contestant of a row: job runs once an iteration.
void addRow(const std::string& row, const char* contestant, std::function<void()> job);

// Two buffers, aligned to cache lines, each large enough for three planes of floats of 1920x1080. The
// first holds noise, the second zeros. All contestants use the same two, so that none gains from where
// its pages lie.
std::uint8_t* sourceBytes();
std::uint8_t* destinationBytes();

// The contestant "memcpy", from sourceBytes() to destinationBytes(). A copy reads as many bytes as it
// writes; where the job's two numbers differ, it copies half their sum.
void addLimit(const std::string& row, std::size_t bytes_read, std::size_t bytes_written);
void addLimit(const std::string& row, const Tarn::TransferExtents& extents);

// A smooth picture with a little noise, as cameras give it.
std::vector<std::uint8_t> cameraFrame(std::size_t bytes, int row_bytes);

// "640x480".
std::string sizeName(int w, int h);

#endif  // TN_KITS_BENCHMARKS_BENCHMARK_MAIN_H_
