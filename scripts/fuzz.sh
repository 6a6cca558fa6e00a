#!/usr/bin/env bash
# Builds the libFuzzer targets (clang, ASan+UBSan) when needed and runs each
# in turn, from its seeds in fuzz/corpus/<target>/, for a number of inputs or
# a time each:
#
#   scripts/fuzz.sh --runs 10000000            every target, 10 million inputs each
#   scripts/fuzz.sh --seconds 600 mgcp_link_fuzz ptap_link_fuzz
#
# Options: --runs N | --seconds S (default --runs 100000), --jobs N for the
# build, --keep DIR to keep each target's grown corpus and logs in DIR (by
# default they go to a temporary folder that is removed), --nice to run at
# lower priority. Findings (crash-*, leak-*, timeout-*) are written to the
# current folder. The seeds are never changed. Stops at the first target that
# fails; the result is that target's.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
build="$root/build-fuzz"
runs=100000
seconds=""
jobs="$(nproc)"
keep=""
nice_cmd=()
targets=()
while [ $# -gt 0 ]; do
  case "$1" in
    --runs) runs="$2"; seconds=""; shift 2 ;;
    --seconds) seconds="$2"; shift 2 ;;
    --jobs) jobs="$2"; shift 2 ;;
    --keep) keep="$2"; shift 2 ;;
    --nice) nice_cmd=(nice -n 10); shift ;;
    -h|--help) sed -n '2,15p' "$0" | sed 's/^# \{0,1\}//'; exit 0 ;;
    -*) echo "unknown option $1" >&2; exit 2 ;;
    *) targets+=("$1"); shift ;;
  esac
done
if [ ${#targets[@]} -eq 0 ]; then
  for src in "$root"/fuzz/*_fuzz.cpp; do targets+=("$(basename "$src" .cpp)"); done
fi

CC=clang CXX=clang++ cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DSOFTPHONE_FUZZ=ON -DSOFTPHONE_SANITIZE=ON -DSOFTPHONE_TESTS=OFF > /dev/null
cmake --build "$build" -j"$jobs" --target "${targets[@]}"

work="${keep:-$(mktemp -d)}"
[ -n "$keep" ] || trap 'rm -rf "$work"' EXIT
limit=(-runs="$runs")
[ -z "$seconds" ] || limit=(-max_total_time="$seconds")
for name in "${targets[@]}"; do
  corpus="$work/$name"
  mkdir -p "$corpus"
  [ -d "$root/fuzz/corpus/$name" ] && cp -r "$root/fuzz/corpus/$name"/. "$corpus"/
  echo "=== $name (${limit[*]})"
  start=$(date +%s)
  "${nice_cmd[@]}" "$build/fuzz/$name" "${limit[@]}" -max_len=2048 -print_final_stats=1 "$corpus" \
    2> "$work/$name.log" || { tail -n 60 "$work/$name.log"; echo "=== $name FAILED" >&2; exit 1; }
  final=$(grep -E '^#[0-9]+' "$work/$name.log" | tail -n 1)
  echo "    $(( $(date +%s) - start )) s: $final"
done
echo "all fuzz targets ran clean"
