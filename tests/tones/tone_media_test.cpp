// The sound files the build writes: one for every path the tables name, each
// PCM WAVE at 8 kHz, mono, 16-bit, and the DTMF files carry their key's pair.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <fstream>
#include <numbers>
#include <set>
#include <span>
#include <string>

#include "audio/riff_wave.h"
#include "support_files/goertzel.h"
#include "tones/tone_files.h"
#include "tones/tone_player_fixture.h"
#include "tones/tone_tables.h"

namespace {

const std::string kRoot = SOFTPHONE_BUILD_DIR "/";

constexpr double kDtmfLowGroup[] = {697, 770, 852, 941};
constexpr double kDtmfHighGroup[] = {1209, 1336, 1477, 1633};

// How far, in dB, the weaker of `low` and `high` stands above the strongest
// other DTMF frequency.
double dtmfMarginDb(const std::vector<std::int16_t>& samples, double low, double high) {
    double other = 1e-9;
    for (const double* group : {kDtmfLowGroup, kDtmfHighGroup})
        for (int i = 0; i < 4; ++i)
            if (group[i] != low && group[i] != high) other = std::max(other, goertzelPower(samples, group[i]));
    return 10.0 * std::log10(std::min(goertzelPower(samples, low), goertzelPower(samples, high)) / other);
}

// The samples of a file the engine's own parser takes as 8 kHz mono 16-bit
// PCM; none otherwise.
std::vector<std::int16_t> telephonySamples(const std::string& path) {
    std::ifstream in(kRoot + path, std::ios::binary);
    const std::string text((std::istreambuf_iterator<char>(in)), {});
    const std::span bytes(reinterpret_cast<const std::uint8_t*>(text.data()), text.size());
    RiffWave wave;
    if (parseRiffWave(bytes, wave) != RiffWaveResult::Ok) return {};
    const platform::WaveFormat& f = wave.format;
    if (f.formatTag != 1 || f.samplesPerSec != 8000 || f.channels != 1 || f.bitsPerSample != 16) return {};
    std::vector<std::int16_t> samples(wave.dataBytes / 2);
    std::memcpy(samples.data(), bytes.data() + wave.dataOffset, samples.size() * 2);
    return samples;
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
    for (const char* path : kToneFileNames) EXPECT_FALSE(telephonySamples(path).empty()) << path;
    for (const ToneAreaName& area : kToneAreaNames) {
        for (const ServiceToneName& tone : kServiceToneNames) {
            const sp_wchar_t* folder = tones::areaFolder(area.code);
            ASSERT_EQ(FakeAudio::narrow(folder), area.folder);
            EXPECT_FALSE(telephonySamples(std::string(area.folder) + "/" + tone.file).empty()) << tone.file;
        }
    }
}

TEST(ToneMedia, DtmfFilesCarryTheirKeysPairAndNoOther) {
    for (int key = 0; key < 12; ++key) {
        const double low = kDtmfLowGroup[key == 0 ? 3 : key <= 9 ? (key - 1) / 3 : 3];
        const double high = kDtmfHighGroup[key == 0 ? 1 : key <= 9 ? (key - 1) % 3 : key == 10 ? 0 : 2];
        const std::string path = FakeAudio::narrow(tones::keyTone(key, 0));
        SCOPED_TRACE(path);
        const std::vector<std::int16_t> samples = telephonySamples(path);
        ASSERT_FALSE(samples.empty());
        EXPECT_GT(dtmfMarginDb(samples, low, high), 20.0);
        // Long enough for any receiver: at least 40 ms of tone.
        EXPECT_GE(samples.size(), 320u);
    }
}

TEST(ToneMedia, DialToneOfEachAreaHasItsFrequency) {
    const std::pair<const char*, double> dial[] = {
        {"media/Area1", 425}, {"media/Area2", 350}, {"media/Area3", 440}, {"media/Area4", 400}, {"media/Area8", 425}};
    for (auto [folder, frequency] : dial) {
        const std::vector<std::int16_t> samples = telephonySamples(std::string(folder) + "/Progress_90.wav");
        ASSERT_FALSE(samples.empty()) << folder;
        const double at = goertzelPower(samples, frequency);
        const double off = goertzelPower(samples, frequency * 1.5);
        EXPECT_GT(10.0 * std::log10(at / off), 20.0) << folder;
    }
}
