#!/usr/bin/env bash
# Attacks the tool as users and machines do: long videos, kills, interrupts, full disks, closed pipes, parts of
# files. quick takes two minutes, long most of an hour.
# usage: scripts/faults.sh [quick|long] [attack ...]      (default: quick, all attacks)
# Each attack prints its seed; TN_FAULTS_SEED=N runs with that one again. TN_FAULTS_BUILD=asan attacks the
# tool of that preset, without the attacks that compare memory.
set -euo pipefail
cd "$(dirname "$0")/.."

mode=${1:-quick}
case "$mode" in
  quick | long) ;;
  *) echo "scripts/faults.sh: '$mode' is neither quick nor long" >&2; exit 2 ;;
esac
[ $# -eq 0 ] || shift
preset=${TN_FAULTS_BUILD:-release}
attacks=("$@")
if [ ${#attacks[@]} -eq 0 ]; then
  attacks=(kills full_disk truncation)
  [ "$preset" = asan ] || attacks+=(memory)
fi
for attack in "${attacks[@]}"; do
  [ -f "tests/faults/$attack.py" ] ||
    { echo "scripts/faults.sh: there is no attack '$attack'" >&2; exit 2; }
done

jobs=(build test)
[ "$preset" != asan ] || jobs+=(fuzz)
scripts/setup.sh "${jobs[@]}"
cmake --preset "$preset" >/dev/null
cmake --build --preset "$preset" -j "$(nproc)" --target tarnkit

failed=()
for attack in "${attacks[@]}"; do
  printf '\n== %s\n' "$attack"
  python3 "tests/faults/$attack.py" "$mode" --tool "build/$preset/apps/tarnkit" --source . \
    --seed "${TN_FAULTS_SEED:-0}" || failed+=("$attack")
done
[ ${#failed[@]} -eq 0 ] || { printf '\nfaults found by: %s\n' "${failed[*]}"; exit 1; }
printf '\nno faults (%s s)\n' "$SECONDS"
