#!/usr/bin/env bash
# Builds the Debian packages and tries them in a fresh Debian root: they install, the tool runs, programs
# find the library through CMake and through pkg-config, and nothing of them is left when they are gone.
# Needs root and a Debian mirror; takes some minutes, most of them for the packages of others.
# usage: scripts/test-packages.sh [--built]     --built: take the .deb files in build/package as they are
# Environment: SUITE (this machine's release), MIRROR (http://deb.debian.org/debian)
. "$(dirname "$0")/common.sh"
. scripts/root.sh

if [ "${1:-}" != --built ]; then
  step "packages"
  scripts/package.sh
fi
shopt -s nullglob
packages=(build/package/*.deb)
[ ${#packages[@]} -eq 3 ] || { echo "scripts/test-packages.sh: three .deb files belong into build/package" >&2; exit 1; }

step "fresh root"
work=$(mktemp -d)
root=$work/root
trap 'remove_root && rm -r "$work"' EXIT
open_root "$root" "${SUITE:-$(. /etc/os-release && echo "$VERSION_CODENAME")}"
mkdir "$root/try"
cp "${packages[@]}" "$root/try"
cp -r examples "$root/try"
quietly() { logged "$work/log" inside "$1"; }

step "runtime and tool"
quietly 'apt-get update'
quietly 'cd /try && apt-get install -y --no-install-recommends ./libtn-kits[0-9]*.deb ./tarnkit_*.deb'
inside 'tarnkit --version'
version=$(inside 'dpkg-query -W -f "\${Version}" tarnkit')
# Not grep -q, which ends before the tool does and makes the pipe fail.
inside 'tarnkit --version' | grep -x "library tn_kits ${version%-*}" >/dev/null
inside 'cd /try && tarnkit sample walk.mp4 --detections walk.txt --frames 20 >/dev/null &&
  tarnkit run walk.mp4 --detector mot:walk.txt --tracks tracks.txt >/dev/null && test -s tracks.txt'

step "development"
quietly 'cd /try && apt-get install -y --no-install-recommends ./libtn-kits-dev_*.deb g++ cmake make pkg-config'
quietly 'cd /try && cmake -S examples -B cmake && cmake --build cmake && mkdir make && make -C examples OUT=../make'
for built in cmake make; do
  inside "/try/$built/frame_to_tensor" | tee "$work/printed.txt"
  grep -qx 'centre pixel: 0.502 0.502 0.502' "$work/printed.txt"
  inside "/try/$built/track_boxes" | grep '^frame 5: box 2, class' >/dev/null
done

step "removal"
names=$(for package in "${packages[@]}"; do dpkg-deb --field "$package" Package; done | tr '\n' ' ')
files=$(inside "dpkg -L $names" | grep -E 'tn_|tarnkit|tn-kits')
quietly "apt-get purge -y $names"
left=$(for file in $files; do if [ -e "$root$file" ] || [ -L "$root$file" ]; then echo "$file"; fi; done)
left+=$(inside 'ldconfig -p' | grep -E 'libtn_(kits|cnn|core)' || true)
[ -z "$left" ] || { printf 'left behind:\n%s\n' "$left" >&2; exit 1; }
echo "purged without leftovers"
step "done"
