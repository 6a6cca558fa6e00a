#!/usr/bin/env bash
# Builds softphone.dll and the unit tests for 64-bit and 32-bit Windows with
# mingw-w64 and runs them under Wine: x86_64 under wine64; i686 under wine32
# where it is installed, else it says in one line that the 32-bit run was
# skipped and why. Each architecture's build is in build-win64 / build-win32.
#
#   scripts/run-windows-tests.sh [x86_64] [i686]     (both by default)
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
jobs="$(nproc)"
archs=("$@")
[ ${#archs[@]} -eq 0 ] && archs=(x86_64 i686)
bash "$root/scripts/setup-windows.sh"

# Wine's own files live apart from the user's, made afresh on first use.
export WINEPREFIX="${WINEPREFIX:-$root/build-wine/prefix}"
export WINEDEBUG="${WINEDEBUG:--all}"
mkdir -p "$(dirname "$WINEPREFIX")"

wine_for() {  # the loader for an architecture, or nothing
  case "$1" in
    x86_64) for w in /usr/lib/wine/wine64 "$(command -v wine64 || true)"; do [ -x "$w" ] && { echo "$w"; return; }; done ;;
    i686) for w in /usr/lib/wine/wine "$(command -v wine || true)"; do
            [ -x "$w" ] && [ -e /usr/lib/i386-linux-gnu/wine ] && { echo "$w"; return; }; done ;;
  esac
  return 0
}

# The Windows build of the minimal client calls pbxsim running natively:
# the Linux build's (the README's test command has built it by now), else
# built here on its own.
host="${SOFTPHONE_HOST_BUILD:-$root/build-test}"
if [ ! -x "$host/pbxsim" ]; then
  cmake -S "$root" -B "$host" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DSOFTPHONE_WERROR=ON > /dev/null
  cmake --build "$host" -j"$jobs" --target pbxsim
fi

status=0
for arch in "${archs[@]}"; do
  dir="$root/build-win$([ "$arch" = i686 ] && echo 32 || echo 64)"
  loader="$(wine_for "$arch")"
  echo "=== Windows $arch"
  cmake -S "$root" -B "$dir" -DCMAKE_TOOLCHAIN_FILE="$root/cmake/toolchain-mingw-$arch.cmake" \
    -DCMAKE_BUILD_TYPE=RelWithDebInfo -DSOFTPHONE_WERROR=ON -DCMAKE_CROSSCOMPILING_EMULATOR="$loader" \
    -DSOFTPHONE_HOST_PBXSIM="$host/pbxsim"
  if [ -z "$loader" ]; then
    # Without a Wine to run them the tests are not built: the DLL, its
    # exports, the header's layout and the example client are.
    cmake --build "$dir" -j"$jobs" --target softphone minimal_client
    echo "SKIPPED: the $arch tests did not run: no Wine for $arch is installed (SOFTPHONE_WINE32=1 scripts/setup-windows.sh tries to install wine32)"
    (cd "$dir" && ctest --output-on-failure -R '^(exported_symbols|header_layout)$') || status=1
    continue
  fi
  cmake --build "$dir" -j"$jobs"
  "$loader" wineboot -i >/dev/null 2>&1 || true
  (cd "$dir" && ctest -j"$jobs" --output-on-failure --timeout 600) || status=1
done
exit $status
