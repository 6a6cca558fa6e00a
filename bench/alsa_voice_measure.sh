#!/usr/bin/env bash
# Voice through the loaded library on the clocked ALSA test device for as
# long as a call: played out byte for byte, with no underrun. It runs the
# end-to-end voice test with a longer first part than the suite's four
# seconds.
#   bench/alsa_voice_measure.sh [build folder] [seconds, default 30]
set -euo pipefail
here="$(cd "$(dirname "$0")" && pwd)"
build="${1:-$here/../build}"
seconds="${2:-30}"
cmake --build "$build" --target e2e_tests asound_module_pcm_clocked >/dev/null
SOFTPHONE_VOICE_SECONDS="$seconds" "$here/../tests/scripts/own_loopback.sh" "$build/tests/e2e_tests" \
  --gtest_filter='AlsaE2E.VoicePlaysOutExactlyAndAStalledClientGivesOneUnderrun'
