#!/usr/bin/env bash
# Builds and runs every test: the normal build; the Windows builds, whose
# suite runs under Wine (scripts/run-windows-tests.sh); ASan+UBSan and TSan
# builds of the whole suite; then a short run of each fuzz target over its
# corpus.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
jobs="$(nproc)"
# Most end-to-end tests spend their time waiting on the network and on the
# protocols' timers, so twice as many tests as cores run at once.
test_jobs=$((2 * jobs))
bash "$root/scripts/setup-debian.sh"

run_suite() {  # build dir, extra cmake options...
  local dir="$1"; shift
  cmake -S "$root" -B "$dir" -DSOFTPHONE_WERROR=ON "$@"
  cmake --build "$dir" -j"$jobs"
  (cd "$dir" && ctest -j"$test_jobs" --output-on-failure --timeout 600)
}

echo "=== tests"
run_suite "$root/build-test" -DCMAKE_BUILD_TYPE=RelWithDebInfo
echo "=== Windows: softphone.dll for x86_64 and i686, the suite under Wine"
SOFTPHONE_HOST_BUILD="$root/build-test" bash "$root/scripts/run-windows-tests.sh"
echo "=== tests under AddressSanitizer and UndefinedBehaviorSanitizer"
ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
  run_suite "$root/build-asan" -DCMAKE_BUILD_TYPE=Debug -DSOFTPHONE_SANITIZE=ON
echo "=== tests under ThreadSanitizer"
TSAN_OPTIONS="halt_on_error=1 second_deadlock_stack=1" \
  run_suite "$root/build-tsan" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DSOFTPHONE_TSAN=ON

if compgen -G "$root/fuzz/*_fuzz.cpp" > /dev/null; then
  echo "=== fuzz targets over their corpus"
  CC=clang CXX=clang++ cmake -S "$root" -B "$root/build-fuzz" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DSOFTPHONE_FUZZ=ON -DSOFTPHONE_SANITIZE=ON -DSOFTPHONE_TESTS=OFF
  # Only the fuzz programs: they link the static library, and a sanitized
  # shared library can't be linked by clang without its runtime.
  targets=()
  for src in "$root"/fuzz/*_fuzz.cpp; do targets+=("$(basename "$src" .cpp)"); done
  cmake --build "$root/build-fuzz" -j"$jobs" --target "${targets[@]}"
  for src in "$root"/fuzz/*_fuzz.cpp; do
    name="$(basename "$src" .cpp)"
    corpus="$root/fuzz/corpus/$name"
    work="$(mktemp -d)"
    [ -d "$corpus" ] && cp -r "$corpus"/. "$work"/
    # The engine targets run a few hundred to a thousand inputs a second:
    # fewer of them keep each under a minute.
    runs=50000
    case "$name" in
      mgcp_link_fuzz|ptap_link_fuzz|rtp_receive_fuzz) runs=20000 ;;
      # Device opens wait in 10 ms rounds: about 170 inputs a second.
      exports_fuzz) runs=8000 ;;
    esac
    "$root/build-fuzz/fuzz/$name" -runs="$runs" -max_len=2048 "$work"
    rm -rf "$work"
  done
fi
echo "all test stages passed"
