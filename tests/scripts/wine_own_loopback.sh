#!/usr/bin/env bash
# Runs a Windows program under Wine in a network namespace of its own, with
# only its loopback up, like own_loopback.sh does for Linux programs. Wine
# makes its sockets in its server process, so the namespace needs a server of
# its own: it gets a private /tmp, where Wine keeps its servers' folders
# (Debian's Wine notes the folder of the prefix's server in the prefix; the
# folder another namespace's server left there is not seen from here, so a
# new server starts in this namespace).
#   wine_own_loopback.sh WINE PROGRAM ARGS...
set -euo pipefail
exec unshare --net --mount -- sh -c 'ip link set lo up && mount -t tmpfs -o mode=1777 none /tmp && exec "$@"' \
  wine_own_loopback "$@"
