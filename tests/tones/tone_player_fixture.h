// A started TonePlayer wired to the recording table. The ring tones' custom
// mask is process-wide, so each test gets it back as it found it.
#pragma once

#include <gtest/gtest.h>

#include "tones/fake_audio_table.h"
#include "tones/tone_player.h"
#include "tones/tone_tables.h"

inline std::uint32_t ringToneMask() {
    return tones::customMask(*tones::toneRow(1));
}

inline void restoreRingToneMask(std::uint32_t mask) {
    for (int slot = 0; slot < tones::kMelodySlots; ++slot) {
        if ((mask >> slot) & 1u) {
            tones::setCustomBit(slot);
        } else {
            tones::clearCustomBit(slot);
        }
    }
}

class TonePlayerTest : public ::testing::Test {
protected:
    void SetUp() override {
        mSavedMask = ringToneMask();
        ASSERT_EQ(player.start(), 0);
        const ToneAudioTable table = FakeAudio::table();
        ASSERT_EQ(player.setAudioTable(&table), 0);
        FakeAudio::take();
    }
    void TearDown() override { restoreRingToneMask(mSavedMask); }

    // The calls of one step, taken.
    std::vector<std::string> play(int iToneID, int iVolume, int iMelody) {
        player.playTone(iToneID, iVolume, iMelody);
        return FakeAudio::take();
    }
    static std::vector<std::string> ringFile(int level, const std::string& path) {
        return {"SetRingVolume " + std::to_string(level) + " -1", "PlayFile " + path + " -1"};
    }

    TonePlayer player;

private:
    std::uint32_t mSavedMask = 0;
};
