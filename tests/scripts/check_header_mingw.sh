#!/usr/bin/env bash
# A Windows client developer's build against the installed package: the
# public header compiles from C and from C++ with the record layout checks of
# the target's word size (the 32-bit offsets and sizes for i686), and the
# minimal client links against the installed import library.
#   check_header_mingw.sh CC CXX BUILD_DIR MINIMAL_CLIENT_C
set -euo pipefail
cc="$1"
cxx="$2"
build="$3"
client="$4"
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
cmake --install "$build" --prefix "$tmp/prefix" > /dev/null
include="$tmp/prefix/include"
for f in include/softphone.h bin/softphone.dll lib/libsoftphone.dll.a lib/softphone.def; do
  [ -f "$tmp/prefix/$f" ] || { echo "not installed: $f"; exit 1; }
done
printf '#include "softphone.h"\nint main(void) { return (int)sizeof(ParameterContainer); }\n' > "$tmp/h.c"
cp "$tmp/h.c" "$tmp/h.cpp"
"$cc" -std=c11 -fsyntax-only -Wall -Wextra -Werror -I"$include" "$tmp/h.c"
"$cxx" -std=c++20 -fsyntax-only -Wall -Wextra -Werror -I"$include" "$tmp/h.cpp"
"$cc" -std=c11 -Wall -Wextra -Werror -I"$include" -o "$tmp/minimal_client.exe" "$client" \
  "$tmp/prefix/lib/libsoftphone.dll.a" -lws2_32
bits=$((8 * $("$cc" -dM -E - </dev/null | awk '$2 == "__SIZEOF_POINTER__" {print $3}')))
echo "installed header layout holds for a $bits-bit Windows client; the minimal client links against the import library"
