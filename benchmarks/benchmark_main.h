// What every benchmark executable gives to the common main, and what the rows have in common.
#ifndef TN_KITS_BENCHMARKS_BENCHMARK_MAIN_H_
#define TN_KITS_BENCHMARKS_BENCHMARK_MAIN_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

// Registers the rows of one executable, each as ROW/CONTESTANT; "tn_kits" is ours, "memcpy" is no peer
// but the limit, and all others are peers.
void registerRows();

// One contestant of a row: job runs once an iteration.
void addRow(const std::string& row, const char* contestant, std::function<void()> job);

// Cache-line aligned, with room for three planes of floats of 1920x1080; the first holds noise, the
// second zeros. All contestants use the same two, so none is favoured by where its pages happen to lie.
std::uint8_t* sourceBytes();
std::uint8_t* destinationBytes();

// The contestant "memcpy", from sourceBytes to destinationBytes. A copy reads and writes the same number
// of bytes; where the job's two differ, it moves half their sum.
void addLimit(const std::string& row, std::size_t bytes_read, std::size_t bytes_written);

// A smooth picture with a little noise, as cameras give it.
std::vector<std::uint8_t> cameraFrame(std::size_t bytes, int row_bytes);

// "640x480".
std::string sizeName(int w, int h);

#endif  // TN_KITS_BENCHMARKS_BENCHMARK_MAIN_H_
