// Exports: the tone player. Each forwards to gTonePlayer and gives -1 when
// there is none.
#include "api/counted_access.h"
#include "api/exports_guard.h"
#include "api/globals.h"
#include "tones/tone_player.h"

namespace {

template <typename Body>
int withTonePlayer(Body&& body) noexcept {
    return guarded(-1, [&]() -> int {
        const CountedAccess<TonePlayer> player(gTonePlayer, gTonePlayerUsers);
        if (!player) return -1;
        return body(*player.get());
    });
}

}  // namespace

extern "C" {

SP_EXPORT int ToneModulePlayDTMF(int key, int silent) {
    return withTonePlayer([&](TonePlayer& p) { return p.playKeyTone(key, lowByteFlag(silent)); });
}
SP_EXPORT int ToneModuleGetKeyPadMode(void) {
    return withTonePlayer([](TonePlayer& p) { return p.mKeyPadMode; });
}
SP_EXPORT int ToneModuleGetProgramMode(void) {
    return withTonePlayer([](TonePlayer& p) { return p.mProgramMode; });
}
SP_EXPORT int ToneModuleSetKeyPadMode(int mode) {
    return withTonePlayer([&](TonePlayer& p) {
        p.mKeyPadMode = mode;
        return 0;
    });
}
SP_EXPORT int ToneModuleSetProgramMode(int mode) {
    return withTonePlayer([&](TonePlayer& p) {
        p.mProgramMode = mode;
        return 0;
    });
}
SP_EXPORT int ToneModulePlayTone(int iToneID, int iVolume, int iMelody) {
    return withTonePlayer([&](TonePlayer& p) {
        p.playTone(iToneID, iVolume, iMelody);
        return 0;
    });
}
SP_EXPORT int ToneModuleSaveCustomTone(int slot, const sp_wchar_t* path) {
    return withTonePlayer([&](TonePlayer& p) {
        p.saveCustomTone(slot, path);
        return 0;
    });
}
SP_EXPORT int ToneModuleRemoveCustomTone(int slot) {
    return withTonePlayer([&](TonePlayer& p) {
        p.removeCustomTone(slot);
        return 0;
    });
}
SP_EXPORT int ToneModuleGetCustomTone(int slot, sp_wchar_t** path) {
    return withTonePlayer([&](TonePlayer& p) {
        p.getCustomTone(slot, path);
        return 0;
    });
}
SP_EXPORT int ToneModuleSetServiceTonePath(int area) {
    return withTonePlayer([&](TonePlayer& p) {
        p.setServiceTonePath(area);
        return 0;
    });
}
SP_EXPORT int ToneModulePlayServiceTone(int code) {
    return withTonePlayer([&](TonePlayer& p) {
        p.playServiceTone(code);
        return 0;
    });
}

}  // extern "C"
