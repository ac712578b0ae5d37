#!/usr/bin/env bash
# Runs the demo and all tests as on a fresh machine with Debian 13: in a bare root of that release, on the committed
# tree. Needs root, a Debian mirror and about 6 GB. Everything is built anew there.
# usage: scripts/test-debian13.sh [--keep | --root FOLDER] [STAGE...]
#   --keep         leave the root for a look
#   --root FOLDER  use the root in FOLDER, or make it there, and leave it: the next run builds what changed only
#                  (from the project's folder where it is relative)
#   STAGE...       run scripts/test.sh with these arguments, without the demo
# Environment: SUITE (trixie), MIRROR (http://deb.debian.org/debian), TN_*: passed on
. "$(dirname "$0")/common.sh"

keep='' folder=''
while [ $# -gt 0 ]; do
  case $1 in
    --keep) keep=yes ;;
    --root) folder=${2:?--root needs a folder} keep=yes && shift ;;
    -*) refuse "'$1' is neither --keep nor --root" ;;
    *) break ;;
  esac
  shift
done
. scripts/root.sh
suite=${SUITE:-trixie}
commit=$(git rev-parse --short=10 HEAD)
log=build/debian13.log
mkdir -p build

step "root of $suite"
root=${folder:-$(mktemp -d)}
finish() {
  if [ -n "$keep" ]; then
    close_root
    echo "the root stays in $root"
  else
    remove_root
  fi
}
trap finish EXIT
open_root "$root" "$suite"
tree=$root/root/tn_kits
if [ -d "$tree" ]; then
  git -C "$tree" fetch --quiet "$PWD" HEAD
  git -C "$tree" reset --quiet --hard FETCH_HEAD
else
  git clone --quiet --no-hardlinks . "$tree"
fi

# All output goes into the log, and the lines of stages to the screen as well.
run() {
  echo "== $* in $suite"
  inside "cd /root/tn_kits && exec $*" 2>&1 | tee -a "$log" | { grep --line-buffered -E '^(== |demo: )' || true; }
}
fail() {
  tail -n 40 "$log"
  echo "commit $commit fails on Debian $suite; all of it is in $log"
  exit 1
}
: >"$log"
step "commit $commit"
if [ $# -eq 0 ]; then
  run scripts/demo.sh || fail
fi
run "scripts/test.sh $*" || fail
echo "commit $commit passes on Debian $suite: ${*:-demo and all tests}"
