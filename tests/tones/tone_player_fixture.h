// A TonePlayer wired to a ToneAudioTable that records each call as a line
// of text, such as "PlayFile media/Tone_9.wav -1" or "SetRingVolume 3 -1".
// The ring tones' custom mask is process-wide, so each test gets it back as
// it found it.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "tones/tone_audio_table.h"
#include "tones/tone_player.h"
#include "tones/tone_tables.h"

class FakeAudio {
public:
    static std::vector<std::string> take() { return std::exchange(sCalls, {}); }
    static ToneAudioTable table() {
        ToneAudioTable t;
        t.AudioModulePlayFile = [](const sp_wchar_t* path, int repeat) {
            return record("PlayFile " + narrow(path) + " " + std::to_string(repeat));
        };
        t.AudioModuleStopPlayFile = [] { return record("StopPlayFile"); };
        t.AudioModuleSetRingVolume = [](int level, float step) {
            record("SetRingVolume " + std::to_string(level) + " " + std::to_string(static_cast<int>(step)));
        };
        t.AudioModulePlayTone = [](const sp_wchar_t* path, int repeat) {
            return record("PlayTone " + narrow(path) + " " + std::to_string(repeat));
        };
        t.AudioModuleStopPlayTone = [] { return record("StopPlayTone"); };
        return t;
    }
    static std::string narrow(const sp_wchar_t* text) {
        std::string out;
        for (; text != nullptr && *text != 0; ++text) out += static_cast<char>(*text);
        return out;
    }

private:
    static inline std::vector<std::string> sCalls;
    static int record(std::string line) {
        sCalls.push_back(std::move(line));
        return 0;
    }
};

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
