// The TonePlayer's choice of file and sound operation, seen through the
// recording table, and the custom tones saved by melody slot.
#include <gtest/gtest.h>

#include <string>

#include "support_files/trace_capture.h"
#include "tests/support_files/wide_text.h"
#include "tones/tone_player_fixture.h"

using Calls = std::vector<std::string>;

TEST_F(TonePlayerTest, KeyToneColumnFollowsKeyPadAndProgramMode) {
    const std::string dtmf5 = "PlayTone media/DTMF/Tone_DTMF5.wav 0";
    const std::string click = "PlayTone media/Tone_Key.wav 0";
    const std::string rec = "PlayTone media/Tone_Rec.wav 0";
    struct Case {
        int keyPadMode, programMode;
        bool silent;
        int key;
        std::string call;  // empty: silence, result 1
    } cases[] = {
        {0, 0, false, 5, dtmf5},
        {0, 0, false, 10, "PlayTone media/DTMF/Tone_DTMFx.wav 0"},
        {0, 0, false, 11, "PlayTone media/DTMF/Tone_DTMF#.wav 0"},
        {0, 0, false, 12, click},
        {0, 0, false, 23, ""},  // column 0 has no tone for 23 to 29
        {0, 0, true, 5, ""},    // silent: column 4
        {0, 1, false, 23, click},
        {0, 1, true, 5, dtmf5},  // program mode plays even when silent
        {0, 1, false, 30, ""},
        {1, 0, false, 30, rec},
        {1, 0, false, 5, ""},
        {1, 0, true, 30, ""},
        {1, 1, false, 30, ""},  // column 3 is empty
        {2, 1, false, 30, rec},
        {-7, 0, true, 30, ""},
        {0, 0, false, 31, ""},  // outside the table
        {0, 0, false, -1, ""},
    };
    for (const Case& c : cases) {
        player.mKeyPadMode = c.keyPadMode;
        player.mProgramMode = c.programMode;
        const int result = player.playKeyTone(c.key, c.silent);
        const Calls calls = FakeAudio::take();
        SCOPED_TRACE(::testing::Message() << "mode " << c.keyPadMode << " program " << c.programMode << " silent "
                                          << c.silent << " key " << c.key);
        EXPECT_EQ(result, c.call.empty() ? 1 : 0);
        EXPECT_EQ(calls, c.call.empty() ? Calls{} : Calls{c.call});
    }
}

TEST_F(TonePlayerTest, RingVolumeLevelsMapToTheSoundEngine) {
    const std::pair<int, int> levels[] = {{1, 0}, {2, 1}, {3, 3}, {4, 5}, {0, 0}, {5, 0}, {-5, 0}};
    for (auto [volume, level] : levels) EXPECT_EQ(play(4, volume, 0), ringFile(level, "media/Tone_4.wav")) << volume;
}

TEST_F(TonePlayerTest, StoredValuesAndVolumeLockScript) {
    struct Step {
        int toneId, volume, melody;
        Calls calls;
    } steps[] = {
        {1, 3, 6, ringFile(3, "media/Tone_9.wav")},
        // A new volume while ringing restarts the same tone and melody.
        {-1, 4, -1, ringFile(5, "media/Tone_9.wav")},
        // Tone 7 takes no volume changes: a new volume does nothing at all...
        {7, -1, -1, {"PlayTone media/Tone_7.wav 0"}},
        {-1, 2, -1, {}},
        {1, 2, 0, {}},
        // ...until a call with -1 for the volume, which keeps the stored 4.
        {1, -1, 0, ringFile(5, "media/Tone_1.wav")},
        {5, -1, -1, {"PlayTone media/Tone_5.wav -1"}},
        {-1, -1, -1, {"PlayTone media/Tone_5.wav -1"}},
        {0, -1, -1, {"StopPlayFile"}},
        {18, -1, -1, {"StopPlayFile"}},
        {16, -1, -1, {"PlayTone media/Tone_F.wav 0"}},
        {12, -1, -1, {"PlayTone media/Tone_C.wav 0"}},
        {9, -1, -1, ringFile(5, "media/Tone_9.wav")},
        // Melody 0x50 is in no slot: the table's file plays.
        {2, 1, 0x50, ringFile(0, "media/Tone_2.wav")},
    };
    for (const Step& s : steps) {
        SCOPED_TRACE(::testing::Message() << s.toneId << ", " << s.volume << ", " << s.melody);
        EXPECT_EQ(play(s.toneId, s.volume, s.melody), s.calls);
    }
}

