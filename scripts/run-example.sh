#!/usr/bin/env bash
# The main job: build the library, the reference client and the call-server
# simulator, then run a whole call: the client registers with the built-in
# call server, dials, talks to an echo party and prints measured figures.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
bash "$root/scripts/setup-debian.sh"
cmake -S "$root" -B "$root/build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DSOFTPHONE_WERROR=ON
cmake --build "$root/build" -j"$(nproc)" --target softphone softphone_client pbxsim media
# Tone files are found relative to the working directory: build/media/.
cd "$root/build"
./softphone demo "$@"
