#!/usr/bin/env bash
# Installs what is missing, checks format and lint, builds in Release with warnings as errors, and
# runs every test; then runs the library's tests once more under the sanitizers, and every fuzz target
# for TN_FUZZ_SECONDS, if that is set; without it the targets only replay their seeds. Builds the pages
# at the end.
set -euo pipefail
cd "$(dirname "$0")/.."

step() { printf '\n== %s (%s s)\n' "$1" "$SECONDS"; }
jobs=$(nproc)

step "packages"
scripts/setup.sh build test lint

step "Release build, warnings as errors"
cmake --preset release
cmake --build --preset release -j "$jobs"

step "format and lint"
scripts/format.sh --check

step "sanitizer build of the library and its tests"
cmake --preset asan -D TN_KITS_BUILD_APPS=OFF
cmake --build --preset asan -j "$jobs"
ctest --preset asan -j "$jobs" --quiet --output-log build/asan/test.log ||
  { tail -n 60 build/asan/test.log; exit 1; }
tail -n 4 build/asan/test.log

step "threads under ThreadSanitizer"
scripts/tsan.sh >build/tsan.log || { tail -n 60 build/tsan.log; exit 1; }
tail -n 3 build/tsan.log

step "tests"
ctest --preset release -j "$jobs"

step "kernels under valgrind"
scripts/valgrind.sh >build/valgrind.log || { tail -n 80 build/valgrind.log; exit 1; }
if [ -n "${TN_FUZZ_SECONDS:-}" ]; then
  step "fuzz targets, $TN_FUZZ_SECONDS s each"
  scripts/setup.sh fuzz
  scripts/fuzz.sh "$TN_FUZZ_SECONDS"
fi

step "pages"
scripts/docs.sh
step "done"
