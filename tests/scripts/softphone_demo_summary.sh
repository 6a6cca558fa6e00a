#!/usr/bin/env bash
# Runs the reference client's demo (the command given, with its launcher)
# and passes only when the program ends with status 0 and its summary says
# the call worked: registered, dial tone heard, connected, all went well and
# the figures checked.
#   softphone_demo_summary.sh COMMAND ARGS...
set -uo pipefail
output="$("$@" 2>&1)"
status=$?
printf '%s\n' "$output"
for wanted in '^registration +ok,' '^dial tone / call +heard / connected,' '^outcome +all went well' '^CHECK PASSED'; do
  if ! grep -Eq -- "$wanted" <<<"$output"; then
    echo "softphone demo: no summary line matching /$wanted/"
    exit 1
  fi
done
if [ "$status" -ne 0 ]; then
  echo "softphone demo: ended with status $status"
  exit 1
fi
