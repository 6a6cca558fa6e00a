#!/usr/bin/env bash
# The public header compiles for a 32-bit target with the 32-bit layout checks,
# from C and from C++.
set -euo pipefail
header_dir="$1"
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
printf '#include "softphone.h"\n' > "$tmp/h.c"
printf '#include "softphone.h"\nstatic_assert(sizeof(void*) == 4, "32-bit");\n' > "$tmp/h.cpp"
g++ -m32 -std=c++20 -fsyntax-only -Wall -Wextra -Werror -I"$header_dir" "$tmp/h.cpp"
gcc -m32 -std=c11 -fsyntax-only -Wall -Wextra -Werror -I"$header_dir" "$tmp/h.c"
g++ -std=c++20 -fsyntax-only -Wall -Wextra -Werror -I"$header_dir" "$tmp/h.cpp" 2>/dev/null && exit 1 || true
gcc -std=c11 -fsyntax-only -Wall -Wextra -Werror -I"$header_dir" "$tmp/h.c"
echo "header layout holds for 32-bit and 64-bit targets"
