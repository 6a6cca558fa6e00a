#!/usr/bin/env bash
# The API reference builds with no Doxygen warning (an undocumented export,
# record field or parameter fails it), and every enumerator and constant of
# the public header carries a doc comment, which Doxygen does not check.
set -euo pipefail
header="$1"
doxyfile="$2"
out="$(mktemp -d)"
trap 'rm -rf "$out"' EXIT
(cat "$doxyfile"; echo "OUTPUT_DIRECTORY = $out") | doxygen - > "$out/log" 2>&1 || {
  cat "$out/log"
  exit 1
}
[ -f "$out/html/index.html" ] || { echo "no HTML written"; exit 1; }
# An enumerator or #define constant is documented by a trailing /**< ... */
# or by a /** ... */ comment that ends on the line before it.
awk '
  /^[ \t]*\/\*\*/ { incomment = 1 }
  incomment && /\*\// { incomment = 0; documented = NR; next }
  incomment { next }
  /^[ \t]*SP_[A-Z0-9_]+ = / || /^#define SP_[A-Z0-9_]+ / {
    if ($0 !~ /\/\*\*</ && documented != NR - 1) { print FILENAME ":" NR ": undocumented: " $0; bad = 1 }
  }
  END { exit bad }
' "$header"
echo "API reference built with no warning; every constant documented"
