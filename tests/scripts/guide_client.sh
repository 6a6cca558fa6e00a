#!/usr/bin/env bash
# The guide's worked example against pbxsim: an outgoing call, an incoming
# call rung from pbxsim's input, and a server that goes away and comes back.
# Every wait is bounded.
set -euo pipefail
build="$1"
cd "$build"
work="$(mktemp -d)"
pbx_pid=""
client_pid=""
cleanup() {
  exec 3>&- 2>/dev/null || true
  [ -n "$client_pid" ] && kill "$client_pid" 2>/dev/null || true
  [ -n "$pbx_pid" ] && kill "$pbx_pid" 2>/dev/null || true
  wait 2>/dev/null || true
  rm -rf "$work"
}
trap cleanup EXIT

# pbxsim reads its commands from a pipe this script holds open.
start_pbx() {
  rm -f "$work/pbx.in"
  mkfifo "$work/pbx.in"
  ./pbxsim < "$work/pbx.in" >> "$work/pbx.log" 2>&1 &
  pbx_pid=$!
  exec 3> "$work/pbx.in"
}

# Waits up to $2 seconds until the client's output holds the text.
wait_for() {
  for _ in $(seq $(($2 * 10))); do
    grep -qF -- "$1" "$work/client.log" && return 0
    kill -0 "$client_pid" 2>/dev/null || break
    sleep 0.1
  done
  echo "no \"$1\" from the client"
  cat "$work/client.log" "$work/pbx.log"
  return 1
}

start_pbx
./guide_client 127.0.0.1 > "$work/client.log" 2>&1 &
client_pid=$!
wait_for "waiting for a call" 30
echo "r alice" >&3
wait_for "ready for a server restart" 30
# The server goes away; the client learns it when the keepalives stop
# (pbxsim's time-out is 30 s), and its first attempt to register again fails.
echo q >&3
exec 3>&-
wait "$pbx_pid"
pbx_pid=""
wait_for "next attempt in" 90
start_pbx
status=0
wait "$client_pid" || status=$?
client_pid=""
cat "$work/client.log"
[ "$status" -eq 0 ] || { echo "the guide client failed ($status)"; cat "$work/pbx.log"; exit 1; }
# Dial tone and ringback of the call, and the dial tone after registering
# again, each reached the sound engine through the tone player.
grep -qE "tones heard through the tone player: [2-9]" "$work/client.log"
grep -qF "ring pattern 1, melody 0, ringing" "$work/client.log"
grep -qF "registered again and working" "$work/client.log"
echo "guide client passed"
