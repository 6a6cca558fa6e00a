// Exports: lifecycle and call control, and the library's load and unload.
#include <cstring>
#include <mutex>
#include <new>

#include "api/counted_access.h"
#include "api/exports_guard.h"
#include "api/globals.h"
#include "api/wave_access.h"
#include "common/core_event.h"
#include "common/tracer.h"
#include "core/call_processor.h"
#include "core/call_state.h"
#include "core/key_tables.h"
#include "tones/tone_player.h"

std::atomic<CallProcessor*> gCallProcessor{nullptr};
std::atomic<Wave*> gWave{nullptr};
std::atomic<Audio*> gAudio{nullptr};
std::atomic<TonePlayer*> gTonePlayer{nullptr};
std::atomic<int> gTonePlayerUsers{0};

namespace {

// initialize and uninitialize run one at a time: an uninitialize from
// another thread while initialize waits for the server ends that wait
// (through the starting CallProcessor) and then waits for initialize to
// return, instead of freeing the CallProcessor under its start.
std::mutex gLifecycleMutex;
std::mutex gStartingMutex;
CallProcessor* gStarting = nullptr;

void setStarting(CallProcessor* cp) {
    std::lock_guard<std::mutex> guard(gStartingMutex);
    gStarting = cp;
}

void destroyCallProcessor() {
    CallProcessor* cp = gCallProcessor.exchange(nullptr);
    WaveAccess::retire();
    if (cp != nullptr) {
        cp->shutdown();
        delete cp;
    }
}

// The tone player reaches the sound engine only through its exports.
const ToneAudioTable kToneAudioTable{&AudioModulePlayFile, &AudioModuleStopPlayFile, &AudioModuleSetRingVolume,
                                     &AudioModulePlayTone, &AudioModuleStopPlayTone};

void destroyTonePlayer() {
    TonePlayer* player = CountedAccess<TonePlayer>::retire(gTonePlayer, gTonePlayerUsers);
    if (player != nullptr) {
        player->shutdown();
        delete player;
    }
}

// Made once and kept across later initialize calls. It is published only
// when ready, so no export meets a half-made player.
int createTonePlayer() {
    if (gTonePlayer.load() != nullptr) return 0;
    TonePlayer* player = new (std::nothrow) TonePlayer();
    if (player == nullptr) {
        Tracer::instance()->trace(kTraceCritical, "[CRITICAL ERROR] Object creation failed: TonePlayer");
        return -1;
    }
    const char* failure = nullptr;
    if (player->start() != 0) {
        failure = "[CRITICAL ERROR] Startup failed: TonePlayer";
    } else if (player->setAudioTable(&kToneAudioTable) != 0) {
        failure = "[CRITICAL ERROR] Initialization failed: TonePlayer";
    }
    if (failure != nullptr) {
        Tracer::instance()->trace(kTraceCritical, "%s", failure);
        player->shutdown();
        delete player;
        return -1;
    }
    gTonePlayer = player;
    return 0;
}

// Process detach: a running CallProcessor is stopped and its threads joined
// before the code they run is unmapped.
__attribute__((destructor)) void onLibraryDetach() {
    destroyCallProcessor();
}

}  // namespace

