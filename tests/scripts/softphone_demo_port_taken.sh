#!/usr/bin/env bash
# The demo with its RTP port held by another program: the call connects,
# but no voice moves; the trace names the port, and the demo says what
# failed and exits non-zero.
set -euo pipefail
build="$1"
cd "$build"
python3 -c 'import socket, sys, time
s = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
s.bind(("0.0.0.0", 8000))
print("held", flush=True)
time.sleep(60)' > port-holder.out &
holder=$!
trap 'kill $holder 2>/dev/null || true' EXIT
for _ in $(seq 50); do grep -q held port-holder.out 2>/dev/null && break; sleep 0.1; done
grep -q held port-holder.out || { echo "could not hold port 8000"; exit 1; }
status=0
./softphone demo --trace softphone-port-trace.log --record softphone-port-heard.wav > softphone-port.out 2>&1 || status=$?
sed -n '/---- summary ----/,$p' softphone-port.out
[ "$status" -ne 0 ] || { echo "the demo exited 0 with its RTP port held"; exit 1; }
grep -q "^FAILED .*no voice reached the server" softphone-port.out || { echo "the summary does not say no voice moved"; exit 1; }
grep -qF "RTP port 8000 can't be opened" softphone-port-trace.log || { echo "no trace line names the port"; exit 1; }
echo "port taken: said so"
