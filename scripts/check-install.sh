#!/usr/bin/env bash
# Installs the build under a scratch prefix and checks what a client
# developer gets: the header, the library, the API reference and the guide,
# the tone files, pbxsim and the reference client, and the examples. Builds
# the minimal C client twice, with pkg-config (whose run path lets it start
# without LD_LIBRARY_PATH) and with find_package, and the guide's example
# with pkg-config; then runs the installed reference client's demo from the
# installed media folder, which needs the fixed ports (run it in a network
# namespace of its own).
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
build="${1:?usage: check-install.sh BUILD_DIR}"
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
prefix="$work/prefix"
cmake --install "$build" --prefix "$prefix" > /dev/null
libdir="$(dirname "$(find "$prefix" -name 'libsoftphone.so' | head -1)")"
export PKG_CONFIG_PATH="$libdir/pkgconfig"
media="$(pkg-config --variable=mediadir softphone)"
docs="$prefix/share/doc/softphone"
for f in "$prefix/include/softphone.h" "$docs/html/index.html" "$docs/client-guide.md" \
  "$docs/examples/guide_client.c" "$docs/examples/minimal_client.c" "$media/Tone_1.wav" \
  "$media/DTMF/Tone_DTMF5.wav" "$media/Area1/Progress_90.wav"; do
  [ -f "$f" ] || { echo "not installed: ${f#$prefix/}"; exit 1; }
done
for p in pbxsim softphone; do
  [ -x "$prefix/bin/$p" ] || { echo "not installed: bin/$p"; exit 1; }
done

# pkg-config, with no LD_LIBRARY_PATH at run time
cc -std=c11 -Wall -Wextra -Werror -o "$work/pc_client" "$docs/examples/minimal_client.c" \
  $(pkg-config --cflags --libs softphone)
cc -std=c11 -Wall -Wextra -Werror -o "$work/guide_client" "$docs/examples/guide_client.c" \
  $(pkg-config --cflags --libs softphone) -lpthread -lm
# find_package
cmake -S "$docs/examples" -B "$work/cmake_build" -DCMAKE_PREFIX_PATH="$prefix" > /dev/null
cmake --build "$work/cmake_build" > /dev/null

cd "$work"
./pc_client
./cmake_build/minimal_client
readelf -d "$libdir/libsoftphone.so" | grep -q 'SONAME.*libsoftphone.so.1'
# The installed reference client finds the installed library and, started
# beside media/, plays its tones from there.
(cd "$media/.." && "$prefix/bin/softphone" demo --check --record "$work/heard.wav" --trace "$work/trace.log" > "$work/demo.log") ||
  { cat "$work/demo.log"; exit 1; }
grep -qF "loaded $prefix/bin/../" "$work/demo.log" || { cat "$work/demo.log"; exit 1; }
echo "installed: header, library, reference, guide, media, pbxsim, softphone, examples; clients built and run"
