// Exports: sound devices and tones. Each forwards to its object and
// gives the tabled result when the object does not exist.
#include "api/exports_guard.h"
#include "api/globals.h"
#include "common/tracer.h"

extern "C" {

// The tone player is not part of this build: every call finds no object.
SP_EXPORT int ToneModulePlayDTMF(int, int) {
    return -1;
}
SP_EXPORT int ToneModuleGetKeyPadMode(void) {
    return -1;
}
SP_EXPORT int ToneModuleGetProgramMode(void) {
    return -1;
}
SP_EXPORT int ToneModuleSetKeyPadMode(int) {
    return -1;
}
SP_EXPORT int ToneModuleSetProgramMode(int) {
    return -1;
}
SP_EXPORT int ToneModulePlayTone(int, int, int) {
    return -1;
}
SP_EXPORT int ToneModuleSaveCustomTone(int, const sp_wchar_t*) {
    return -1;
}
SP_EXPORT int ToneModuleRemoveCustomTone(int) {
    return -1;
}
SP_EXPORT int ToneModuleGetCustomTone(int, sp_wchar_t**) {
    return -1;
}
SP_EXPORT int ToneModuleSetServiceTonePath(int) {
    return -1;
}
SP_EXPORT int ToneModulePlayServiceTone(int) {
    return -1;
}

}  // extern "C"
