#!/usr/bin/env bash
# Installs the build into an empty prefix, moves the prefix, and builds and runs the examples against it,
# once through find_package and once through pkg-config. Both must print the same, and only the public
# headers must have been installed.
# usage: install_test.sh CMAKE BUILD_DIR EXAMPLES_DIR LIBDIR CXX
set -euo pipefail
cmake=$1 build=$2 examples=$3 libdir=$4 cxx=$5
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

"$cmake" --install "$build" --prefix "$work/first" >/dev/null
mv "$work/first" "$work/prefix" # an installed tree may be moved
prefix=$work/prefix

"$cmake" -S "$examples" -B "$work/cmake" -D CMAKE_PREFIX_PATH="$prefix" -D CMAKE_CXX_COMPILER="$cxx" >/dev/null
"$cmake" --build "$work/cmake" >/dev/null

mkdir "$work/make"
make -s -C "$examples" CXX="$cxx" PKG_CONFIG_PATH="$prefix/$libdir/pkgconfig" OUT="$work/make"

for example in frame_to_tensor track_boxes; do
  "$work/cmake/$example" >"$work/a.txt"
  "$work/make/$example" >"$work/b.txt"
  cmp "$work/a.txt" "$work/b.txt"
  cat "$work/a.txt"
done >"$work/printed.txt"
cat "$work/printed.txt"

grep -qx 'centre pixel: 0.502 0.502 0.502' "$work/printed.txt"
[ "$(grep -c '^frame 5: box [12], class' "$work/printed.txt")" = 2 ]
if find "$prefix/include" -type f ! -path '*/tn_kits/tn_*.h' ! -path '*/tn_kits/tool_*.h' | grep .; then
  echo "the files above are no public headers" >&2
  exit 1
fi
