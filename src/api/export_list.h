// The library's whole public surface, listed once: the 49 exports in the
// order of softphone.h. The version script, the export check, the loaders
// and the header check all take their names from here.
#pragma once

// The macro takes one argument, applied to each export name.
#define SOFTPHONE_EXPORTS(X) \
    X(initialize) \
    X(uninitialize) \
    X(put_key) \
    X(make_call) \
    X(send_error) \
    X(open_voice) \
    X(close_voice) \
    X(send_voice) \
    X(recv_voice) \
    X(set_alaw) \
    X(AudioModuleStart) \
    X(AudioModuleShutdown) \
    X(AudioModulePlayVoice) \
    X(AudioModuleRecordStart) \
    X(AudioModuleRegisterCallback) \
    X(AudioModuleGetInDevice) \
    X(AudioModuleGetOutDevice) \
    X(AudioModuleSetDevice) \
    X(AudioModulePlayFile) \
    X(AudioModuleStopPlayFile) \
    X(AudioModuleSetSpeakerVolume) \
    X(AudioModuleSetRingVolume) \
    X(AudioModuleSetMicVolume) \
    X(AudioModuleGetEngineStatus) \
    X(AudioModuleGetDeviceID) \
    X(AudioModuleSetWindowHandle) \
    X(AudioModulePlayTone) \
    X(AudioModuleStopPlayTone) \
    X(ToneModulePlayDTMF) \
    X(ToneModuleGetKeyPadMode) \
    X(ToneModuleGetProgramMode) \
    X(ToneModuleSetKeyPadMode) \
    X(ToneModuleSetProgramMode) \
    X(ToneModulePlayTone) \
    X(ToneModuleSaveCustomTone) \
    X(ToneModuleRemoveCustomTone) \
    X(ToneModuleGetCustomTone) \
    X(ToneModuleSetServiceTonePath) \
    X(ToneModulePlayServiceTone) \
    X(tracer_startup) \
    X(tracer_add_filter) \
    X(tracer_remove_filter) \
    X(tracer_set_filter) \
    X(set_module_variable) \
    X(get_module_variable) \
    X(check_leading) \
    X(check_added) \
    X(get_formatted_number) \
    X(discard_changes)

#define SOFTPHONE_EXPORT_COUNT 49
