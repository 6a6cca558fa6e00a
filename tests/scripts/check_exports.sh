#!/usr/bin/env bash
# The shared library exports exactly the 49 functions of its interface.
set -euo pipefail
lib="$1"
expected="initialize uninitialize put_key make_call send_error open_voice close_voice send_voice recv_voice
set_alaw AudioModuleStart AudioModuleShutdown AudioModulePlayVoice AudioModuleRecordStart
AudioModuleRegisterCallback AudioModuleGetInDevice AudioModuleGetOutDevice AudioModuleSetDevice
AudioModulePlayFile AudioModuleStopPlayFile AudioModuleSetSpeakerVolume AudioModuleSetRingVolume
AudioModuleSetMicVolume AudioModuleGetEngineStatus AudioModuleGetDeviceID AudioModuleSetWindowHandle
AudioModulePlayTone AudioModuleStopPlayTone ToneModulePlayDTMF ToneModuleGetKeyPadMode
ToneModuleGetProgramMode ToneModuleSetKeyPadMode ToneModuleSetProgramMode ToneModulePlayTone
ToneModuleSaveCustomTone ToneModuleRemoveCustomTone ToneModuleGetCustomTone ToneModuleSetServiceTonePath
ToneModulePlayServiceTone tracer_startup tracer_add_filter tracer_remove_filter tracer_set_filter
set_module_variable get_module_variable check_leading check_added get_formatted_number discard_changes"
want=$(echo $expected | tr ' ' '\n' | sort)
# Functions only: sanitizer builds add their own data symbols, never functions of ours.
have=$(nm -D --defined-only "$lib" | awk '$2 == "T" || $2 == "W" || $2 == "i" {print $3}' | grep -v -E '^(_init|_fini)$' | sort)
if [ "$want" != "$have" ]; then
  echo "export mismatch:"
  diff <(echo "$want") <(echo "$have") || true
  exit 1
fi
echo "49 exports, no other function"
