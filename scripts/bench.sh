#!/usr/bin/env bash
# Builds the benchmarks, runs them with the contestants' repetitions interleaved, and prints a table of
# ratios. Run it on an idle machine.
# usage: scripts/bench.sh [FILTER]     FILTER: a regular expression over row names (default: all)
set -euo pipefail
cd "$(dirname "$0")/.."
filter=${1:-.}
scripts/setup.sh build bench
cmake --preset bench -G Ninja >/dev/null
cmake --build --preset bench

results=build/bench/results
rm -rf "$results" && mkdir -p "$results"
for benchmark in build/bench/benchmarks/*_benchmark; do
  "$benchmark" --benchmark_filter="$filter" --benchmark_repetitions="${REPETITIONS:-9}" \
    --benchmark_enable_random_interleaving=true --benchmark_min_time="${MIN_TIME:-0.05}" \
    --benchmark_out="$results/$(basename "$benchmark").json" --benchmark_out_format=json >/dev/null
done
echo "commit $(git describe --always --dirty), $(sed -n 's/^model name[^:]*: //p' /proc/cpuinfo | head -n 1), $(c++ -dumpfullversion -dumpversion | sed 's/^/g++ /')"
python3 scripts/bench_table.py "$results"/*.json
