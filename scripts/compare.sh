#!/usr/bin/env bash
# Compares the speed of two commits. Builds the benchmarks of both, runs them in alternation, and prints a
# table of our times, new divided by old: above 1, the new commit is slower. Exit status 1 when a row is more
# than 10 % slower, or the geometric mean of all rows more than 3 %. Rows that look suspicious are run again,
# alone and longer, before they are judged.
# usage: scripts/compare.sh [--filter REGEX] [--rounds N] [--isa NAME]... OLD NEW
#   OLD, NEW  commits. The same one twice shows how noisy the machine is.
#   --filter  only rows whose names match
#   --rounds  how often each benchmark is run (default 5)
#   --isa     at most this instruction set (AVX3, AVX2, SSE4, SSSE3 ...); several are compared one by one
# Builds stay in build/compare for the next comparison; remove that folder when the compiler has changed.
. "$(dirname "$0")/common.sh"

filter=. rounds=5 sets=() commits=()
while [ $# -gt 0 ]; do
  case "$1" in
    --filter|--rounds|--isa)
      [ $# -gt 1 ] || refuse "$1 wants a value"
      case "$1" in
        --filter) filter=$2 ;;
        --rounds) rounds=$2 ;;
        --isa) sets+=("$2") ;;
      esac
      shift 2 ;;
    -*) refuse "unknown option '$1'" ;;
    *) commits+=("$1"); shift ;;
  esac
done
[ ${#commits[@]} -eq 2 ] || refuse "wants two commits: scripts/compare.sh [--filter REGEX] [--rounds N] [--isa NAME]... OLD NEW"
[[ "$rounds" =~ ^[1-9][0-9]{0,2}$ ]] || refuse "'$rounds' is not a number of rounds (1 to 999)"
python3 -c 'import re, sys; re.compile(sys.argv[1])' "$filter" 2>/dev/null || refuse "'$filter' is not a regular expression"
for set in "${sets[@]}"; do
  [[ "$set" =~ ^[A-Za-z0-9_]+$ ]] || refuse "'$set' is not the name of an instruction set"
done
for i in 0 1; do
  name=${commits[i]}
  commits[i]=$(git rev-parse --verify --quiet --end-of-options "$name^{commit}") || refuse "there is no commit '$name'"
done

scripts/setup.sh build bench
# A worktree that an interrupted run left behind, and the present one when this run ends, are removed.
tree=$PWD/build/compare/source
remove_tree() { git worktree remove --force "$tree" 2>/dev/null || rm -rf "$tree"; git worktree prune; }
trap remove_tree EXIT
mkdir -p build/compare
for commit in "${commits[@]}"; do
  built=$PWD/build/compare/$commit
  [ ! -e "$built/complete" ] || continue
  echo "building $(git log -1 --format='%h %s' "$commit")" >&2
  remove_tree
  git worktree add --quiet --detach "$tree" "$commit"
  logged "$built.log" cmake --preset bench -S "$tree" -B "$built" -D TN_KITS_BUILD_APPS=OFF &&
    logged "$built.log" cmake --build "$built" -j "$jobs" || refuse "$commit does not build"
  touch "$built/complete"
done
python3 scripts/bench_compare.py --filter "$filter" --rounds "$rounds" "${sets[@]/#/--isa=}" \
  "build/compare/${commits[0]}" "build/compare/${commits[1]}"
