// Exports: voice, forwarded to Wave on the client's own thread.
#include "api/exports_guard.h"
#include "api/globals.h"
#include "api/wave_access.h"
#include "voice/wave.h"

extern "C" {

// One function under two names: the voice path needs no opening or closing.
SP_EXPORT int open_voice(void) {
    return 0;
}
SP_EXPORT int close_voice(void) {
    return 0;
}

SP_EXPORT int send_voice(uint32_t bytes, const void* pcm) {
    return guarded(static_cast<int>(bytes), [&]() -> int {
        const WaveAccess access;
        Wave* wave = access.get();
        if (wave == nullptr) return static_cast<int>(bytes);
        if (bytes < Wave::kFrameBytes) return 0;
        // Whole frames only; a remainder is dropped, and so is a frame the
        // engine refuses: the client learns nothing of either.
        const int frameLength = Wave::kFrameBytes;
        const auto* frames = static_cast<const std::uint8_t*>(pcm);
        if (frames != nullptr) {
            for (uint32_t offset = 0; offset + Wave::kFrameBytes <= bytes; offset += Wave::kFrameBytes) {
                wave->sendVoice(frames + offset, &frameLength);
            }
        }
        return static_cast<int>(bytes);
    });
}

SP_EXPORT int recv_voice(int* size, void* pcm, int* status) {
    return guarded(0, [&]() -> int {
        const WaveAccess access;
        Wave* wave = access.get();
        if (wave == nullptr) return 0;
        const int localSize = size != nullptr ? *size : 0;
        int got = 0;
        const int result = wave->receiveVoice(pcm, &localSize, &got);
        if (status != nullptr) *status = result;
        return got;
    });
}

// The client may call this only while the library is initialized; a
// missing engine is still passed over rather than followed.
SP_EXPORT void set_alaw(int flag) {
    guardedVoid([&] {
        const WaveAccess access;
        Wave* wave = access.get();
        if (wave != nullptr) wave->setAlaw(flag == 0 ? 0 : 1);
    });
}

}  // extern "C"
