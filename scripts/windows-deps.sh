#!/usr/bin/env bash
# Cross-builds the dependencies of the Windows builds into a cache folder,
# once: bcg729 from Debian's source package, the Boost.Regex 1.81 headers
# (Boost.Regex is header-only since 1.76) and GoogleTest from
# /usr/src/googletest. The system's own packages are left as they are.
#
#   scripts/windows-deps.sh ARCH CACHE      ARCH: i686 or x86_64
#
# Afterwards CACHE/ARCH holds include/, lib/ and a stamp per dependency.
set -euo pipefail
arch="${1:?usage: windows-deps.sh i686|x86_64 CACHE}"
cache="$(mkdir -p "${2:?usage: windows-deps.sh i686|x86_64 CACHE}" && cd "$2" && pwd)"
here="$(cd "$(dirname "$0")/.." && pwd)"
case "$arch" in i686|x86_64) ;; *) echo "unknown architecture: $arch" >&2; exit 2 ;; esac
prefix="$cache/$arch"
toolchain="$here/cmake/toolchain-mingw-$arch.cmake"
mkdir -p "$prefix" "$cache/src"
sudo_cmd=""
[ "$(id -u)" -ne 0 ] && sudo_cmd="sudo"

# Source entries made from the machine's own package sources, so that
# apt-get source finds the same mirror the binaries come from.
enable_sources() {
  local list=/etc/apt/sources.list.d/softphone-deb-src.sources
  [ -e "$list" ] && return 0
  local tmp
  tmp="$(mktemp)"
  if [ -e /etc/apt/sources.list.d/debian.sources ]; then
    sed -E 's/^Types:.*/Types: deb-src/' /etc/apt/sources.list.d/debian.sources >"$tmp"
  elif [ -e /etc/apt/sources.list ]; then
    grep -E '^deb ' /etc/apt/sources.list | sed -E 's/^deb /deb-src /' >"$tmp"
    list=/etc/apt/sources.list.d/softphone-deb-src.list
  else
    echo "no apt sources found to take source entries from" >&2
    return 1
  fi
  $sudo_cmd install -m 644 "$tmp" "$list"
  rm -f "$tmp"
  $sudo_cmd apt-get update -qq
}

if [ ! -e "$prefix/.bcg729" ]; then
  if ! ls "$cache"/src/bcg729_*.orig.tar.* >/dev/null 2>&1; then
    enable_sources
    # Only the upstream tarball is used (apt checks its hash); a mirror
    # that lacks it is reported below.
    (cd "$cache/src" && apt-get source --download-only --tar-only -qq bcg729 2>&1 | grep -v "unsandboxed") || true
  fi
  if ! ls "$cache"/src/bcg729_*.orig.tar.* >/dev/null 2>&1; then
    echo "bcg729's source could not be downloaded" >&2
    exit 1
  fi
  tarball="$(ls "$cache"/src/bcg729_*.orig.tar.* | head -n 1)"
  rm -rf "$cache/src/bcg729-$arch" && mkdir -p "$cache/src/bcg729-$arch"
  tar -xf "$tarball" -C "$cache/src/bcg729-$arch" --strip-components=1
  cmake -S "$cache/src/bcg729-$arch" -B "$cache/src/bcg729-$arch/build" -DCMAKE_TOOLCHAIN_FILE="$toolchain" \
    -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX="$prefix" -DENABLE_SHARED=OFF -DENABLE_STATIC=ON \
    -DBUILD_SHARED_LIBS=OFF -DENABLE_TESTS=OFF >/dev/null
  cmake --build "$cache/src/bcg729-$arch/build" -j2 >/dev/null
  cmake --install "$cache/src/bcg729-$arch/build" >/dev/null
  touch "$prefix/.bcg729"
fi

if [ ! -e "$cache/boost/.regex" ]; then
  rm -rf "$cache/boost" && mkdir -p "$cache/boost"
  (cd "$cache/src" && rm -f libboost1.81-dev_*.deb && apt-get download -qq libboost1.81-dev)
  dpkg -x "$cache"/src/libboost1.81-dev_*.deb "$cache/boost/pkg"
  mv "$cache/boost/pkg/usr/include" "$cache/boost/include"
  rm -rf "$cache/boost/pkg"
  touch "$cache/boost/.regex"
fi

if [ ! -e "$prefix/.googletest" ]; then
  rm -rf "$cache/src/googletest-$arch"
  cmake -S /usr/src/googletest -B "$cache/src/googletest-$arch" -DCMAKE_TOOLCHAIN_FILE="$toolchain" \
    -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX="$prefix" -Dgtest_disable_pthreads=OFF >/dev/null
  cmake --build "$cache/src/googletest-$arch" -j2 >/dev/null
  cmake --install "$cache/src/googletest-$arch" >/dev/null
  touch "$prefix/.googletest"
fi
echo "dependencies for $arch in $prefix (Boost headers in $cache/boost/include)"
