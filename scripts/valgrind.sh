#!/usr/bin/env bash
# Runs every exported routine on fixed small inputs, and the tests of kernels, network input and tensors,
# under valgrind, which sees what sanitizers do not: values that nobody set. From the release build, at the
# instruction sets that valgrind knows (up to AVX2), without the cases that go through all colours or that
# end the process on purpose.
set -euo pipefail
cd "$(dirname "$0")/.."

tests=(kernels/digests
  kernels/tn_{affine,checked,colormatrix,colour,geometry,networkinput,yuv2rgb,yuvconverter,yuvcrop}_test
  platform/tn_{mat,resize}_test)

scripts/setup.sh build test
cmake --preset release >/dev/null
cmake --build --preset release -j "$(nproc)" --target "${tests[@]##*/}"
logs=build/release/valgrind
rm -rf "$logs"
mkdir -p "$logs"

run() {
  local test=$1 log=$2/${1##*/}.log arguments=(--gtest_filter='-*DeathTest*:*AllColours*:*LargeTensors*') start=$SECONDS
  [ "$test" != kernels/digests ] || arguments=(tests/routines/expected.txt)
  if valgrind --quiet --error-exitcode=99 --num-callers=30 "build/release/tests/$test" "${arguments[@]}" \
      >"$log" 2>&1; then
    echo "passed in $((SECONDS - start)) s: $test"
  else
    tail -n 60 "$log"
    echo "FAILED after $((SECONDS - start)) s: $test"
    return 1
  fi
}
export -f run
printf '%s\n' "${tests[@]}" | xargs -P "$(nproc)" -I{} bash -c 'run "$@"' _ {} "$logs"
