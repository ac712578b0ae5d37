#!/usr/bin/env bash
# Records what the shared libraries promise to programs that are already compiled: the symbols that they
# export (packaging/abi/LIB.symbols) and the layout of every type in their interfaces (LIB.abi). Run it
# after a change of the interface that is meant, and commit what it writes with the change. Other compilers and other
# versions of abidw word the same layouts otherwise, so layouts are compared where both are those that recorded them
# (recorded-with); elsewhere the check says so and ends with status 77.
# usage: scripts/abi.sh                  update both from build/release
#        scripts/abi.sh --check-symbols  [BUILD]  fail when the exported symbols differ from the lists
#        scripts/abi.sh --check-layouts  [BUILD]  fail when layouts or signatures differ from the baselines
# The layouts come from debug information: BUILD must be configured with TN_KITS_ABI_CHECK=ON, as the
# release preset is.
set -euo pipefail
cd "$(dirname "$0")/.."
# The baselines name sources relative to this folder. Debug information has absolute paths, or paths
# relative to the build when a compiler cache rewrites them.
root=$(pwd -P | sed 's/[][\.*^$#]/\\&/g')
mode=${1:---update}
build=${2:-build/release}

libraries=(
  "tn_core platform/tn_core platform/tn_core/inc"
  "tn_cnn platform/tn_cnn platform/tn_cnn/inc"
  "tn_kits tarnkit tarnkit/inc"
)

dump() { # LIBRARY HEADERS
  abidw --suppr packaging/abi/foreign_types.abignore --headers-dir "$2" --drop-private-types \
    --exported-interfaces-only --no-corpus-path --no-comp-dir-path --no-show-locs --type-id-style hash \
    "$1" | sed "s#^\( *<abi-instr .*path='\)\($root/\|\(\.\./\)*\)#\1#"
}

# "g++ 12, abidw 2.2": the major version of the compiler, and the version of what reads its debug information.
tools() { # LIBRARY
  local compiler
  compiler=$(readelf --string-dump=.comment "$1" | sed -n 's/.* GCC: .* \([0-9]*\)\.[0-9.]*$/\1/p' | head -n 1)
  echo "g++ ${compiler:-of no known version}, $(abidw --version | sed 's/: / /; s/\.[0-9]*$//')"
}

case $mode in
  --update)
    scripts/setup.sh build test
    cmake --build "$build" --target tn_core tn_cnn tn_kits
    ;;
  --check-symbols | --check-layouts) ;;
  *)
    sed -n '2,/^set /s/^# \{0,1\}//p' "$0" >&2
    exit 2
    ;;
esac

failed=0
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
for entry in "${libraries[@]}"; do
  read -r name folder headers <<<"$entry"
  library=$build/$folder/lib$name.so
  record=packaging/abi/$name
  if [ "$mode" = --check-symbols ]; then
    python3 scripts/symbols.py "$library" "$headers" --check "$record.symbols" || failed=1
    continue
  fi
  # Not grep -q, which ends before readelf does and makes the pipe fail.
  if ! readelf --section-headers --wide "$library" | grep '\.debug_info' >/dev/null; then
    echo "scripts/abi.sh: $library has no debug information; configure with -D TN_KITS_ABI_CHECK=ON" >&2
    exit 1
  fi
  if [ "$mode" = --check-layouts ] && [ "$(tools "$library")" != "$(cat packaging/abi/recorded-with)" ]; then
    echo "layouts: skipped, they were recorded with $(cat packaging/abi/recorded-with), and here is $(tools "$library")"
    exit 77
  fi
  dump "$library" "$headers" >"$work/$name.abi"
  if [ "$mode" = --update ]; then
    python3 scripts/symbols.py "$library" "$headers" >"$work/$name.symbols"
    cp "$work/$name.symbols" "$record.symbols"
    cp "$work/$name.abi" "$record.abi"
    tools "$library" >packaging/abi/recorded-with
  elif ! abidiff --no-show-locs "$record.abi" "$work/$name.abi"; then
    echo "$name: the binary interface has changed; if that is meant, run scripts/abi.sh"
    failed=1
  fi
done
exit $failed
