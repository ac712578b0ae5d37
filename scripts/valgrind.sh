#!/usr/bin/env bash
# Runs every exported routine on fixed small inputs, and the tests of kernels, network input and tensors,
# under valgrind, which reports uses of uninitialised values; the sanitizers here do not. Uses the release build
# and the instruction sets that valgrind knows (up to AVX2). Left out are cases that try all colours or end the
# process on purpose.
. "$(dirname "$0")/common.sh"

tests=(kernels/digests kernels/tn_{checked,colour,geometry,networkinput,yuvconverter}_test platform/tn_mat_test)

scripts/setup.sh build test
build release "${tests[@]##*/}"
logs=build/release/valgrind
rm -rf "$logs"
mkdir -p "$logs"

run() {
  local test=$1 log=$2/${1##*/}.log arguments=(--gtest_filter='-*DeathTest*:*AllColours*') start=$SECONDS
  if logged "$log" valgrind --quiet --error-exitcode=99 --num-callers=30 "build/release/tests/$test" "${arguments[@]}"
  then
    echo "passed in $((SECONDS - start)) s: $test"
  else
    echo "FAILED after $((SECONDS - start)) s: $test"
    return 1
  fi
}
export -f logged run
printf '%s\n' "${tests[@]}" | xargs -P "$jobs" -I{} bash -c 'run "$@"' _ {} "$logs"