TEST_F(TonePlayerTest, ServiceTonesHoldAfterTheSingleConfirmation) {
    const std::string area1 = "PlayTone media/Area1/Progress_";
    struct Step {
        int area;  // 0: unchanged
        int code;
        Calls calls;
    } steps[] = {
        {0, 0xFF, {}},  // nothing playing
        {0, 0x80, {area1 + "80.wav 0"}},
        {0, 0x90, {}},  // 0x80 is not cut off
        {0, 0x90, {area1 + "90.wav -1"}},
        {0, 0xFF, {"StopPlayTone"}},
        {0, 0xFF, {}},
        {0, 0x80, {area1 + "80.wav 0"}},
        {0, 0x94, {area1 + "94.wav -1"}},  // not one of the held codes
        {0, 0x96, {}},
        {0, 0x70, {"StopPlayTone"}},  // no such tone
        {8, 0x90, {"PlayTone media/Area8/Progress_90.wav -1"}},
        {3, 0xAE, {"PlayTone media/Area3/Progress_AE.wav -1"}},
        {5, 0x86, {area1 + "86.wav 0"}},  // unknown area: area 1
    };
    for (const Step& s : steps) {
        SCOPED_TRACE(::testing::Message() << "area " << s.area << " code " << std::hex << s.code);
        if (s.area != 0) player.setServiceTonePath(s.area);
        player.playServiceTone(s.code);
        EXPECT_EQ(FakeAudio::take(), s.calls);
    }
}

TEST_F(TonePlayerTest, SavedTonesReplaceTheRingTonesOfTheirMelodyUntilRemoved) {
    TraceCapture trace;
    struct Step {
        int slot;  // saved (path) or removed (no path) before the ring tone plays; -1: neither
        const sp_wchar_t* path;
        int toneId, melody;
        std::string file;
    } steps[] = {
        // Slot 6 has defaults for the first three ring tones, none for 17.
        {-1, nullptr, 1, 6, "media/Tone_9.wav"},
        {-1, nullptr, 2, 6, "media/Tone_A.wav"},
        {-1, nullptr, 3, 6, "media/Tone_B.wav"},
        {-1, nullptr, 17, 6, "media/Tone_1.wav"},
        {3, SP_TEXT("x.wav"), 1, 3, "x.wav"},
        {-1, nullptr, 2, 3, "x.wav"},
        {-1, nullptr, 3, 3, "x.wav"},
        {-1, nullptr, 17, 3, "x.wav"},
        {-1, nullptr, 4, 3, "media/Tone_4.wav"},  // not a ring tone
        {-1, nullptr, 2, 4, "media/Tone_2.wav"},  // another melody
        {3, nullptr, 2, 3, "media/Tone_2.wav"},
        {8, SP_TEXT("slot8.wav"), 1, 0x43, "slot8.wav"},  // melody 0x43 is slot 8
        {-1, nullptr, 1, 8, "media/Tone_1.wav"},          // melody 8 is in no slot
        {6, SP_TEXT("y.wav"), 1, 6, "media/Tone_9.wav"},  // slot 6 keeps its defaults first
        {-1, nullptr, 17, 6, "y.wav"},                    // and the saved tone for the rest
        {6, nullptr, 1, 6, "media/Tone_1.wav"},           // removed: its bit cleared, the defaults rest
        {6, SP_TEXT("z.wav"), 1, 6, "media/Tone_9.wav"},
        {-1, nullptr, 17, 6, "z.wav"},
    };
    for (const Step& s : steps) {
        SCOPED_TRACE(::testing::Message() << "slot " << s.slot << " tone " << s.toneId << " melody " << s.melody);
        const int changed = s.slot < 0          ? 0
                            : s.path != nullptr ? player.saveCustomTone(s.slot, s.path)
                                                : player.removeCustomTone(s.slot);
        ASSERT_EQ(changed, 0);
        EXPECT_EQ(play(s.toneId, 3, s.melody), ringFile(3, s.file));
    }
    const auto messages = trace.messages();
    ASSERT_FALSE(messages.empty());
    EXPECT_EQ(messages.front(), "iToneID : 1  iMelody : 6   mIsVolAdjustment : 1  iVolume : 3");
}

