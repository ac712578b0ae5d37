#!/usr/bin/env bash
# Builds the benchmarks, runs them with the contestants' repetitions interleaved, and writes a table and a
# chart of ratios into docs/performance; then what is spent around a network. Run it on an idle machine.
# usage: scripts/bench.sh [FILTER]
#   FILTER: a regular expression over row names; then only their table is made, in build/bench instead.
# Environment: REPETITIONS (9), MIN_TIME in seconds a repetition (0.05), FRAMES (300) for the network's
# share, and TN_BENCH_TARGETS, which holds tn_kits to an older instruction set (AVX2, SSE4, SSSE3); the
# files' names then end in it, and the share, which the tool measures at its best, is left as it is.
. "$(dirname "$0")/common.sh"
scripts/setup.sh build bench
build bench

results=build/bench/results
rm -rf "$results" && mkdir -p "$results"
for benchmark in build/bench/benchmarks/*_benchmark; do
  "$benchmark" --benchmark_filter="${1:-.}" --benchmark_repetitions="${REPETITIONS:-9}" \
    --benchmark_enable_random_interleaving=true --benchmark_min_time="${MIN_TIME:-0.05}" \
    --benchmark_out="$results/$(basename "$benchmark").json" --benchmark_out_format=json >/dev/null
done

sets=$(cat "$results"/*.json | sed -n 's/.*"instruction_set": "\(.*\)".*/\1/p' | sort -u)
processor=$(sed -n 's/^model name[^:]*: *//p' /proc/cpuinfo | head -n 1)
machine="Commit $(git describe --always --dirty --abbrev=10 2>/dev/null || echo unknown), $(c++ --version | head -n 1), $processor, instruction set $sets"
out=docs/performance
[ $# -eq 0 ] || out=build/bench
mkdir -p "$out"
name=ratios${TN_BENCH_TARGETS:+-$TN_BENCH_TARGETS}
python3 scripts/bench_report.py --title "$machine; one thread, medians of ${REPETITIONS:-9} interleaved runs." --table "$out/$name.md" --chart "$out/$name.svg" $(find "$results" -name "*.json" -size +0 | sort)

if [ "$out" = docs/performance ] && [ -z "${TN_BENCH_TARGETS:-}" ]; then
  scripts/network_share.sh build/bench/apps/tarnkit "$machine" >build/bench/network-share.md
  cp build/bench/network-share.md "$out/network-share.md"
fi
