#!/usr/bin/env bash
# Formats every source file in place.
# --check changes nothing. It fails on a file that is not formatted and on any clang-tidy finding; in the
# libraries all checks run, elsewhere those of names and a few plain faults. --check-all: all checks everywhere.
# clang-tidy reads build/release/compile_commands.json, so configure and build that preset first.
. "$(dirname "$0")/common.sh"

for name in clang-format clang-tidy; do
  command -v "$name-14" >/dev/null || command -v "$name" >/dev/null || scripts/setup.sh lint
done
tool() { command -v "$1-14" || command -v "$1" || { echo "scripts/format.sh: $1 is missing; run scripts/setup.sh lint" >&2; exit 1; }; }
format=$(tool clang-format)
mapfile -t files < <(find apps benchmarks common docs examples fuzz platform tarnkit tests -name '*.h' -o -name '*.cpp' | sort)

everywhere='^(platform|tarnkit)/'
case "${1:-}" in
  --check) ;;
  --check-all) everywhere=. ;;
  '')
    "$format" -i "${files[@]}"
    exit 0 ;;
  *) refuse "'$1' is neither --check nor --check-all" ;;
esac

"$format" --dry-run --Werror "${files[@]}"

tidy=$(tool clang-tidy)
build=build/release
[ -f "$build/compile_commands.json" ] || { echo "scripts/format.sh: configure the release preset first" >&2; exit 1; }
# The analyzer stops in a function after this many states. With its default it spends two thirds of the whole
# run in constructors of the command-line library.
nodes=(-Xclang -analyzer-config -Xclang max-nodes=20000)
# All checks everywhere take several times as long, most of it for the tool and the tests.
light='-*,readability-identifier-naming,bugprone-use-after-move,bugprone-sizeof-expression,bugprone-infinite-loop'
# Benchmarks, examples and common are not part of that build; headers are linted through the files that use
# them.
sources() { printf '%s\n' "${files[@]}" | grep '\.cpp$' | grep -Ev '^(benchmarks|common|examples)/'; }
lint() {
  xargs -r -P "$jobs" -n 1 "$tidy" -p "$build" --quiet --warnings-as-errors='*' \
    --extra-arg=-Wno-unknown-warning-option "${nodes[@]/#/--extra-arg=}" "$@" 2>/dev/null
}
sources | grep -E "$everywhere" | lint
{ sources | grep -Ev "$everywhere" || true; } | lint --checks="$light"
echo "format and lint: clean"
