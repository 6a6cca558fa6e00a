// How the TonePlayer reaches the sound engine: five entry points with the
// signatures of the sound exports. The exports layer fills it with their
// addresses; a test can hand in its own.
#pragma once

#include "softphone.h"

struct ToneAudioTable {
    int (*AudioModulePlayFile)(const sp_wchar_t* path, int repeat) = nullptr;
    int (*AudioModuleStopPlayFile)() = nullptr;
    void (*AudioModuleSetRingVolume)(int level, float step) = nullptr;
    int (*AudioModulePlayTone)(const sp_wchar_t* path, int repeat) = nullptr;
    int (*AudioModuleStopPlayTone)() = nullptr;

    bool complete() const {
        return AudioModulePlayFile != nullptr && AudioModuleStopPlayFile != nullptr &&
               AudioModuleSetRingVolume != nullptr && AudioModulePlayTone != nullptr &&
               AudioModuleStopPlayTone != nullptr;
    }
};
