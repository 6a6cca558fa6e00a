#!/usr/bin/env bash
# The public header compiles for a 32-bit target with the 32-bit layout checks,
# from C and from C++, and declares exactly the functions of the export list.
set -euo pipefail
header_dir="$1"
export_list="$2"
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
# Every listed name is a function the header declares...
printf '#include "softphone.h"\n#include "%s"\n#define SP_TAKE(name) (void)&name;\nvoid sp_all(void) { SOFTPHONE_EXPORTS(SP_TAKE) }\n' \
  "$export_list" > "$tmp/h.c"
# ...and the header declares no other.
declared=$(grep -c '^SP_EXPORT ' "$header_dir/softphone.h")
listed=$("$(dirname "$0")/../../scripts/export-names.sh" "$export_list" | wc -l)
if [ "$declared" != "$listed" ]; then
  echo "softphone.h declares $declared exports, the list has $listed"
  exit 1
fi
printf '#include "softphone.h"\nstatic_assert(sizeof(void*) == 4, "32-bit");\n' > "$tmp/h.cpp"
g++ -m32 -std=c++20 -fsyntax-only -Wall -Wextra -Werror -I"$header_dir" "$tmp/h.cpp"
gcc -m32 -std=c11 -fsyntax-only -Wall -Wextra -Werror -I"$header_dir" "$tmp/h.c"
g++ -std=c++20 -fsyntax-only -Wall -Wextra -Werror -I"$header_dir" "$tmp/h.cpp" 2>/dev/null && exit 1 || true
gcc -std=c11 -fsyntax-only -Wall -Wextra -Werror -I"$header_dir" "$tmp/h.c"
echo "header layout holds for 32-bit and 64-bit targets"
