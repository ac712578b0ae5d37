#!/usr/bin/env bash
# Builds the examples on top of the library in one of the ways that other projects take, and runs them.
# usage: consumers_test.sh KIND CMAKE BUILD_DIR SOURCE_DIR CXX
#   installed         BUILD_DIR installed and moved, by find_package and by pkg-config
#   static            installed static libraries, the same
#   external          the library on top of a platform that is installed elsewhere
#   add_subdirectory  the library's sources inside the program's tree
set -euo pipefail
kind=$1 cmake=$2 tested=$3 source=$4 cxx=$5
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix

# What is tested is how things are found and linked: one instruction set without optimisation compiles
# several times as fast.
configure() { # SOURCE BUILD OPTIONS...
  local from=$1 to=$2
  shift 2
  "$cmake" -G Ninja -S "$from" -B "$to" -D CMAKE_BUILD_TYPE=Debug -D CMAKE_CXX_COMPILER="$cxx" \
    -D CMAKE_CXX_FLAGS="-O0 -g0 -DHWY_COMPILE_ONLY_STATIC" "$@" >"$work/log" || { cat "$work/log"; exit 1; }
  "$cmake" --build "$to" >"$work/log" || { cat "$work/log"; exit 1; }
}
install() { "$cmake" --install "$1" --prefix "$2" >/dev/null; } # BUILD PREFIX
library() { # OPTIONS...
  configure "$source" "$work/library" -D TN_KITS_BUILD_TESTS=OFF -D TN_KITS_BUILD_APPS=OFF "$@"
  install "$work/library" "$prefix"
}
run_examples() { # DIRECTORY
  "$1/frame_to_tensor" | tee "$work/printed.txt"
  grep -qx 'centre pixel: 0.502 0.502 0.502' "$work/printed.txt"
  "$1/preprocess" >"$work/printed.txt"
  grep -qx 'in the frame 159 x 159 at 1200, 600' "$work/printed.txt"
  "$1/track_boxes" >"$work/printed.txt"
  [ "$(grep -c '^frame 5: box [12], class' "$work/printed.txt")" = 2 ]
}
by_cmake() { # PREFIXES
  configure "$source/examples" "$work/program" -D CMAKE_PREFIX_PATH="$1"
  run_examples "$work/program"
}
by_pkg_config() {
  mkdir "$work/make"
  make -s -C "$source/examples" CXX="$cxx" CXXFLAGS=-O0 OUT="$work/make" \
    PKG_CONFIG_PATH="$(dirname "$(find "$prefix" -name tn_kits.pc)")"
  run_examples "$work/make"
}
none_of() { # WHAT FIND_ARGUMENTS...
  if find "${@:2}" | grep .; then
    echo "the files above $1" >&2
    exit 1
  fi
}

case $kind in
  installed)
    install "$tested" "$work/first"
    mv "$work/first" "$prefix"
    by_cmake "$prefix"
    by_pkg_config
    none_of "are no public headers" "$prefix/include" -type f ! -path '*/tn_kits/tn_*.h' \
      ! -path '*/tn_kits/tool_*.h'
    ;;
  static)
    library -D BUILD_SHARED_LIBS=OFF
    none_of "are no static libraries" "$prefix" -name '*.so*'
    by_cmake "$prefix"
    by_pkg_config
    ;;
  external)
    for part in tn_core tn_cnn; do install "$tested/platform/$part" "$work/platform"; done
    library -D TN_KITS_PLATFORM=external -D CMAKE_PREFIX_PATH="$work/platform"
    none_of "belong to the platform, which is installed elsewhere" "$prefix" -name '*tn_core*' \
      -o -name '*tn_cnn*'
    by_cmake "$prefix;$work/platform"
    ;;
  add_subdirectory)
    configure "$source/tests/install/add_subdirectory" "$work/program" -D TN_KITS_SOURCE="$source" \
      -D TN_CNN_ENGINE=none
    run_examples "$work/program"
    none_of "were configured inside another project" "$work/program/tn_kits" -maxdepth 1 -name apps -o -name tests
    ;;
  *)
    echo "consumers_test.sh: no such consumer: '$kind'" >&2
    exit 2
    ;;
esac
