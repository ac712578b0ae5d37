// What every benchmark executable gives to the common main.
#ifndef TN_KITS_BENCHMARKS_BENCHMARK_MAIN_H_
#define TN_KITS_BENCHMARKS_BENCHMARK_MAIN_H_

// Registers the rows of one executable, each as ROW/CONTESTANT; "tn_kits" is ours, "memcpy" is no peer
// but the limit, and all others are peers.
void registerRows();

#endif  // TN_KITS_BENCHMARKS_BENCHMARK_MAIN_H_
