#!/usr/bin/env bash
# Runs a command that takes the engine's fixed ports (9301, 2427, 8000) in a
# network namespace of its own, with only its loopback up, and with a
# settings folder of its own: such commands can then run side by side.
set -euo pipefail
config="$(mktemp -d)"
trap 'rm -rf "$config"' EXIT
status=0
XDG_CONFIG_HOME="$config" unshare --net -- sh -c 'ip link set lo up && exec "$@"' own_loopback "$@" || status=$?
exit "$status"
