// Exports: the sound engine. Each forwards to gAudio and does nothing when
// the object does not exist.
#include <new>

#include "api/counted_access.h"
#include "api/exports_guard.h"
#include "api/globals.h"
#include "audio/audio.h"
#include "common/tracer.h"

namespace {
// Wide text crosses the boundary as UTF-16 code units: char16_t inside,
// the client's wchar_t on Windows. Both are 16-bit units of the same text.
static_assert(sizeof(sp_wchar_t) == sizeof(char16_t), "wide text is UTF-16 at the boundary");
const char16_t* units(const sp_wchar_t* text) {
    return reinterpret_cast<const char16_t*>(text);
}
char16_t*** units(sp_wchar_t*** list) {
    return reinterpret_cast<char16_t***>(list);
}

std::atomic<int> sAudioUsers{0};
CountedAccess<Audio> audio() {
    return CountedAccess<Audio>(gAudio, sAudioUsers);
}
}  // namespace

extern "C" {

SP_EXPORT int AudioModuleStart(void) {
    return guarded(-1, []() -> int {
        if (audio()) return 0;
        Audio* created = new (std::nothrow) Audio();
        if (created == nullptr) {
            Tracer::instance()->trace(kTraceCritical, "[CRITICAL ERROR] Object creation failed: Audio");
            return -1;
        }
        if (created->start() != 0) {
            Tracer::instance()->trace(kTraceCritical, "[CRITICAL ERROR] Startup failed: Audio");
            delete created;
            return -1;
        }
        gAudio = created;
        return 0;
    });
}

SP_EXPORT int AudioModuleShutdown(void) {
    return guarded(0, []() -> int {
        Audio* a = CountedAccess<Audio>::retire(gAudio, sAudioUsers);
        if (a != nullptr) {
            a->shutdown();
            delete a;
        }
        return 0;
    });
}

SP_EXPORT int AudioModulePlayVoice(const void* pcm, int length) {
    return guarded(0, [&]() -> int {
        if (auto a = audio()) a->playVoice(pcm, length);
        return 0;
    });
}

SP_EXPORT int AudioModuleRecordStart(int on) {
    return guarded(0, [&]() -> int {
        if (auto a = audio()) a->recordStart(lowByteFlag(on));
        return 0;
    });
}

SP_EXPORT int AudioModuleRegisterCallback(AudioRecordCallback callback) {
    return guarded(0, [&]() -> int {
        if (auto a = audio()) a->registerCallback(callback);
        return 0;
    });
}

SP_EXPORT int AudioModuleGetInDevice(sp_wchar_t*** list) {
    return guarded(-1, [&]() -> int {
        auto a = audio();
        return a ? a->inDeviceList(units(list)) : -1;
    });
}

SP_EXPORT int AudioModuleGetOutDevice(sp_wchar_t*** list) {
    return guarded(-1, [&]() -> int {
        auto a = audio();
        return a ? a->outDeviceList(units(list)) : -1;
    });
}

SP_EXPORT int AudioModuleSetDevice(int output, int file, int input) {
    return guarded(0, [&]() -> int {
        if (auto a = audio()) a->setDevice(output, file, input);
        return 0;
    });
}

SP_EXPORT int AudioModulePlayFile(const sp_wchar_t* path, int repeat) {
    return guarded(0, [&]() -> int {
        if (auto a = audio()) a->playFile(units(path), repeat);
        return 0;
    });
}

SP_EXPORT int AudioModuleStopPlayFile(void) {
    return guarded(0, []() -> int {
        if (auto a = audio()) a->stopPlayFile();
        return 0;
    });
}

SP_EXPORT void AudioModuleSetSpeakerVolume(int level, float step) {
    guardedVoid([&] {
        if (auto a = audio()) a->setSpeakerVolume(level, step);
    });
}

SP_EXPORT void AudioModuleSetRingVolume(int level, float step) {
    guardedVoid([&] {
        if (auto a = audio()) a->setRingVolume(level, step);
    });
}

SP_EXPORT void AudioModuleSetMicVolume(int level, float step) {
    guardedVoid([&] {
        if (auto a = audio()) a->setMicVolume(level, step);
    });
}

SP_EXPORT int AudioModuleGetEngineStatus(void) {
    return guarded(-1, []() -> int {
        auto a = audio();
        return a ? a->engineStatus() : -1;
    });
}

SP_EXPORT void AudioModuleGetDeviceID(int* output, int* file, int* input) {
    guardedVoid([&] {
        if (auto a = audio()) a->deviceIds(output, file, input);
    });
}

SP_EXPORT void AudioModuleSetWindowHandle(void* window) {
    guardedVoid([&] {
        if (auto a = audio()) a->setWindowHandle(window);
    });
}

SP_EXPORT int AudioModulePlayTone(const sp_wchar_t* path, int repeat) {
    return guarded(0, [&]() -> int {
        if (auto a = audio()) a->playTone(units(path), repeat);
        return 0;
    });
}

SP_EXPORT int AudioModuleStopPlayTone(void) {
    return guarded(0, []() -> int {
        if (auto a = audio()) a->stopPlayTone();
        return 0;
    });
}

}  // extern "C"
