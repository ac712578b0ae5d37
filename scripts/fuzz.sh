#!/usr/bin/env bash
# Builds the fuzz targets (the asan preset, with clang) and runs each from its seed corpus, under
# AddressSanitizer and UndefinedBehaviorSanitizer. Ends with a table; fails if anything was found.
# usage: scripts/fuzz.sh [seconds a target, default 30] [target ...]
# Findings are kept in build/asan/fuzzing/findings, new inputs in build/asan/fuzzing/corpus.
. "$(dirname "$0")/common.sh"

seconds=${1:-30}
[[ "$seconds" =~ ^[1-9][0-9]*$ ]] || refuse "'$seconds' is not a number of seconds"
[ $# -eq 0 ] || shift
targets=("$@")
if [ ${#targets[@]} -eq 0 ]; then
  for folder in fuzz/corpus/*/; do targets+=("$(basename "$folder")"); done
fi
for target in "${targets[@]}"; do
  [ -d "fuzz/corpus/$target" ] || refuse "there is no target '$target'"
done

scripts/setup.sh build test fuzz
build asan "${targets[@]/%/_fuzz}"
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
    # New inputs go into the first folder; the second, the seeds, is only read.
    if fuzz "$target" -max_total_time="$seconds" -print_final_stats=1 -verbosity=1 \
      -artifact_prefix="$out/findings/$target-" "$learnt" "fuzz/corpus/$target" >"$log"; then
      return
    fi
    # Two failures are no findings and get a second attempt, which the table mentions: a timeout that the
    # same input does not repeat (the machine was busy), and a fuzzer that stopped without a summary (it
    # failed to run at all).
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
  # The number of edges reached, from the fuzzer's last line of progress.
  coverage=$(sed -n 's/.* cov: \([0-9]*\) .*/\1/p' "$log" | tail -n 1)
  finding=none
  [ ${#logs[@]} -eq 1 ] || finding="none at the second attempt; the first is in $out/logs/${target}1.log"
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
