#!/usr/bin/env bash
# Formats every source file in place.
# --check changes nothing: it fails on a file that is not formatted, and on any clang-tidy finding.
# Lint reads build/release/compile_commands.json, so configure and build that preset first.
set -euo pipefail
cd "$(dirname "$0")/.."

tool() { command -v "$1-14" || command -v "$1" || { echo "scripts/format.sh: $1 is missing; run scripts/setup.sh lint" >&2; exit 1; }; }
format=$(tool clang-format)
mapfile -t files < <(find apps benchmarks common docs examples fuzz platform tarnkit tests -name '*.h' -o -name '*.cpp' | sort)

if [ "${1:-}" != --check ]; then
  "$format" -i "${files[@]}"
  exit 0
fi

"$format" --dry-run --Werror "${files[@]}"

tidy=$(tool clang-tidy)
build=build/release
[ -f "$build/compile_commands.json" ] || { echo "scripts/format.sh: configure the release preset first" >&2; exit 1; }
# The analyzer gives up on a function after so many states: its default spends two thirds of the whole run in
# the constructors of the command-line library.
nodes=(-Xclang -analyzer-config -Xclang max-nodes=20000)
# Tests and their like: names, and what is plainly wrong in few places; every check would take as long again as
# it does for the rest.
light='-*,readability-identifier-naming,bugprone-use-after-move,bugprone-sizeof-expression,bugprone-infinite-loop'
# Benchmarks, examples, common and the consumers of an installation are not part of that build; headers are
# linted through the files that use them.
sources() { printf '%s\n' "${files[@]}" | grep '\.cpp$' | grep -Ev '^(benchmarks|common|examples|tests/install)/'; }
lint() {
  xargs -P "$(nproc)" -n 1 "$tidy" -p "$build" --quiet --warnings-as-errors='*' \
    --extra-arg=-Wno-unknown-warning-option "${nodes[@]/#/--extra-arg=}" "$@" 2>/dev/null
}
sources | grep -Ev '^(tests|fuzz|docs)/' | lint
sources | grep -E '^(tests|fuzz|docs)/' | lint --checks="$light"
echo "format and lint: clean"
