#!/usr/bin/env bash
# Builds the fuzz targets (the asan preset, with clang) and runs each from its seed corpus, under
# AddressSanitizer and UndefinedBehaviorSanitizer. Ends with a table; fails if anything was found.
# usage: scripts/fuzz.sh [seconds a target, default 30] [target ...]
# What was found is kept in build/asan/fuzzing/findings, what was learnt in build/asan/fuzzing/corpus.
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=${1:-30}
[[ "$seconds" =~ ^[1-9][0-9]*$ ]] || { echo "scripts/fuzz.sh: '$seconds' is not a number of seconds" >&2; exit 2; }
[ $# -eq 0 ] || shift
targets=("$@")
if [ ${#targets[@]} -eq 0 ]; then
  for folder in fuzz/corpus/*/; do targets+=("$(basename "$folder")"); done
fi
for target in "${targets[@]}"; do
  [ -d "fuzz/corpus/$target" ] || { echo "scripts/fuzz.sh: there is no target '$target'" >&2; exit 2; }
done

scripts/setup.sh build test fuzz
jobs=$(nproc)
cmake --preset asan >/dev/null
cmake --build --preset asan -j "$jobs" --target "${targets[@]/%/_fuzz}"
out=build/asan/fuzzing
mkdir -p "$out/findings" "$out/logs"

run() {
  local target=$1 out=$2 seconds=$3
  mkdir -p "$out/corpus/$target"
  # The first folder takes what is learnt; the second, the seeds, is only read.
  "build/asan/fuzz/${target}_fuzz" -max_total_time="$seconds" -timeout=20 -rss_limit_mb=2048 -max_len=4096 \
    -print_final_stats=1 -verbosity=1 -artifact_prefix="$out/findings/$target-" \
    "$out/corpus/$target" "fuzz/corpus/$target" >"$out/logs/$target.log" 2>&1 || touch "$out/logs/$target.failed"
}
export -f run
rm -f "$out"/logs/*.failed
printf '%s\n' "${targets[@]}" | xargs -P "$jobs" -I{} bash -c 'run "$@"' _ {} "$out" "$seconds"

printf '\n%-14s %8s %12s %9s  %s\n' target seconds executions coverage findings
failed=0
for target in "${targets[@]}"; do
  log=$out/logs/$target.log
  runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")
  # The fuzzer's own count of the edges reached, as of its last line of news.
  coverage=$(sed -n 's/.* cov: \([0-9]*\) .*/\1/p' "$log" | tail -n 1)
  finding=none
  if [ -e "$out/logs/$target.failed" ]; then
    failed=1
    finding="end of $log, below"
  fi
  printf '%-14s %8s %12s %9s  %s\n' "$target" "$seconds" "${runs:-?}" "${coverage:-?}" "$finding"
done
for target in "${targets[@]}"; do
  [ ! -e "$out/logs/$target.failed" ] || { printf '\n%s:\n' "$target"; tail -n 40 "$out/logs/$target.log"; }
done
exit "$failed"
