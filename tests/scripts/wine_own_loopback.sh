#!/usr/bin/env bash
# Runs a Windows program under Wine in a network namespace of its own, with
# only its loopback up, like own_loopback.sh does for Linux programs. Wine
# makes its sockets in its server process, so the namespace gets a server of
# its own, found where no Wine outside looks: a private, empty folder where
# Wine's servers keep their sockets (/tmp/.wine-UID), and, for a Wine that
# keeps them in a folder under TMPDIR named in the prefix's "wineserver"
# file, a private TMPDIR and a private copy of that file over the prefix's,
# naming a folder made there. Without the latter, a second namespace would
# find the first one's server through the shared prefix and make its sockets
# in the first one's network.
#   wine_own_loopback.sh WINE PROGRAM ARGS...
set -euo pipefail
server_dir="/tmp/.wine-$(id -u)"
prefix="${WINEPREFIX:-$HOME/.wine}"
mkdir -p "$server_dir" "$prefix"
[ -e "$prefix/wineserver" ] || : > "$prefix/wineserver"
exec unshare --net --mount -- sh -c '
  set -e
  ip link set lo up
  mount -t tmpfs -o mode=0700 none "$0"
  mkdir -m 0700 "$0/tmp" "$0/tmp/wine-netns"
  printf wine-netns > "$0/wineserver"
  chmod 0400 "$0/wineserver"  # as Wine writes it; it takes no other
  mount --bind "$0/wineserver" "$1/wineserver"
  export TMPDIR="$0/tmp"
  shift
  exec "$@"' "$server_dir" "$prefix" "$@"
