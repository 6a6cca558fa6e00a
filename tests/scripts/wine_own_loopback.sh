#!/usr/bin/env bash
# Runs a Windows program under Wine in a network namespace of its own, with
# only its loopback up, like own_loopback.sh does for Linux programs. Wine
# makes its sockets in its server process, so the namespace needs a server of
# its own. Debian's Wine keeps its server's folder in /run/user/UID where that
# exists, else in /tmp under a name it notes in the prefix, where a run in
# another namespace would find a server that is not in this one: the
# namespace gets a private, empty /run/user/UID.
#   wine_own_loopback.sh WINE PROGRAM ARGS...
set -euo pipefail
mkdir -p /run/user
exec unshare --net --mount -- sh -c 'ip link set lo up && mount -t tmpfs -o mode=0755 none /run/user &&
  mkdir -m 0700 "/run/user/$(id -u)" && exec "$@"' wine_own_loopback "$@"
