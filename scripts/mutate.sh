#!/usr/bin/env bash
# Shows what the tests do not notice: plants small errors (bounds, signs, constants, dropped checks and calls, swapped
# arguments) in the files named, one at a time in a copy of the project, builds, runs the tests, and ends with a table
# of the errors that survived. Some of these change nothing that could be seen; the others ask for a test.
# usage: scripts/mutate.sh FILE ...
# Environment: TN_MUTATE_COUNT (errors a file, default 10), TN_MUTATE_SEED (which ones, default 1)
. "$(dirname "$0")/common.sh"

[ $# -gt 0 ] || refuse "name the source files to plant errors in"
files=()
for file in "$@"; do
  [ -f "$file" ] && name=$(git ls-files --full-name --error-unmatch -- "$file" 2>/dev/null) ||
    refuse "'$file' is not a file of the project"
  files+=("$name")
done

scripts/setup.sh build test
tree=build/mutate/tree
rm -rf "$tree"
mkdir -p "$tree"
git ls-files -z | xargs -0 cp --parents -t "$tree"
# One vector width and little optimisation: an error shows there as well, and it is built sooner.
cmake -S "$tree" -B "$tree/build" -G Ninja -D CMAKE_BUILD_TYPE=Release -D CMAKE_CXX_FLAGS_RELEASE=-O1 \
  -D "CMAKE_CXX_FLAGS=-DHWY_DISABLED_TARGETS='(HWY_SSSE3|HWY_SSE4|HWY_AVX3)'" >/dev/null
step "build"
logged build/mutate/build.log cmake --build "$tree/build" -j "$jobs"
step "tests, first without an error"
/usr/bin/python3 scripts/mutations.py "$tree" "$tree/build" "${TN_MUTATE_SEED:-1}" "${TN_MUTATE_COUNT:-10}" "${files[@]}"
