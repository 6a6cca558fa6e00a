#!/usr/bin/env bash
# Installs the built library under a scratch prefix and builds the minimal C
# client against it twice, with pkg-config and with find_package, then runs
# both builds.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
build="${1:?usage: check-install.sh BUILD_DIR}"
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
cmake --install "$build" --prefix "$work/prefix" > /dev/null
libdir="$(dirname "$(find "$work/prefix" -name 'libsoftphone.so' | head -1)")"

# pkg-config
PKG_CONFIG_PATH="$libdir/pkgconfig" cc -std=c11 -Wall -Wextra -Werror -o "$work/pc_client" \
  "$root/examples/minimal_client.c" $(PKG_CONFIG_PATH="$libdir/pkgconfig" pkg-config --cflags --libs softphone)
# find_package
cmake -S "$root/examples" -B "$work/cmake_build" -DCMAKE_PREFIX_PATH="$work/prefix" > /dev/null
cmake --build "$work/cmake_build" > /dev/null

cd "$work"
LD_LIBRARY_PATH="$libdir" ./pc_client
LD_LIBRARY_PATH="$libdir" ./cmake_build/minimal_client
readelf -d "$libdir/libsoftphone.so" | grep -q 'SONAME.*libsoftphone.so.1'
echo "minimal client built with pkg-config and with find_package; SONAME libsoftphone.so.1"
