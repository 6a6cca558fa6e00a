// The voice exports reach Wave from the client's threads, and the sound
// engine's capture thread calls send_voice on its own: each use is counted,
// and uninitialize waits for the count to drop before Wave is freed.
#pragma once

#include "api/counted_access.h"
#include "api/globals.h"

class WaveAccess : public CountedAccess<Wave> {
public:
    WaveAccess() : CountedAccess<Wave>(gWave, users()) {}

    // Clears gWave, then waits until no export still uses the old one.
    static void retire() { CountedAccess<Wave>::retire(gWave, users()); }

private:
    static std::atomic<int>& users() {
        static std::atomic<int> count{0};
        return count;
    }
};
