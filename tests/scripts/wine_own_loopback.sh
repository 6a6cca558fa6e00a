#!/usr/bin/env bash
# Runs a Windows program under Wine in a network namespace of its own, with
# only its loopback up, like own_loopback.sh does for Linux programs. Wine
# makes its sockets in its server process, so the namespace gets a server of
# its own: a private, empty folder where Wine's servers keep their sockets.
#   wine_own_loopback.sh WINE PROGRAM ARGS...
set -euo pipefail
server_dir="/tmp/.wine-$(id -u)"
mkdir -p "$server_dir"
exec unshare --net --mount -- sh -c 'ip link set lo up && mount -t tmpfs -o mode=0700 none "$0" && exec "$@"' \
  "$server_dir" "$@"
