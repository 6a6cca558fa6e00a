#include "api/wave_access.h"

#include <atomic>

#include "platform/clock.h"

namespace {
std::atomic<int> sWaveUsers{0};
}

// The count goes up before gWave is read, and retire clears gWave before it
// reads the count (both sequentially consistent): either the user sees null,
// or retire sees the user and waits for it.
WaveAccess::WaveAccess() {
    sWaveUsers.fetch_add(1);
    mWave = gWave.load();
}

WaveAccess::~WaveAccess() {
    sWaveUsers.fetch_sub(1);
}

void WaveAccess::retire() {
    gWave = nullptr;
    // A voice call never blocks inside Wave, so this wait is short.
    while (sWaveUsers.load() != 0) platform::sleepMs(1);
}
