# Sourced after common.sh by the scripts that try the project in a fresh Debian root: makes one, runs commands in it,
# takes it away. Needs root, and a Debian mirror to make one (MIRROR, default http://deb.debian.org/debian).
# $root is its folder.
[ "$(id -u)" -eq 0 ] || { echo "scripts/$(basename "$0"): only root can enter another root" >&2; exit 1; }

# open_root FOLDER SUITE: a root of that release in FOLDER; one that is there already is used again.
open_root() {
  mkdir -p "$1"
  root=$(cd "$1" && pwd -P)
  [ "$root" != / ] || refuse "/ is this machine's own root"
  if [ ! -e "$root/etc/fresh-root" ]; then
    scripts/setup.sh package
    [ -z "$(ls -A "$root")" ] || refuse "$root is neither empty nor a root that was finished"
    # Older systems do not know newer releases by name, but all are made in the same way.
    local known=/usr/share/debootstrap/scripts/$2 how=()
    [ -e "$known" ] || how=(/usr/share/debootstrap/scripts/sid)
    logged "$root.log" debootstrap --variant=minbase "$2" "$root" "${MIRROR:-http://deb.debian.org/debian}" "${how[@]}"
    # A fresh root must start no services, which a chroot has no business with.
    printf '#!/bin/sh\nexit 101\n' >"$root/usr/sbin/policy-rc.d"
    chmod +x "$root/usr/sbin/policy-rc.d"
    echo "$2" >"$root/etc/fresh-root"
  fi
  [ "$(cat "$root/etc/fresh-root")" = "$2" ] || refuse "$root is of $(cat "$root/etc/fresh-root"), not of $2"
  mountpoint -q "$root/proc" || mount -t proc proc "$root/proc"
}

# close_root: ends what still runs in the root and takes off what is mounted there. Fails where something stays.
close_root() {
  local process folder
  # Never this machine's own processes and mounts.
  [ -e "${root:-/nowhere}/etc/fresh-root" ] && [ "$root" != / ] || return 0
  for process in /proc/[0-9]*; do
    [ "$(readlink "$process/root")" != "$root" ] || kill -KILL "${process#/proc/}" 2>/dev/null || true
  done
  while folder=$(awk -v inside="$root/" 'index($2, inside) == 1 { last = $2 } END { print last }' /proc/self/mounts) &&
    [ -n "$folder" ]; do
    umount "$folder" || return 1
  done
}

# remove_root: with its log. Never deletes through a mount that did not come off.
remove_root() { close_root && rm -rf --one-file-system "$root" "$root.log"; }

# inside COMMAND: runs a line of shell in the root, which sees nothing of this machine's environment but the project's
# own settings.
inside() {
  local name settings=()
  for name in "${!TN_@}"; do settings+=("$name=${!name}"); done
  chroot "$root" /usr/bin/env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LC_ALL=C.UTF-8 \
    DEBIAN_FRONTEND=noninteractive "${settings[@]}" sh -euc "$1"
}
