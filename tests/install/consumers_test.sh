#!/usr/bin/env bash
# Builds the library as other projects build it, and programs on top of it, and runs them.
# usage: consumers_test.sh add_subdirectory|static|external CMAKE SOURCE_DIR CXX
#   add_subdirectory  the library's sources inside the program's tree
#   static            installed static libraries, by find_package and by pkg-config
#   external          installed on top of a platform that is installed elsewhere
set -euo pipefail
kind=$1 cmake=$2 source=$3 cxx=$4
here=$source/tests/install/consumers
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# What is tested is how things are found and linked: one instruction set without optimisation compiles
# several times as fast.
configure() { # SOURCE BUILD OPTIONS...
  local from=$1 to=$2
  shift 2
  "$cmake" -G Ninja -S "$from" -B "$to" -D CMAKE_BUILD_TYPE=Debug -D CMAKE_CXX_COMPILER="$cxx" \
    -D CMAKE_CXX_FLAGS="-O0 -g0 -DHWY_COMPILE_ONLY_STATIC" "$@" >"$work/log" || { cat "$work/log"; exit 1; }
}
build() { "$cmake" --build "$1" >"$work/log" || { cat "$work/log"; exit 1; }; }
library() { # BUILD PREFIX OPTIONS...
  local to=$1 prefix=$2
  shift 2
  configure "$source" "$to" -D TN_KITS_BUILD_TESTS=OFF -D TN_KITS_BUILD_APPS=OFF "$@"
  build "$to"
  "$cmake" --install "$to" --prefix "$prefix" >/dev/null
}
run_examples() { # DIRECTORY
  "$1/frame_to_tensor" | tee "$work/printed.txt"
  grep -qx 'centre pixel: 0.502 0.502 0.502' "$work/printed.txt"
  "$1/track_boxes" >"$work/printed.txt"
  [ "$(grep -c '^frame 5: box [12], class' "$work/printed.txt")" = 2 ]
}

case $kind in
  add_subdirectory)
    configure "$here/add_subdirectory" "$work/program" -D TN_KITS_SOURCE="$source" -D TN_CNN_ENGINE=none
    build "$work/program"
    run_examples "$work/program"
    # Of the outer project nothing but its own programs must have been asked for.
    if [ -e "$work/program/tn_kits/apps" ] || [ -e "$work/program/tn_kits/tests" ]; then
      echo "tests or tool were configured inside another project" >&2
      exit 1
    fi
    ;;
  static)
    library "$work/library" "$work/prefix" -D BUILD_SHARED_LIBS=OFF
    if find "$work/prefix" -name '*.so*' | grep .; then
      echo "the files above are no static libraries" >&2
      exit 1
    fi
    configure "$source/examples" "$work/program" -D CMAKE_PREFIX_PATH="$work/prefix"
    build "$work/program"
    run_examples "$work/program"
    mkdir "$work/make"
    make -s -C "$source/examples" CXX="$cxx" CXXFLAGS=-O0 OUT="$work/make" \
      PKG_CONFIG_PATH="$(dirname "$(find "$work/prefix" -name tn_kits.pc)")"
    run_examples "$work/make"
    ;;
  external)
    configure "$here/stub_platform" "$work/stub" -D TN_PLATFORM_HEADERS="$source/platform"
    build "$work/stub"
    "$cmake" --install "$work/stub" --prefix "$work/platform" >/dev/null
    library "$work/library" "$work/prefix" -D TN_KITS_PLATFORM=external -D CMAKE_PREFIX_PATH="$work/platform"
    if find "$work/prefix" -name '*tn_core*' -o -name '*tn_cnn*' | grep .; then
      echo "the files above belong to the platform, which is installed elsewhere" >&2
      exit 1
    fi
    configure "$source/examples" "$work/program" -D CMAKE_PREFIX_PATH="$work/prefix;$work/platform"
    build "$work/program"
    run_examples "$work/program"
    configure "$here/platform_in_use" "$work/who" -D CMAKE_PREFIX_PATH="$work/prefix;$work/platform"
    build "$work/who"
    "$work/who/platform_in_use" 2>&1 | tee "$work/printed.txt"
    grep -qx 'stub platform, consumer: 2 x 3 x 4 floats' "$work/printed.txt"
    ;;
  *)
    echo "consumers_test.sh: no such consumer: '$kind'" >&2
    exit 2
    ;;
esac
