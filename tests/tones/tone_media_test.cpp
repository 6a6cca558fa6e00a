// The sound files the build writes: one for every path the tables name, each
// PCM WAVE at 8 kHz, mono, 16-bit, and the DTMF files carry their key's pair.
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "support_files/goertzel.h"
#include "support_files/wave_file.h"
#include "tones/fake_audio_table.h"
#include "tones/tone_files.h"
#include "tones/tone_tables.h"

namespace {

const std::string kRoot = SOFTPHONE_BUILD_DIR "/";

void expectTelephonyWave(const std::string& path) {
    const WaveFile wave = readWaveFile(kRoot + path);
    ASSERT_TRUE(wave.ok) << path;
    EXPECT_EQ(wave.formatTag, 1) << path;
    EXPECT_EQ(wave.sampleRate, 8000) << path;
    EXPECT_EQ(wave.channels, 1) << path;
    EXPECT_EQ(wave.bitsPerSample, 16) << path;
    EXPECT_FALSE(wave.samples.empty()) << path;
}

}  // namespace

TEST(ToneMedia, TablesNameOnlyListedFiles) {
    std::set<std::string> listed(std::begin(kToneFileNames), std::end(kToneFileNames));
    std::set<std::string> named;
    for (int key = 0; key < tones::kKeyToneRows; ++key)
        for (int column = 0; column < tones::kKeyToneColumns; ++column)
            if (const sp_wchar_t* file = tones::keyTone(key, column)) named.insert(FakeAudio::narrow(file));
    for (int id = tones::kFirstToneId; id <= tones::kLastToneId; ++id)
        named.insert(FakeAudio::narrow(tones::toneRow(id)->file));
    for (const std::string& path : named) EXPECT_TRUE(listed.count(path)) << path;
    EXPECT_EQ(named.size(), listed.size());  // and nothing listed goes unused
}

TEST(ToneMedia, EveryNamedFileIsTelephonyPcm) {
    for (const char* path : kToneFileNames) expectTelephonyWave(path);
    for (const ToneAreaName& area : kToneAreaNames) {
        for (const ServiceToneName& tone : kServiceToneNames) {
            const sp_wchar_t* folder = tones::areaFolder(area.code);
            ASSERT_EQ(FakeAudio::narrow(folder), area.folder);
            expectTelephonyWave(std::string(area.folder) + "/" + tone.file);
        }
    }
}

TEST(ToneMedia, DtmfFilesCarryTheirKeysPairAndNoOther) {
    const char keys[] = "0123456789";
    for (int key = 0; key < 12; ++key) {
        const double low = kDtmfLowGroup[key == 0 ? 3 : key <= 9 ? (key - 1) / 3 : 3];
        const double high = kDtmfHighGroup[key == 0 ? 1 : key <= 9 ? (key - 1) % 3 : key == 10 ? 0 : 2];
        const std::string path = FakeAudio::narrow(tones::keyTone(key, 0));
        SCOPED_TRACE(path + " key " + (key <= 9 ? std::string(1, keys[key]) : key == 10 ? "*" : "#"));
        const WaveFile wave = readWaveFile(kRoot + path);
        ASSERT_TRUE(wave.ok);
        const DtmfDetection d = detectDtmf(wave.samples);
        EXPECT_EQ(d.low, low);
        EXPECT_EQ(d.high, high);
        EXPECT_GT(d.marginDb, 20.0);
        // Long enough for any receiver: at least 40 ms of tone.
        EXPECT_GE(wave.samples.size(), 320u);
    }
}

TEST(ToneMedia, DialToneOfEachAreaHasItsFrequency) {
    const std::pair<const char*, double> dial[] = {
        {"media/Area1", 425}, {"media/Area2", 350}, {"media/Area3", 440}, {"media/Area4", 400}, {"media/Area8", 425}};
    for (auto [folder, frequency] : dial) {
        const WaveFile wave = readWaveFile(kRoot + folder + "/Progress_90.wav");
        ASSERT_TRUE(wave.ok) << folder;
        const double at = goertzelPower(wave.samples, frequency);
        const double off = goertzelPower(wave.samples, frequency * 1.5);
        EXPECT_GT(10.0 * std::log10(at / off), 20.0) << folder;
    }
}
