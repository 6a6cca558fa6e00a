// The TonePlayer: turns a key, a tone identifier or a service tone code into
// a sound file, and hands the file to the sound engine through its
// ToneAudioTable. It holds no sound data and plays nothing itself.
//
// The client's thread is its only caller: no lock is taken.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include "common/module.h"
#include "softphone.h"
#include "tones/tone_audio_table.h"
#include "tones/tone_tables.h"

// One entry of a melody slot's custom tone list. toneId -1 is a saved tone
// that serves every ring tone (1, 2, 3 and 17).
struct CustomTone {
    int toneId = -1;
    std::unique_ptr<sp_wchar_t[]> path;  // tones::kPathCapacity characters
};
using CustomToneList = std::vector<CustomTone>;

class TonePlayer : public Module {
public:
    TonePlayer() = default;
    ~TonePlayer() override;
    TonePlayer(const TonePlayer&) = delete;
    TonePlayer& operator=(const TonePlayer&) = delete;

    int start() override;
    int shutdown() override;

    // Copies the five sound entry points. 1 when the table is missing or
    // incomplete, or the player isn't started.
    int setAudioTable(const ToneAudioTable* table);

    // 0 played, 1 silence: no file for this key in the column the modes give.
    int playKeyTone(int key, bool silent);
    // -1 for an argument keeps the stored value. 1 when the tone identifier
    // is outside 1 to 17, which stops the file channel.
    int playTone(int iToneID, int iVolume, int iMelody);
    void setServiceTonePath(int area);
    void playServiceTone(int code);

    // Custom tones by melody slot (not melody number).
    int saveCustomTone(int slot, const sp_wchar_t* path);
    int removeCustomTone(int slot);
    // Copies the saved path, terminated, into the caller's buffer of
    // tones::kPathCapacity characters; an empty slot leaves it as it is.
    int getCustomTone(int slot, sp_wchar_t** path) const;

    int mProgramMode = 0;
    int mKeyPadMode = 0;

private:
    // Empties every slot and gives slot 6 its defaults. 1 when out of memory.
    int resetCustomTones();
    CustomTone* savedEntry(int slot) const;
    const sp_wchar_t* customTonePath(int iToneID, int slot) const;

    std::unique_ptr<ToneAudioTable> mAudio;
    bool mIsVolAdjustment = true;
    int mRepeat = 0;
    const sp_wchar_t* mTonePath = nullptr;  // not owned
    int mToneId = 0;
    int mMelody = 0;
    int mVolume = -1;
    bool mServiceTonePlaying = false;
    bool mServiceToneHold = false;
    std::array<std::unique_ptr<CustomToneList>, tones::kMelodySlots> mCustomTones;
    const sp_wchar_t* mServiceTonePath = nullptr;  // points into the area table
};
