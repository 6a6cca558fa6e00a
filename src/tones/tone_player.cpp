#include "tones/tone_player.h"

#include <new>

#include "common/tracer.h"

using namespace tones;

namespace {

// Ring file volume levels 1 to 4 as sound engine ring levels.
int ringLevel(int volume) {
    switch (volume) {
        case 2:
            return 1;
        case 3:
            return 3;
        case 4:
            return 5;
        default:
            return 0;
    }
}

// The key tone column for the keypad mode, program mode and silent flag.
// Columns 3 and 4 are empty: they are the silent ones.
int columnFor(int keyPadMode, int programMode, bool silent) {
    if (keyPadMode == 0 && programMode == 1) return 1;
    if (keyPadMode == 1 && programMode == 1) return 3;
    if (silent) return 4;
    return keyPadMode == 0 ? 0 : 2;
}

// "folder/file" into a buffer of kPathCapacity characters, cut short rather
// than overrun.
void joinPath(sp_wchar_t (&out)[kPathCapacity], const sp_wchar_t* folder, const sp_wchar_t* file) {
    int at = 0;
    auto append = [&](const sp_wchar_t* text) {
        for (; *text != 0 && at < kPathCapacity - 1; ++text) out[at++] = *text;
    };
    append(folder);
    if (at < kPathCapacity - 1) out[at++] = u'/';
    append(file);
    out[at] = 0;
}

}  // namespace

TonePlayer::~TonePlayer() {
    shutdown();
}

int TonePlayer::start() {
    mAudio.reset(new (std::nothrow) ToneAudioTable());
    if (mAudio == nullptr) return 1;
    mIsVolAdjustment = true;
    mVolume = -1;
    setServiceTonePath(0);
    if (resetCustomTones() != 0) {
        shutdown();
        return 1;
    }
    return 0;
}

int TonePlayer::shutdown() {
    mAudio.reset();
    mTonePath = nullptr;
    for (auto& list : mCustomTones) list.reset();
    return 0;
}

int TonePlayer::setAudioTable(const ToneAudioTable* table) {
    if (mAudio == nullptr || table == nullptr || !table->complete()) return 1;
    *mAudio = *table;
    return 0;
}

int TonePlayer::playKeyTone(int key, bool silent) {
    const sp_wchar_t* file = keyTone(key, columnFor(mKeyPadMode, mProgramMode, silent));
    if (file == nullptr || mAudio == nullptr || mAudio->AudioModulePlayTone == nullptr) return 1;
    mAudio->AudioModulePlayTone(file, 0);
    return 0;
}

int TonePlayer::playTone(int iToneID, int iVolume, int iMelody) {
    // A new volume for a tone that takes none does nothing at all.
    if (iVolume == -1) {
        iVolume = mVolume;
    } else {
        if (!mIsVolAdjustment) return 0;
        mVolume = iVolume;
    }
    if (iToneID == -1) {
        iToneID = mToneId;
    } else {
        mToneId = iToneID;
    }
    int slot = mMelody;
    if (iMelody != -1) {
        slot = melodySlot(iMelody);
        mMelody = slot;
    }

    const ToneRow* row = toneRow(iToneID);
    if (row == nullptr) {
        // Tone 0 is how the client stops the ringing.
        if (mAudio != nullptr && mAudio->AudioModuleStopPlayFile != nullptr) mAudio->AudioModuleStopPlayFile();
        return 1;
    }
    Tracer::instance()->trace(kTraceAll, "iToneID : %d  iMelody : %d   mIsVolAdjustment : %d  iVolume : %d", iToneID,
                              slot, mIsVolAdjustment ? 1 : 0, iVolume);
    mIsVolAdjustment = row->adjust;
    mRepeat = row->repeat;
    mTonePath = row->file;
    if (slot >= 0 && slot < kMelodySlots && (customMask(*row) & (1u << slot)) != 0) {
        if (const sp_wchar_t* custom = customTonePath(iToneID, slot)) mTonePath = custom;
    }

    if (mAudio == nullptr || !mAudio->complete()) return 0;
    if (row->player == ToneChannel::Tone) {
        mAudio->AudioModulePlayTone(mTonePath, mRepeat);
    } else {
        // -1.0 keeps the ring gain step as it is.
        mAudio->AudioModuleSetRingVolume(ringLevel(iVolume), -1.0f);
        mAudio->AudioModulePlayFile(mTonePath, mRepeat);
    }
    return 0;
}

void TonePlayer::setServiceTonePath(int area) {
    mServiceTonePath = areaFolder(area);
}

void TonePlayer::playServiceTone(int code) {
    if (mAudio == nullptr || !mAudio->complete()) return;
    if (code == SP_SERVICE_TONE_STOP) {
        if (mServiceTonePlaying) {
            mAudio->AudioModuleStopPlayTone();
            mServiceTonePlaying = false;
            mServiceToneHold = false;
        }
        return;
    }
    // The single tone 0x80 is not cut off by the first of these that follows.
    if (mServiceToneHold) {
        switch (code) {
            case SP_SERVICE_TONE_DIAL:
            case SP_SERVICE_TONE_SPECIAL_DIAL:
            case SP_SERVICE_TONE_RINGBACK:
            case SP_SERVICE_TONE_BUSY:
            case SP_SERVICE_TONE_ON_HOLD:
            case SP_SERVICE_TONE_SECOND_DIAL:
                mServiceToneHold = false;
                return;
            default:
                break;
        }
    }
    const ServiceTone* tone = serviceTone(code);
    if (tone == nullptr) {
        mAudio->AudioModuleStopPlayTone();
        return;
    }
    sp_wchar_t path[kPathCapacity];
    joinPath(path, mServiceTonePath, tone->file);
    mAudio->AudioModulePlayTone(path, tone->repeat);
    mServiceTonePlaying = true;
    if (code == SP_SERVICE_TONE_CONFIRMATION) mServiceToneHold = true;
}
