// The ToneModule exports on the player that initialize makes, with its
// sound table swapped for the recording one.
#include <gtest/gtest.h>

#include "api/globals.h"
#include "softphone.h"
#include "tests/support_files/wide_text.h"
#include "tones/tone_player_fixture.h"

TEST(ToneExports, ReachThePlayerThatInitializeMakesUntilUninitialize) {
    const std::uint32_t savedMask = ringToneMask();
    // No parameters: the TonePlayer is made, the CallProcessor never starts.
    PtapParameters params{};
    ASSERT_EQ(initialize(nullptr, &params), -1);
    TonePlayer* player = gTonePlayer.load();
    ASSERT_NE(player, nullptr);
    const ToneAudioTable table = FakeAudio::table();
    ASSERT_EQ(player->setAudioTable(&table), 0);
    FakeAudio::take();

    EXPECT_EQ(ToneModuleSaveCustomTone(3, SP_TEXT("x.wav")), 0);
    EXPECT_EQ(ToneModulePlayTone(2, 3, 3), 0);
    EXPECT_EQ(FakeAudio::take(), (std::vector<std::string>{"SetRingVolume 3 -1", "PlayFile x.wav -1"}));
    sp_wchar_t buffer[256] = {};
    sp_wchar_t* out = buffer;
    EXPECT_EQ(ToneModuleGetCustomTone(3, &out), 0);
    EXPECT_EQ(FakeAudio::narrow(buffer), "x.wav");
    EXPECT_EQ(ToneModuleRemoveCustomTone(3), 0);
    EXPECT_EQ(ToneModulePlayTone(2, 3, 3), 0);
    EXPECT_EQ(FakeAudio::take(), (std::vector<std::string>{"SetRingVolume 3 -1", "PlayFile media/Tone_2.wav -1"}));
    // The exports answer 0 whatever the player made of it.
    EXPECT_EQ(ToneModuleSaveCustomTone(30, SP_TEXT("x.wav")), 0);
    EXPECT_EQ(ToneModuleGetCustomTone(7, &out), 0);
    EXPECT_EQ(ToneModulePlayTone(0, -1, -1), 0);
    EXPECT_EQ(FakeAudio::take(), std::vector<std::string>{"StopPlayFile"});

    EXPECT_EQ(initialize(nullptr, &params), 0);  // a CallProcessor exists: nothing more happens
    EXPECT_EQ(gTonePlayer.load(), player);

    EXPECT_EQ(ToneModulePlayDTMF(5, 0), 0);
    EXPECT_EQ(FakeAudio::take(), std::vector<std::string>{"PlayTone media/DTMF/Tone_DTMF5.wav 0"});
    EXPECT_EQ(ToneModuleSetKeyPadMode(1), 0);
    EXPECT_EQ(ToneModuleSetProgramMode(0), 0);
    EXPECT_EQ(ToneModuleGetKeyPadMode(), 1);
    EXPECT_EQ(ToneModuleGetProgramMode(), 0);
    EXPECT_EQ(ToneModulePlayDTMF(30, 0x100), 0);  // only the low byte counts: not silent
    EXPECT_EQ(ToneModulePlayDTMF(30, 1), 1);
    EXPECT_EQ(ToneModulePlayDTMF(99, 0), 1);
    EXPECT_EQ(ToneModuleSetServiceTonePath(8), 0);
    EXPECT_EQ(ToneModulePlayServiceTone(0x92), 0);
    EXPECT_EQ(FakeAudio::take(),
              (std::vector<std::string>{"PlayTone media/Tone_Rec.wav 0", "PlayTone media/Area8/Progress_92.wav -1"}));

    EXPECT_EQ(uninitialize(), 0);
    EXPECT_EQ(gTonePlayer.load(), nullptr);
    restoreRingToneMask(savedMask);
}
