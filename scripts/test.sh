#!/usr/bin/env bash
# Installs what is missing and runs every check, the cheap ones that fail most often first: Release build with
# warnings as errors and every test; format and lint; the same tests and the fuzz targets under
# AddressSanitizer and UndefinedBehaviorSanitizer; threads under ThreadSanitizer; kernels under valgrind;
# the tests on Windows; the pages.
# usage: scripts/test.sh     (TN_FUZZ_SECONDS: for each fuzz target, default 30)
set -euo pipefail
cd "$(dirname "$0")/.."

step() { printf '\n== %s (%s s)\n' "$1" "$SECONDS"; }
jobs=$(nproc)

step "packages"
scripts/setup.sh build test lint fuzz windows docs

step "Release build, warnings as errors"
cmake --preset release
cmake --build --preset release -j "$jobs"

step "tests"
ctest --preset release -j "$jobs"

step "format and lint"
scripts/format.sh --check

step "build under AddressSanitizer and UndefinedBehaviorSanitizer"
cmake --preset asan
cmake --build --preset asan -j "$jobs"

step "tests under AddressSanitizer and UndefinedBehaviorSanitizer"
ctest --preset asan -j "$jobs" --quiet --output-log build/asan/test.log ||
  { tail -n 60 build/asan/test.log; exit 1; }
tail -n 4 build/asan/test.log

step "fuzz targets"
scripts/fuzz.sh "${TN_FUZZ_SECONDS:-30}"

step "threads under ThreadSanitizer"
scripts/tsan.sh all >build/tsan.log || { tail -n 60 build/tsan.log; exit 1; }
tail -n 3 build/tsan.log

step "kernels and network input under valgrind"
scripts/valgrind.sh

step "Windows"
scripts/test-windows.sh

step "pages"
scripts/docs.sh
step "done"
