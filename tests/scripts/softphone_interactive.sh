#!/usr/bin/env bash
# The interactive client under tmux against pbxsim: a whole call (off hook,
# digits on the display, ringback, connected, on hook) after which the
# server counts no voice sent while the terminal was not to send; an
# incoming call answered with the line key, the lamp following; then the
# server stops, the client says the link is lost, and once the server runs
# again the client is registered again with no key pressed. Every wait is
# bounded.
set -euo pipefail
build="$1"
session="softphone-test-$$"
cd "$build"
# A tmux server of its own, so that the panes start here (in this network
# namespace, with this environment), not in a server already running.
tmux() { command tmux -L "$session" "$@"; }
trap 'tmux kill-server 2>/dev/null || true' EXIT

pane_text() { tmux capture-pane -p -S -300 -t "$session:0.$1"; }
# Waits up to $3 s (10 unless given) until pane $1 shows the text $2.
wait_for() {
  for _ in $(seq $((${3:-10} * 10))); do
    if pane_text "$1" | grep -qF -- "$2"; then return 0; fi
    sleep 0.1
  done
  echo "timed out waiting for: $2"
  pane_text "$1"
  return 1
}
# The server's output since its last start.
server_run() { pane_text 0 | awk '/^=== pbxsim started/ { text = "" } { text = text $0 "\n" } END { printf "%s", text }'; }

# The server restarts when it ends, after a pause while it is told to
# pause; a keepalive time-out of 3 s makes a lost link show within 4 s.
tmux new-session -d -s "$session" -x 250 -y 50 \
  "while :; do echo '=== pbxsim started'; ./pbxsim --inter-digit 60000 --keepalive 3; [ -e pause ] && sleep 6; done"
rm -f pause
tmux split-window -t "$session:0" "./softphone --server 127.0.0.1 --mac 0011223344ff --trace softphone-interactive-trace.log"
wait_for 1 "registered with 127.0.0.1"
tmux send-keys -t "$session:0.1" h
wait_for 1 "Dial a number"
tmux send-keys -t "$session:0.1" 1 2 3
wait_for 1 "| 123 "
tmux send-keys -t "$session:0.1" '#'
wait_for 1 "media: receive only"
wait_for 1 "media: send and receive"
wait_for 1 "lamp 0xC00: green"
tmux send-keys -t "$session:0.1" h
wait_for 1 "display cleared"
sleep 0.3  # what the terminal might still send would come within this
tmux send-keys -t "$session:0.0" c Enter
wait_for 0 "received while the terminal was not to send"
counts="$(pane_text 0 | grep -F "received while the terminal was not to send" | tail -1)"
echo "$counts"
[[ "$counts" =~ received\ ([0-9]+),.*not\ to\ send\ ([0-9]+) ]] || { echo "no counts"; exit 1; }
[ "${BASH_REMATCH[1]}" -gt 0 ] || { echo "no voice went up during the call"; exit 1; }
[ "${BASH_REMATCH[2]}" -eq 0 ] || { echo "voice went up while the terminal was not to send"; exit 1; }

# An incoming call, answered with the line key: the lamp follows the
# server from flashing red to green, and goes off at on hook.
tmux send-keys -t "$session:0.0" 'r Alice' Enter
wait_for 1 "RING (incoming call)"
wait_for 1 "0C00=red 3i"
tmux send-keys -t "$session:0.1" l
wait_for 1 "0C00=green"
wait_for 1 "call: connected"
tmux send-keys -t "$session:0.1" h
wait_for 1 "0C00=off"

# The server goes away for 6 s: the client says so and registers again on
# its own once the server is back.
touch pause
tmux send-keys -t "$session:0.0" q Enter
wait_for 1 "LINK LOST" 10
for _ in $(seq 100); do
  [ "$(pane_text 0 | grep -c '^=== pbxsim started')" -ge 2 ] && break
  sleep 0.1
done
[ "$(pane_text 0 | grep -c '^=== pbxsim started')" -ge 2 ] || { echo "the server did not start again"; exit 1; }
started=$(date +%s)
for _ in $(seq 300); do
  if server_run | grep -qF "registered (RSIP)" && pane_text 1 | grep -qF "registered with 127.0.0.1"; then break; fi
  sleep 0.1
done
server_run | grep -qF "registered (RSIP)" || { echo "not registered again within 30 s"; pane_text 1; exit 1; }
echo "registered again $(($(date +%s) - started)) s after the server came back"
rm -f pause

tmux send-keys -t "$session:0.1" q
for _ in $(seq 50); do
  tmux list-panes -t "$session:0" 2>/dev/null | grep -q '^1:' || break
  sleep 0.1
done
! tmux list-panes -t "$session:0" 2>/dev/null | grep -q '^1:' || { echo "the client did not quit"; exit 1; }
echo "interactive call passed"