extern "C" {

SP_EXPORT int initialize(const ParameterContainer* params, PtapParameters* out) {
    return guarded(-1, [&]() -> int {
        std::lock_guard<std::mutex> lifecycle(gLifecycleMutex);
        if (createTonePlayer() != 0) return -1;
        if (gCallProcessor.load() != nullptr) return 0;

        CallProcessor* cp = new (std::nothrow) CallProcessor();
        if (cp == nullptr) {
            Tracer::instance()->trace(kTraceCritical, "[CRITICAL ERROR] Object creation failed: CallProcessor");
            return -1;
        }
        gCallProcessor = cp;

        if (cp->setParameters(params) != 0) {
            Tracer::instance()->trace(kTraceCritical, "[CRITICAL ERROR] PTAP initialization data is invalid");
            return -1;
        }
        setStarting(cp);
        const int started = cp->start();
        setStarting(nullptr);
        if (started != 0) {
            Tracer::instance()->trace(kTraceCritical, "[CRITICAL ERROR] Startup failed: CallProcessor");
            destroyCallProcessor();
            return started;
        }
        Wave* wave = nullptr;
        if (cp->getWave(&wave) != 0) {
            Tracer::instance()->trace(kTraceCritical,
                                      "[CRITICAL ERROR] Startup failed: CallProcessor - Wave registration failed");
            destroyCallProcessor();
            return -1;
        }
        gWave = wave;
        PtapParameters* record = nullptr;
        if (cp->getPtapParameters(&record) != 0 || record == nullptr) {
            Tracer::instance()->trace(kTraceCritical,
                                      "[CRITICAL ERROR] Startup failed: CallProcessor - PTAP parameter incomplete");
            return -1;
        }
        if (out == nullptr) {
            Tracer::instance()->trace(kTraceCritical,
                                      "[CRITICAL ERROR] Startup failed: Application - Invalid parameter container");
            return -1;
        }
        std::memset(out, 0, sizeof *out);
        std::memcpy(out, record, sizeof *out);
        return 0;
    });
}

SP_EXPORT int uninitialize(void) {
    guardedVoid([] {
        {
            std::lock_guard<std::mutex> guard(gStartingMutex);
            if (gStarting != nullptr) gStarting->cancelStart();
        }
        std::lock_guard<std::mutex> lifecycle(gLifecycleMutex);
        destroyTonePlayer();
        if (gCallProcessor.load() != nullptr) {
            destroyCallProcessor();
            Tracer::instance()->close();
        }
    });
    return 0;
}

SP_EXPORT int put_key(uint32_t keyNumber) {
    return guarded(-1, [&]() -> int {
        CallProcessor* cp = gCallProcessor.load();
        if (cp == nullptr) return 0;
        const char* text = keyText(keyNumber);
        if (text == nullptr) {
            Tracer::instance()->trace(kTraceDetail, "[API :: Warning] Invalid key code in put_key. Key ignored [%u]",
                                      keyNumber);
            return -1;
        }
        const CoreEvent command{kInputKey};
        const int length = static_cast<int>(std::strlen(text));
        if (cp->postMailbox(&command, text, &length) != 0) {
            Tracer::instance()->trace(kTraceError, "[API :: ERROR] Failed at put_key. Possible mailbox overflow.");
            return -1;
        }
        Tracer::instance()->trace(kTraceDetail, "[API] Valid key code received [%s]", text);
        return 0;
    });
}

SP_EXPORT int make_call(const char* digits) {
    return guarded(-1, [&]() -> int {
        if (gCallProcessor.load() == nullptr) return 0;
        if (digits == nullptr) return -1;
        const std::size_t n = ::strnlen(digits, 41);
        if (n == 0 || n > 40) return -1;
        for (std::size_t i = 0; i < n; ++i) {
            const unsigned char c = static_cast<unsigned char>(digits[i]);
            if (gDialCharTable.find(c) == gDialCharTable.end()) {
                Tracer::instance()->trace(kTraceWarning,
                                          "[API :: Warning] Makecall received no number value at index [%d] as [%c]",
                                          static_cast<int>(i), digits[i]);
                return -1;
            }
        }
        // Each key goes on its own; a Mailbox that fills up midway loses the
        // rest, each loss with its trace.
        for (std::size_t i = 0; i < n; ++i) put_key(gDialCharTable.at(static_cast<unsigned char>(digits[i])));
        return 0;
    });
}

SP_EXPORT int send_error(uint32_t code, uint32_t, uint32_t) {
    return guarded(-1, [&]() -> int {
        CallProcessor* cp = gCallProcessor.load();
        if (cp == nullptr) return 0;
        unsigned char block[16] = {};
        block[0] = static_cast<unsigned char>(code & 0xFF);
        const CoreEvent command{kInputSendError};
        const int length = 1;
        if (cp->postMailbox(&command, block, &length) != 0) {
            Tracer::instance()->trace(kTraceError, "[API :: ERROR] Failed to send PTAP error data");
            return -1;
        }
        Tracer::instance()->trace(kTraceDetail, "[API] Error code transmitted: [%u]", code);
        return 0;
    });
}

}  // extern "C"