TEST_F(TonePlayerTest, SavedPathsAreReadBackReplacedCutAndOnlyForSlotsInTheTable) {
    sp_wchar_t buffer[tones::kPathCapacity + 1];
    sp_wchar_t* out = buffer;
    ASSERT_EQ(player.saveCustomTone(5, SP_TEXT("first.wav")), 0);
    ASSERT_EQ(player.saveCustomTone(5, SP_TEXT("second.wav")), 0);
    EXPECT_EQ(player.getCustomTone(5, &out), 0);
    EXPECT_EQ(FakeAudio::narrow(buffer), "second.wav");
    // One removal leaves no saved entry behind.
    player.removeCustomTone(5);
    buffer[0] = SP_TEXT('?');
    buffer[1] = 0;
    EXPECT_EQ(player.getCustomTone(5, &out), 1);
    EXPECT_EQ(FakeAudio::narrow(buffer), "?");

    const WideText longPath(300, SP_TEXT('a'));
    ASSERT_EQ(player.saveCustomTone(2, longPath.c_str()), 0);
    std::fill(std::begin(buffer), std::end(buffer), SP_TEXT('#'));
    ASSERT_EQ(player.getCustomTone(2, &out), 0);
    EXPECT_EQ(FakeAudio::narrow(buffer), std::string(255, 'a'));
    EXPECT_EQ(buffer[tones::kPathCapacity], SP_TEXT('#'));  // nothing written past the buffer

    const std::uint32_t before = ringToneMask();
    EXPECT_EQ(player.saveCustomTone(30, SP_TEXT("x.wav")), 1);
    EXPECT_EQ(player.saveCustomTone(-1, SP_TEXT("x.wav")), 1);
    EXPECT_EQ(player.saveCustomTone(4, nullptr), 1);
    EXPECT_EQ(player.removeCustomTone(30), 0);
    EXPECT_EQ(player.removeCustomTone(-2), 0);
    EXPECT_EQ(ringToneMask(), before);
    EXPECT_EQ(player.getCustomTone(30, &out), 1);
    EXPECT_EQ(player.getCustomTone(3, nullptr), 1);
}

TEST_F(TonePlayerTest, MaskOutlivesThePlayerButTheListsDoNot) {
    ASSERT_EQ(player.saveCustomTone(9, SP_TEXT("kept.wav")), 0);
    player.shutdown();
    ASSERT_EQ(player.start(), 0);
    const ToneAudioTable table = FakeAudio::table();
    ASSERT_EQ(player.setAudioTable(&table), 0);
    EXPECT_NE(ringToneMask() & (1u << 9), 0u);
    EXPECT_EQ(play(1, 3, 0x44), ringFile(3, "media/Tone_1.wav"));  // the list went with the shutdown
}

TEST(TonePlayerLifecycle, RefusesBadTablesAndPlaysNothingWithoutOne) {
    TonePlayer player;
    const ToneAudioTable good = FakeAudio::table();
    EXPECT_EQ(player.setAudioTable(&good), 1);  // not started
    ASSERT_EQ(player.start(), 0);
    ToneAudioTable partial = good;
    partial.AudioModuleStopPlayTone = nullptr;
    EXPECT_EQ(player.setAudioTable(nullptr), 1);
    EXPECT_EQ(player.setAudioTable(&partial), 1);
    EXPECT_EQ(player.playKeyTone(5, false), 1);
    player.playTone(1, 3, 6);
    player.playServiceTone(0x90);
    EXPECT_TRUE(FakeAudio::take().empty());
    EXPECT_EQ(player.shutdown(), 0);
    EXPECT_EQ(player.shutdown(), 0);
    EXPECT_EQ(player.playKeyTone(5, false), 1);
    EXPECT_TRUE(FakeAudio::take().empty());
}
