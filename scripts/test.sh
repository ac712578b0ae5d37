#!/usr/bin/env bash
# The quick gate, those first that fail most often: the Release build with warnings as errors and every test;
# format, and lint of what changed since the last release; the same tests and the fuzz targets' seed corpora under
# AddressSanitizer and UndefinedBehaviorSanitizer; threads under ThreadSanitizer; the pages. Installs what is missing.
# scripts/test-all.sh does all that there is.
# usage: scripts/test.sh [STAGE ...]      stages: packages build tests lint sanitizers threads pages
. "$(dirname "$0")/common.sh"

stage_packages() { scripts/setup.sh build test lint fuzz docs; }
stage_build() { build release; }
stage_tests() { ctest --preset release -j "$jobs"; }
stage_lint() { scripts/format.sh --check; }
stage_sanitizers() {
  build asan
  logged build/asan/test.log ctest --preset asan -j "$jobs"
  tail -n 4 build/asan/test.log
}
stage_threads() {
  logged build/tsan.log scripts/tsan.sh
  tail -n 3 build/tsan.log
}
stage_pages() { scripts/docs.sh; }
run_stages packages build tests lint sanitizers threads pages -- "$@"
