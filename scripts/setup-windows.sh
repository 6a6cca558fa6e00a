#!/usr/bin/env bash
# Installs what the Windows builds need on a Debian 12 machine, only where it
# is missing: the mingw-w64 cross compilers (i686 and x86_64) and Wine to run
# what they build. 32-bit Wine needs the i386 architecture; when it can't be
# installed the 32-bit tests are skipped with a note, the rest goes on.
set -euo pipefail
sudo_cmd=""
[ "$(id -u)" -ne 0 ] && sudo_cmd="sudo"
bash "$(dirname "$0")/install-missing.sh" --no-install-recommends mingw-w64 wine64 dpkg-dev

# mingw-w64 ships each compiler with two thread models; the engines use
# std::thread and std::mutex, which need the posix one.
for arch in i686 x86_64; do
  for tool in gcc g++; do
    alt="/usr/bin/${arch}-w64-mingw32-${tool}-posix"
    [ -x "$alt" ] && $sudo_cmd update-alternatives --set "${arch}-w64-mingw32-${tool}" "$alt" >/dev/null
  done
done

# 32-bit Wine: best effort, and only when asked (SOFTPHONE_WINE32=1), as
# adding the i386 architecture changes the whole machine's package lists.
# Where wine32 can't be installed the architecture is taken away again, so
# that later updates don't fail on its indexes.
if [ "${SOFTPHONE_WINE32:-0}" = 1 ] && ! dpkg-query -W -f='${Status}' wine32 2>/dev/null | grep -q "install ok installed"; then
  added=0
  if ! dpkg --print-foreign-architectures | grep -qx i386; then
    $sudo_cmd dpkg --add-architecture i386
    added=1
  fi
  if ! { $sudo_cmd apt-get update -qq &&
         DEBIAN_FRONTEND=noninteractive $sudo_cmd apt-get install -y -qq --no-install-recommends wine32; }; then
    echo "note: wine32 could not be installed; the 32-bit Windows tests will be skipped"
    if [ "$added" = 1 ]; then
      $sudo_cmd dpkg --remove-architecture i386
      $sudo_cmd apt-get update -qq || true
    fi
  fi
fi
