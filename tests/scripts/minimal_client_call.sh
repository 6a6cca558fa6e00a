#!/usr/bin/env bash
# The minimal C client against pbxsim on loopback: it registers, goes off
# hook, dials 2001 and hangs up; pbxsim's log must show each step. The client
# may be a Windows build, started through Wine, against the native pbxsim.
#   minimal_client_call.sh PBXSIM CLIENT [LAUNCHER...]
# Run it in a network namespace of its own (the fixed ports).
set -euo pipefail
pbxsim="$1"
client="$2"
shift 2
work="$(mktemp -d)"
pbx_pid=""
cleanup() {
  [ -n "$pbx_pid" ] && kill "$pbx_pid" 2>/dev/null || true
  wait 2>/dev/null || true
  rm -rf "$work"
}
trap cleanup EXIT

"$pbxsim" < /dev/null > "$work/pbx.log" 2>&1 &
pbx_pid=$!
# The client is bounded: registration gives up within 20 s, the call takes 4.
(cd "$work" && timeout 60 "$@" "$client" 127.0.0.1 > "$work/client.log" 2>&1) || {
  echo "the client failed"; cat "$work/client.log" "$work/pbx.log" "$work/minimal_client.log"; exit 1; }
for step in "registered (RSIP)" "off hook: dial tone" "calling 2001: ringback" "on hook: call released"; do
  grep -qF -- "$step" "$work/pbx.log" || {
    echo "pbxsim never logged \"$step\""; cat "$work/client.log" "$work/pbx.log" "$work/minimal_client.log"; exit 1; }
done
grep -qF "initialize: 0" "$work/client.log" || { cat "$work/client.log"; exit 1; }
cat "$work/client.log"
echo "minimal client: registered, off hook, dialled 2001, hung up"
