#!/usr/bin/env bash
# Builds the library with ThreadSanitizer and runs the tests that have threads: every routine on eight of
# them, preprocessors, tensors, logging, networks.
# usage: scripts/tsan.sh [all]     (all: every test of the library, most of which have one thread)
. "$(dirname "$0")/common.sh"

case "${1:-}" in
  '') pattern='^(Threads|Mat|Logging|Net\.)'
    targets=(tn_threads_test tn_mat_test tn_core_test tn_net_test tn_preprocess_test) ;;
  all) pattern=. targets=(all) ;;
  *) refuse "'$1' is not 'all'" ;;
esac

# ThreadSanitizer fails to start when the system places a program at an address that it does not expect;
# setarch -R switches random addresses off. The build needs it too, since it runs tests to list them.
fixed=(setarch "$(uname -m)" -R)
"${fixed[@]}" true 2>/dev/null || fixed=()
scripts/setup.sh build test fuzz
cmake --preset tsan >/dev/null
"${fixed[@]}" cmake --build --preset tsan -j "$jobs" --target "${targets[@]}"
# Left out: tests that count or refuse allocations. They replace the same operators as the sanitizer.
"${fixed[@]}" ctest --preset tsan -j "$jobs" -R "$pattern" -E '^(Allocation|Resizers|(Net)?OutOfMemory)' --no-tests=error
