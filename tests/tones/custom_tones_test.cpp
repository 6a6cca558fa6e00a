// Custom tones: saved entries by melody slot and their bits in the ring
// tones' mask.
#include <gtest/gtest.h>

#include <string>

#include "tones/tone_player_fixture.h"

namespace {

std::u16string wide(const std::string& text) {
    return std::u16string(text.begin(), text.end());
}

}  // namespace

TEST_F(TonePlayerTest, SavedToneReplacesEveryRingToneOfItsMelodyUntilRemoved) {
    ASSERT_EQ(player.saveCustomTone(3, u"x.wav"), 0);
    for (int toneId : {1, 2, 3, 17}) EXPECT_EQ(play(toneId, 3, 3), ringFile(3, "x.wav")) << toneId;
    EXPECT_EQ(play(4, 3, 3), ringFile(3, "media/Tone_4.wav"));  // not a ring tone
    EXPECT_EQ(play(2, 3, 4), ringFile(3, "media/Tone_2.wav"));  // another melody
    ASSERT_EQ(player.removeCustomTone(3), 0);
    EXPECT_EQ(play(2, 3, 3), ringFile(3, "media/Tone_2.wav"));
}

TEST_F(TonePlayerTest, MelodyNumbersMapToSlotsWhileCustomTonesTakeTheSlot) {
    ASSERT_EQ(player.saveCustomTone(8, u"slot8.wav"), 0);
    EXPECT_EQ(play(1, 2, 0x43), ringFile(1, "slot8.wav"));
    EXPECT_EQ(play(1, 2, 8), ringFile(1, "media/Tone_1.wav"));  // melody 8 is in no slot
}

TEST_F(TonePlayerTest, SavingAgainReplacesThePathOfTheOneEntry) {
    ASSERT_EQ(player.saveCustomTone(5, u"first.wav"), 0);
    ASSERT_EQ(player.saveCustomTone(5, u"second.wav"), 0);
    sp_wchar_t buffer[tones::kPathCapacity] = {};
    sp_wchar_t* out = buffer;
    EXPECT_EQ(player.getCustomTone(5, &out), 0);
    EXPECT_EQ(FakeAudio::narrow(buffer), "second.wav");
    // One removal leaves no saved entry behind.
    player.removeCustomTone(5);
    buffer[0] = u'?';
    buffer[1] = 0;
    EXPECT_EQ(player.getCustomTone(5, &out), 1);
    EXPECT_EQ(FakeAudio::narrow(buffer), "?");
}

TEST_F(TonePlayerTest, SlotOutsideTheTableOrNoPathStoresNothing) {
    const std::uint32_t before = ringToneMask();
    EXPECT_EQ(player.saveCustomTone(30, u"x.wav"), 1);
    EXPECT_EQ(player.saveCustomTone(-1, u"x.wav"), 1);
    EXPECT_EQ(player.saveCustomTone(4, nullptr), 1);
    EXPECT_EQ(ringToneMask(), before);
    EXPECT_EQ(player.removeCustomTone(30), 0);
    EXPECT_EQ(player.removeCustomTone(-2), 0);
    EXPECT_EQ(ringToneMask(), before);
    sp_wchar_t* none = nullptr;
    EXPECT_EQ(player.getCustomTone(30, &none), 1);
    EXPECT_EQ(player.getCustomTone(3, nullptr), 1);
}

TEST_F(TonePlayerTest, PathsAreCutAt255Characters) {
    const std::u16string longPath = wide(std::string(300, 'a'));
    ASSERT_EQ(player.saveCustomTone(2, longPath.c_str()), 0);
    sp_wchar_t buffer[tones::kPathCapacity + 1];
    std::fill(std::begin(buffer), std::end(buffer), u'#');
    sp_wchar_t* out = buffer;
    ASSERT_EQ(player.getCustomTone(2, &out), 0);
    EXPECT_EQ(FakeAudio::narrow(buffer), std::string(255, 'a'));
    EXPECT_EQ(buffer[tones::kPathCapacity], u'#');  // nothing written past the buffer
}

TEST_F(TonePlayerTest, SlotSixKeepsItsDefaultsFirstAndLosesThemOnRemove) {
    ASSERT_EQ(player.saveCustomTone(6, u"y.wav"), 0);
    EXPECT_EQ(play(1, 3, 6), ringFile(3, "media/Tone_9.wav"));  // the default comes first in the list
    EXPECT_EQ(play(17, 3, 6), ringFile(3, "y.wav"));
    ASSERT_EQ(player.removeCustomTone(6), 0);
    EXPECT_EQ(play(1, 3, 6), ringFile(3, "media/Tone_1.wav"));  // bit cleared: the defaults rest
    ASSERT_EQ(player.saveCustomTone(6, u"z.wav"), 0);
    EXPECT_EQ(play(1, 3, 6), ringFile(3, "media/Tone_9.wav"));
    EXPECT_EQ(play(17, 3, 6), ringFile(3, "z.wav"));
}

TEST_F(TonePlayerTest, MaskOutlivesThePlayerButTheListsDoNot) {
    ASSERT_EQ(player.saveCustomTone(9, u"kept.wav"), 0);
    player.shutdown();
    ASSERT_EQ(player.start(), 0);
    const ToneAudioTable table = FakeAudio::table();
    ASSERT_EQ(player.setAudioTable(&table), 0);
    EXPECT_NE(ringToneMask() & (1u << 9), 0u);
    EXPECT_EQ(play(1, 3, 0x44), ringFile(3, "media/Tone_1.wav"));  // the list went with the shutdown
}
