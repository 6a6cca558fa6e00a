#!/usr/bin/env bash
# Lines of code and of tests (non-blank, non-comment), and their ratio.
# Code: src/ sim/ apps/ include/ tools/; tests: tests/ fuzz/.
set -euo pipefail
cd "$(dirname "$0")/.."
count() {
  local dirs=()
  for d in "$@"; do [ -d "$d" ] && dirs+=("$d"); done
  find "${dirs[@]}" -type f \( -name '*.cpp' -o -name '*.h' -o -name '*.c' -o -name '*.sh' \) -print0 |
    xargs -0 cat | sed -E 's#^\s*//.*$##; s#^\s*\*.*$##; s#^\s*/\*.*$##; s#^\s*\#[^a-z].*$##' | grep -cv '^\s*$'
}
code=$(count src sim apps include tools)
tests=$(count tests fuzz)
echo "code $code, tests $tests, ratio $(awk -v t="$tests" -v c="$code" 'BEGIN { printf "%.2f", t / c }')"
