#!/usr/bin/env bash
# The main job: build the library, the reference client and the call-server
# simulator, then run a whole call: the client registers with the built-in
# call server, dials, talks to an echo party and prints measured figures.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
bash "$root/scripts/setup-debian.sh"
cmake -S "$root" -B "$root/build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DSOFTPHONE_WERROR=ON
cmake --build "$root/build" -j"$(nproc)" --target softphone softphone_client pbxsim media
# File options name paths from where the user stands, though the demo runs
# in the build folder.
args=()
while [ "$#" -gt 0 ]; do
  case "$1" in
    --mic|--record|--trace|--library)
      args+=("$1")
      [ "$#" -gt 1 ] && { shift; args+=("$(realpath -m -- "$1")"); }
      ;;
    *) args+=("$1") ;;
  esac
  shift
done
# Tone files are found relative to the working directory: build/media/.
cd "$root/build"
./softphone demo ${args[@]+"${args[@]}"}
