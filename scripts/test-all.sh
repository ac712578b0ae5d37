#!/usr/bin/env bash
# Every check that there is: the quick gate, then lint of all files, every test under ThreadSanitizer, kernels under
# valgrind, live fuzzing, attacks on the tool, the tests on Windows, and the gate once more on Debian 13, in a fresh
# root. As root, with a Debian mirror.
# usage: scripts/test-all.sh [STAGE ...]  stages: quick lint threads valgrind fuzz faults windows debian13
#        (TN_FUZZ_SECONDS: for each fuzz target, default 30)
. "$(dirname "$0")/common.sh"

[ "$(id -u)" -eq 0 ] || [ $# -gt 0 ] || refuse "only root can enter another root; name the stages but debian13"

stage_quick() { scripts/test.sh; }
stage_lint() { scripts/format.sh --check-all; }
stage_threads() {
  logged build/tsan.log scripts/tsan.sh all
  tail -n 3 build/tsan.log
}
stage_valgrind() { scripts/valgrind.sh; }
stage_fuzz() { scripts/fuzz.sh "${TN_FUZZ_SECONDS:-30}"; }
stage_faults() { scripts/faults.sh quick; }
stage_windows() { scripts/test-windows.sh; }
stage_debian13() { scripts/test-debian13.sh; }
run_stages quick lint threads valgrind fuzz faults windows debian13 -- "$@"
