#!/usr/bin/env bash
# The interactive client under tmux against pbxsim: off hook, three digits
# seen on the display, on hook. Every wait is bounded.
set -euo pipefail
build="$1"
session="softphone-test-$$"
cd "$build"
# A tmux server of its own, so that the panes start here (in this network
# namespace, with this environment), not in a server already running.
tmux() { command tmux -L "$session" "$@"; }
trap 'tmux kill-server 2>/dev/null || true' EXIT

# Waits up to 10 s until the client's pane shows the text.
wait_for() {
  for _ in $(seq 100); do
    if tmux capture-pane -p -t "$session:0.1" | grep -qF -- "$1"; then return 0; fi
    sleep 0.1
  done
  echo "timed out waiting for: $1"
  tmux capture-pane -p -t "$session:0.1"
  return 1
}

tmux new-session -d -s "$session" -x 100 -y 40 "./pbxsim --inter-digit 60000"
tmux split-window -t "$session:0" "./softphone --server 127.0.0.1 --mac 0011223344ff --trace softphone-interactive-trace.log"
wait_for "registered with 127.0.0.1"
tmux send-keys -t "$session:0.1" h
wait_for "Dial a number"
tmux send-keys -t "$session:0.1" 1 2 3
wait_for "| 123 "
tmux send-keys -t "$session:0.1" h
wait_for "display cleared"
tmux send-keys -t "$session:0.1" q
for _ in $(seq 50); do
  tmux list-panes -t "$session:0" 2>/dev/null | grep -q '^1:' || break
  sleep 0.1
done
! tmux list-panes -t "$session:0" 2>/dev/null | grep -q '^1:' || { echo "the client did not quit"; exit 1; }
echo "interactive call passed"
