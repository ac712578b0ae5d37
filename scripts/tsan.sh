#!/usr/bin/env bash
# Builds the library with ThreadSanitizer and runs the tests that have threads: every routine on eight of
# them, tensors, logging, networks.
# usage: scripts/tsan.sh [all]     (all: every test of the library, most of which have one thread)
set -euo pipefail
cd "$(dirname "$0")/.."

case "${1:-}" in
  '') pattern='^(Threads|FirstUse|Mat|Logging|Net\.)'
    targets=(tn_threads_test tn_first_use_test tn_mat_test tn_core_test tn_net_test) ;;
  all) pattern=. targets=(all) ;;
  *) echo "scripts/tsan.sh: '$1' is not 'all'" >&2; exit 2 ;;
esac

# Kernels may place programs where ThreadSanitizer does not expect them, unless told to place all alike; the
# build runs tests too, to list them.
fixed=(setarch "$(uname -m)" -R)
"${fixed[@]}" true 2>/dev/null || fixed=()
scripts/setup.sh build test fuzz
cmake --preset tsan >/dev/null
"${fixed[@]}" cmake --build --preset tsan -j "$(nproc)" --target "${targets[@]}"
# Tests that count or refuse allocations do so in operators that the sanitizer replaces.
"${fixed[@]}" ctest --preset tsan -j "$(nproc)" -R "$pattern" -E '^(Allocation|(Net)?OutOfMemory)' --no-tests=error
