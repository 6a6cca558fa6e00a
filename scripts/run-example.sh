#!/usr/bin/env bash
# The main job: build the library and run the example client, which loads
# it, starts the trace, registers against the simulated call server on
# loopback and prints where start-up stands.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
bash "$root/scripts/setup-debian.sh"
cmake -S "$root" -B "$root/build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DSOFTPHONE_WERROR=ON
cmake --build "$root/build" -j"$(nproc)" --target softphone example_client
cd "$root/build"
./apps/example_client "$root/build/libsoftphone.so" "$root/build/example-trace.log"
