// Exports: sound devices. Each forwards to its object and
// gives the tabled result when the object does not exist.
#include "api/exports_guard.h"
#include "api/globals.h"
#include "common/tracer.h"

extern "C" {

// The sound engine is not part of this build: it can't be created, and every
// other call finds no object.
SP_EXPORT int AudioModuleStart(void) {
    return guarded(-1, []() -> int {
        if (gAudio.load() != nullptr) return 0;
        Tracer::instance()->trace(kTraceCritical, "[CRITICAL ERROR] Object creation failed: Audio");
        return -1;
    });
}
SP_EXPORT int AudioModuleShutdown(void) {
    return 0;
}
SP_EXPORT int AudioModulePlayVoice(const void*, int) {
    return 0;
}
SP_EXPORT int AudioModuleRecordStart(int) {
    return 0;
}
SP_EXPORT int AudioModuleRegisterCallback(AudioRecordCallback) {
    return 0;
}
SP_EXPORT int AudioModuleGetInDevice(sp_wchar_t***) {
    return -1;
}
SP_EXPORT int AudioModuleGetOutDevice(sp_wchar_t***) {
    return -1;
}
SP_EXPORT int AudioModuleSetDevice(int, int, int) {
    return 0;
}
SP_EXPORT int AudioModulePlayFile(const sp_wchar_t*, int) {
    return 0;
}
SP_EXPORT int AudioModuleStopPlayFile(void) {
    return 0;
}
SP_EXPORT void AudioModuleSetSpeakerVolume(int, float) {}
SP_EXPORT void AudioModuleSetRingVolume(int, float) {}
SP_EXPORT void AudioModuleSetMicVolume(int, float) {}
SP_EXPORT int AudioModuleGetEngineStatus(void) {
    return -1;
}
SP_EXPORT void AudioModuleGetDeviceID(int*, int*, int*) {}
SP_EXPORT void AudioModuleSetWindowHandle(void*) {}
SP_EXPORT int AudioModulePlayTone(const sp_wchar_t*, int) {
    return 0;
}
SP_EXPORT int AudioModuleStopPlayTone(void) {
    return 0;
}

}  // extern "C"
