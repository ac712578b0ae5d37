#!/usr/bin/env bash
# Builds the benchmarks, runs them with the contestants' repetitions interleaved, and replaces the pages of the
# last measurement: table and chart of ratios in docs/performance, their summary in README.md, and the time
# outside the network. Run it on an idle machine.
# usage: scripts/bench.sh [FILTER]
#   FILTER: a regular expression over row names. Then only their table is made, in build/bench.
# Environment: REPETITIONS (9), MIN_TIME in seconds a repetition (0.05), FRAMES (300) for the network's share.
# TN_BENCH_TARGETS=AVX2 (or SSE4, SSSE3) limits tn_kits to an older instruction set; then only the table and the
# chart are replaced, whose names end in it.
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
# A peer in Python runs in a process of its own.
python3 benchmarks/pillow_beside.py --filter "${1:-.}" --repetitions "${REPETITIONS:-9}" --min-time "${MIN_TIME:-0.05}" \
  --out "$results/preprocess_pillow.json" build/bench/benchmarks/preprocess_benchmark >/dev/null

sets=$(cat "$results"/*.json | sed -n 's/.*"instruction_set": "\(.*\)".*/\1/p' | sort -u)
processor=$(sed -n 's/^model name[^:]*: *//p' /proc/cpuinfo | head -n 1)
machine="Commit $(git describe --always --dirty --abbrev=10 2>/dev/null || echo unknown), $(c++ --version | head -n 1), $processor, instruction set $sets"
name=ratios${TN_BENCH_TARGETS:+-$TN_BENCH_TARGETS}
title="$machine; one thread, medians of ${REPETITIONS:-9} interleaved runs."
out=docs/performance summary=()
[ $# -eq 0 ] || out=build/bench
[ "$out/$name" != docs/performance/ratios ] || summary=(--summary README.md)
mkdir -p "$out"
find "$results" -name '*.json' -size +0 | sort | xargs python3 scripts/bench_report.py --title "$title" \
  --table "$out/$name.md" --chart "$out/$name.svg" "${summary[@]}"

if [ ${#summary[@]} -gt 0 ]; then
  scripts/network_share.sh build/bench/apps/tarnkit "$machine" >build/bench/network-share.md
  cp build/bench/network-share.md "$out/network-share.md"
fi
