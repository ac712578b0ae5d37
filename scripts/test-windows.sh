#!/usr/bin/env bash
# Builds for 64-bit Windows, runs the tests there under Wine, and checks that every kernel gives the same
# bytes on both systems. See docs/windows.md.
# usage: scripts/test-windows.sh
set -euo pipefail
cd "$(dirname "$0")/.."

step() { printf '\n== %s (%s s)\n' "$1" "$SECONDS"; }
jobs=$(nproc)
build=build/windows

step "packages"
scripts/setup.sh build windows

step "build"
cmake --preset windows
cmake --build --preset windows -j "$jobs"

# Wine's services are started once and away from the tests: a test that started them would only end, for
# who waits for the end of its output, when they do.
step "Wine"
export WINEPREFIX="$PWD/$build/wine" WINEDEBUG=-all
PATH=$PATH:/usr/lib/wine
mkdir -p "$WINEPREFIX"
stop_wine() { wineserver -k || true; }
trap stop_wine EXIT
wineserver -p </dev/null >/dev/null 2>&1
wine64 wineboot </dev/null >"$build/wineboot.log" 2>&1 || { cat "$build/wineboot.log" >&2; exit 1; }

step "tests"
ctest --preset windows -j "$jobs"
step "archive"
(cd "$build" && rm -f tn_kits-*.zip && cpack -G ZIP >cpack.log) || { cat "$build/cpack.log" >&2; exit 1; }
archive=$(ls "$build"/tn_kits-*.zip)
cmake -E tar tf "$archive" >"$build/archive.txt"
for part in bin/tn_{core,cnn,kits}-[0-9.]*.dll lib/libtn_{core,cnn,kits}.dll.a bin/tarnkit.exe include/tn_kits/tn_cv.h; do
  grep -q "/$part$" "$build/archive.txt" || { echo "scripts/test-windows.sh: $archive lacks $part" >&2; exit 1; }
done
echo "$archive"
step "done"
