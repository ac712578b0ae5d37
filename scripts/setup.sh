#!/usr/bin/env bash
# Installs the Debian packages that are missing for the named jobs, and nothing else.
# usage: scripts/setup.sh [build] [test] [lint] [fuzz] [bench] [windows] [package] [docs]     (default: build)
set -euo pipefail

cd "$(dirname "$0")/.."
# Of a Debian release "-14" or the like; empty elsewhere.
llvm=$(scripts/clang_version.sh)
llvm=${llvm:+-$llvm}

# The library needs Eigen, Highway and OpenCV's dnn module; the tool takes its command line, video,
# pedestrians and drawing from libraries too.
build=(g++ cmake ninja-build pkg-config
  libeigen3-dev libhwy-dev
  libcli11-dev libavformat-dev libavcodec-dev libavutil-dev libswscale-dev
  libopencv-core-dev libopencv-imgproc-dev libopencv-imgcodecs-dev libopencv-objdetect-dev
  libopencv-dnn-dev)
test=(libgtest-dev make python3 binutils abigail-tools valgrind)
# The sources are formatted and linted with one version. Releases that lack it lint nothing.
lint=()
[ "$llvm" != -14 ] || lint=(clang-format-14 clang-tidy-14)
# The sanitizers' builds, the fuzz targets in one of them.
fuzz=("clang$llvm" "libclang-rt$llvm-dev")
bench=(libbenchmark-dev libyuv-dev python3 python3-onnx python3-venv)
# On top of build, whose headers serve both systems. GoogleTest comes as sources.
windows=("clang$llvm" "lld$llvm" "llvm$llvm" g++-mingw-w64-x86-64-posix googletest wine64 wine)
package=(dpkg-dev file debootstrap)
docs=(doxygen python3)

wanted=()
for job in "${@:-build}"; do
  case "$job" in
    build) wanted+=("${build[@]}") ;;
    test) wanted+=("${test[@]}") ;;
    lint) wanted+=("${lint[@]}") ;;
    fuzz) wanted+=("${fuzz[@]}") ;;
    bench) wanted+=("${bench[@]}") ;;
    windows) wanted+=("${windows[@]}") ;;
    package) wanted+=("${package[@]}") ;;
    docs) wanted+=("${docs[@]}") ;;
    *)
      echo "scripts/setup.sh: unknown job '$job'; jobs are build, test, lint, fuzz, bench, windows, package, docs" >&2
      exit 2 ;;
  esac
done

if ! command -v apt-get >/dev/null || ! command -v dpkg-query >/dev/null; then
  echo "scripts/setup.sh: this is not a Debian system; install what matches: ${wanted[*]}" >&2
  exit 0
fi
missing=()
for package in "${wanted[@]}"; do
  status=$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null || true)
  [ "$status" = installed ] || missing+=("$package")
done
[ ${#missing[@]} -gt 0 ] || exit 0

echo "Installing: ${missing[*]}"
as_root=()
if [ "$(id -u)" -ne 0 ]; then
  command -v sudo >/dev/null || { echo "scripts/setup.sh: run as root, or install sudo" >&2; exit 1; }
  as_root=(sudo)
fi
export DEBIAN_FRONTEND=noninteractive
"${as_root[@]}" apt-get update -q
"${as_root[@]}" apt-get install -q -y --no-install-recommends "${missing[@]}"
