#!/bin/sh
# Prints the version of clang, lld and llvm that this Debian release makes its default; nothing on other systems,
# where packages and programs are taken by their plain names. Asked by scripts/setup.sh, which installs these
# packages, and by cmake/toolchains/clang.cmake, which looks for the programs.
set -eu
[ ! -r /etc/os-release ] || . /etc/os-release
case "${ID-} ${VERSION_ID-}" in
  'debian 12') echo 14 ;;
  'debian 13') echo 19 ;;
esac
