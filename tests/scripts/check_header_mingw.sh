#!/usr/bin/env bash
# The public header compiles for a Windows client, from C and from C++, with
# the record layout checks of the target's word size (the 32-bit offsets and
# sizes for i686).
#   check_header_mingw.sh CC CXX INCLUDE_DIR
set -euo pipefail
cc="$1"
cxx="$2"
include="$3"
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
printf '#include "softphone.h"\nint main(void) { return (int)sizeof(ParameterContainer); }\n' > "$tmp/h.c"
cp "$tmp/h.c" "$tmp/h.cpp"
"$cc" -std=c11 -fsyntax-only -Wall -Wextra -Werror -I"$include" "$tmp/h.c"
"$cxx" -std=c++20 -fsyntax-only -Wall -Wextra -Werror -I"$include" "$tmp/h.cpp"
bits=$((8 * $("$cc" -dM -E - </dev/null | awk '$2 == "__SIZEOF_POINTER__" {print $3}')))
echo "header layout holds for a $bits-bit Windows client"
