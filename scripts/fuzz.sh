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

fuzz() {
  "build/asan/fuzz/$1_fuzz" -timeout=20 -rss_limit_mb=2048 -max_len=4096 "${@:2}" 2>&1
}

run() {
  local target=$1 out=$2 seconds=$3 attempt log input
  local learnt=$out/corpus/$target
  mkdir -p "$learnt"
  for attempt in 1 2; do
    log=$out/logs/$target$attempt.log
    # The first folder takes what is learnt; the second, the seeds, is only read.
    if fuzz "$target" -max_total_time="$seconds" -print_final_stats=1 -verbosity=1 \
      -artifact_prefix="$out/findings/$target-" "$learnt" "fuzz/corpus/$target" >"$log"; then
      return
    fi
    # A finding, unless the machine stood still for the time that a unit may take, which the same input then
    # does not take again, or the fuzzer failed before it could find anything, of which it prints no summary.
    # That gets one more chance, and is told.
    input=$(sed -n 's/.*Test unit written to //p' "$log" | tail -n 1)
    case "$input" in
      '') ! grep -q SUMMARY: "$log" || break ;;
      *-timeout-*) fuzz "$target" "$input" >>"$log" || break ;;
      *) break ;;
    esac
  done
  touch "$out/logs/$target.failed"
}
export -f fuzz run
for target in "${targets[@]}"; do rm -f "$out/logs/$target"[12].log "$out/logs/$target.failed"; done
printf '%s\n' "${targets[@]}" | xargs -P "$jobs" -I{} bash -c 'run "$@"' _ {} "$out" "$seconds"

printf '\n%-14s %8s %12s %9s  %s\n' target seconds executions coverage findings
failed=0
for target in "${targets[@]}"; do
  logs=("$out/logs/$target"?.log)
  log=${logs[-1]}
  runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")
  # The fuzzer's own count of the edges reached, as of its last line of news.
  coverage=$(sed -n 's/.* cov: \([0-9]*\) .*/\1/p' "$log" | tail -n 1)
  finding=none
  [ ${#logs[@]} -eq 1 ] || finding="none at the second attempt, $out/logs/${target}1.log tells of the first"
  if [ -e "$out/logs/$target.failed" ]; then
    failed=1
    finding="see $log"
  fi
  printf '%-14s %8s %12s %9s  %s\n' "$target" "$seconds" "${runs:-?}" "${coverage:-?}" "$finding"
done
for target in "${targets[@]}"; do
  for log in "$out/logs/$target"?.log; do
    if [ -e "$out/logs/$target.failed" ] || [ -e "$out/logs/${target}2.log" ]; then
      printf '\nend of %s:\n' "$log"
      tail -n 40 "$log"
    fi
  done
done
exit "$failed"
