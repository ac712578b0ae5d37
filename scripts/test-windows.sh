#!/usr/bin/env bash
# Builds for 64-bit Windows, runs the tests there under Wine, and checks that every kernel gives the same
# bytes on both systems. See docs/windows.md.
# usage: scripts/test-windows.sh
. "$(dirname "$0")/common.sh"

windows=build/windows

step "packages"
scripts/setup.sh build windows

step "build"
build windows

# Wine's services are started here, before the tests. A test that started them would hand them its output,
# and whoever reads that to its end would wait until the services stop.
step "Wine"
export WINEPREFIX="$PWD/$windows/wine" WINEDEBUG=-all
PATH=$PATH:/usr/lib/wine
mkdir -p "$WINEPREFIX"
stop_wine() { wineserver -k || true; }
trap stop_wine EXIT
wineserver -p </dev/null >/dev/null 2>&1
logged "$windows/wineboot.log" wine64 wineboot </dev/null

step "tests"
ctest --preset windows -j "$jobs"
step "archive"
rm -f "$windows"/tn_kits-*.zip
logged "$windows/cpack.log" env -C "$windows" cpack -G ZIP
archive=$(ls "$windows"/tn_kits-*.zip)
cmake -E tar tf "$archive" >"$windows/archive.txt"
for part in bin/tn_{core,cnn,kits}-[0-9.]*.dll lib/libtn_{core,cnn,kits}.dll.a bin/tarnkit.exe include/tn_kits/tn_cv.h; do
  grep -q "/$part$" "$windows/archive.txt" || { echo "scripts/test-windows.sh: $archive lacks $part" >&2; exit 1; }
done
echo "$archive"
step "done"
