// The TonePlayer's custom tones: one list for each melody slot, and the
// slot's bit in the ring tones' custom mask that says the list is consulted.
#include <new>

#include "tones/tone_player.h"

using namespace tones;

namespace {

// A zeroed buffer of kPathCapacity characters holding at most 255 of `text`.
std::unique_ptr<sp_wchar_t[]> copyPath(const sp_wchar_t* text) {
    std::unique_ptr<sp_wchar_t[]> buffer(new (std::nothrow) sp_wchar_t[kPathCapacity]());
    if (buffer == nullptr) return buffer;
    for (int i = 0; i < kPathCapacity - 1 && text[i] != 0; ++i) buffer[i] = text[i];
    return buffer;
}

bool isRingTone(int iToneID) {
    return iToneID == 1 || iToneID == 2 || iToneID == 3 || iToneID == 17;
}

}  // namespace

int TonePlayer::resetCustomTones() {
    for (auto& list : mCustomTones) list.reset();
    // Melody slot 6 rings tones 1, 2 and 3 with files of their own.
    std::unique_ptr<CustomToneList> defaults(new (std::nothrow) CustomToneList());
    if (defaults == nullptr) return 1;
    const int kDefaultRows[] = {9, 10, 11};
    for (int toneId = 1; toneId <= 3; ++toneId) {
        CustomTone entry{toneId, copyPath(toneRow(kDefaultRows[toneId - 1])->file)};
        if (entry.path == nullptr) return 1;
        defaults->push_back(std::move(entry));
    }
    mCustomTones[6] = std::move(defaults);
    return 0;
}

CustomTone* TonePlayer::savedEntry(int slot) const {
    if (slot < 0 || slot >= kMelodySlots || mCustomTones[slot] == nullptr) return nullptr;
    for (CustomTone& entry : *mCustomTones[slot])
        if (entry.toneId == -1) return &entry;
    return nullptr;
}

int TonePlayer::saveCustomTone(int slot, const sp_wchar_t* path) {
    if (path == nullptr) return 1;
    std::unique_ptr<sp_wchar_t[]> buffer = copyPath(path);
    if (buffer == nullptr) return 1;
    if (CustomTone* saved = savedEntry(slot)) {
        if (mTonePath == saved->path.get()) mTonePath = nullptr;
        saved->path = std::move(buffer);  // the old path is freed here
    } else {
        if (slot < 0 || slot >= kMelodySlots) return 1;
        if (mCustomTones[slot] == nullptr) {
            mCustomTones[slot].reset(new (std::nothrow) CustomToneList());
            if (mCustomTones[slot] == nullptr) return 1;
        }
        mCustomTones[slot]->push_back(CustomTone{-1, std::move(buffer)});
    }
    setCustomBit(slot);
    return 0;
}

int TonePlayer::removeCustomTone(int slot) {
    if (CustomTone* saved = savedEntry(slot)) {
        if (mTonePath == saved->path.get()) mTonePath = nullptr;
        CustomToneList& list = *mCustomTones[slot];
        list.erase(list.begin() + (saved - list.data()));
    }
    // Cleared even with nothing saved: in slot 6 this silences the defaults
    // until the next save there.
    clearCustomBit(slot);
    return 0;
}

int TonePlayer::getCustomTone(int slot, sp_wchar_t** path) const {
    const CustomTone* saved = savedEntry(slot);
    if (saved == nullptr || path == nullptr || *path == nullptr) return 1;
    for (int i = 0; i < kPathCapacity; ++i) {
        (*path)[i] = saved->path[i];
        if (saved->path[i] == 0) break;
    }
    return 0;
}

const sp_wchar_t* TonePlayer::customTonePath(int iToneID, int slot) const {
    if (slot < 0 || slot >= kMelodySlots || mCustomTones[slot] == nullptr) return nullptr;
    // List order decides: in slot 6 the defaults for tones 1 to 3 come
    // before a saved entry, which then serves tone 17 only.
    for (const CustomTone& entry : *mCustomTones[slot]) {
        if (entry.toneId == iToneID || (entry.toneId == -1 && isRingTone(iToneID))) return entry.path.get();
    }
    return nullptr;
}
