#!/usr/bin/env bash
# The shared library exports exactly the functions of the export list.
set -euo pipefail
lib="$1"
list="$2"
want=$("$(dirname "$0")/../../scripts/export-names.sh" "$list" | sort)
count=$(echo "$want" | wc -l)
# Functions only: sanitizer builds add their own data symbols, never functions of ours.
have=$(nm -D --defined-only "$lib" | awk '$2 == "T" || $2 == "W" || $2 == "i" {print $3}' | grep -v -E '^(_init|_fini)$' | sort)
if [ "$want" != "$have" ]; then
  echo "export mismatch:"
  diff <(echo "$want") <(echo "$have") || true
  exit 1
fi
echo "$count exports, no other function"
