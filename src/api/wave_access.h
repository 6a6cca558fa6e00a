// The voice exports reach Wave from the client's threads, and the sound
// engine's capture thread calls send_voice on its own: each use is counted,
// and uninitialize waits for the count to drop before Wave is freed.
#pragma once

#include "api/globals.h"

class WaveAccess {
public:
    WaveAccess();
    ~WaveAccess();
    WaveAccess(const WaveAccess&) = delete;
    WaveAccess& operator=(const WaveAccess&) = delete;

    // Null when there is no Wave, or it is being taken down.
    Wave* get() const { return mWave; }

    // Clears gWave, then waits until no export still uses the old one.
    static void retire();

private:
    Wave* mWave = nullptr;
};
