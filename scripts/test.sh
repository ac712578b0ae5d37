#!/usr/bin/env bash
# Installs what is missing and runs every check, the cheap ones that fail most often first: Release build with
# warnings as errors and every test; format and lint; the same tests and the fuzz targets under
# AddressSanitizer and UndefinedBehaviorSanitizer; threads under ThreadSanitizer; kernels under valgrind;
# the tests on Windows; the pages.
# usage: scripts/test.sh     (TN_FUZZ_SECONDS: for each fuzz target, default 30)
. "$(dirname "$0")/common.sh"

step "packages"
scripts/setup.sh build test lint fuzz windows docs

step "Release build, warnings as errors"
build release

step "tests"
ctest --preset release -j "$jobs"

step "format and lint"
scripts/format.sh --check

step "build under AddressSanitizer and UndefinedBehaviorSanitizer"
build asan

step "tests under AddressSanitizer and UndefinedBehaviorSanitizer"
logged build/asan/test.log ctest --preset asan -j "$jobs"
tail -n 4 build/asan/test.log

step "fuzz targets"
scripts/fuzz.sh "${TN_FUZZ_SECONDS:-30}"

step "threads under ThreadSanitizer"
logged build/tsan.log scripts/tsan.sh all
tail -n 3 build/tsan.log

step "kernels and network input under valgrind"
scripts/valgrind.sh

step "Windows"
scripts/test-windows.sh

step "pages"
scripts/docs.sh
step "done"
