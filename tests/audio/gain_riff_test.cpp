// The two pure parts of the sound engine: the gain and the RIFF parser.
#include <gtest/gtest.h>

#include <cstring>

#include "audio/gain.h"
#include "audio/riff_wave.h"
#include "support_files/wave_file.h"

namespace {

struct GainCase {
    int level;
    float step;
    std::int16_t in;
    std::int16_t out;
};

TEST(Gain, ScalesAndCutsEachSampleOnItsOwnSideOfZero) {
    const GainCase cases[] = {
        {0, 0.6f, 1000, 1000},       // level 0 is unity
        {1, 0.6f, 1000, 2200},       // speaker and ring, level 1: 2.2
        {12, 0.6f, 1000, 8800},      // level 12: 8.8
        {1, 0.25f, 1000, 1500},      // microphone, level 1: 1.5
        {12, 0.25f, 1000, 4250},     // level 12: 4.25
        {13, 0.6f, 1000, 1250},      // above 12: 1.25, quieter than level 1
        {-2, 0.6f, 1000, 1250},      // below -1 likewise
        {-1, 0.6f, 1000, 1000},      // -1 gives (0 x step) + 1
        {1, 0.6f, 32767, 32767},     // cut at the top
        {1, 0.6f, -32768, -32768},   // and at the bottom
        {12, 0.6f, -20000, -32768},  //
        {1, 0.6f, -1001, -2202},     // truncation towards zero
        {1, 0.6f, 0, 0},             //
        {5, -1.0f, 1000, 0},         // a negative factor never crosses zero
        {5, -1.0f, -1000, 0},        //
    };
    for (const GainCase& c : cases) {
        std::int16_t sample = c.in;
        ASSERT_EQ(applyGain(&sample, 2, c.level, c.step), 0);
        EXPECT_EQ(sample, c.out) << "level " << c.level << " step " << c.step << " in " << c.in;
    }
}

TEST(Gain, RefusesNoDataAndIgnoresAnOddByte) {
    std::int16_t s[2] = {100, 100};
    EXPECT_EQ(applyGain(nullptr, 4, 1, 0.6f), 1);
    EXPECT_EQ(applyGain(s, 0, 1, 0.6f), 1);
    EXPECT_EQ(applyGain(s, 3, 1, 0.6f), 0);
    EXPECT_EQ(s[0], 220);
    EXPECT_EQ(s[1], 100);
}

struct RiffCase {
    const char* name;
    std::vector<std::uint8_t> file;
    RiffWaveResult result;
};

std::vector<std::uint8_t> withData(std::vector<std::uint8_t> chunk, std::uint32_t claimed) {
    std::memcpy(chunk.data() + 4, &claimed, 4);
    return chunk;
}

TEST(RiffWave, FindsFormatAndSamplesOrRefuses) {
    using wav::riff;
    const std::vector<std::int16_t> two = {1, 2};
    std::vector<std::uint8_t> odd = {'L', 'I', 'S', 'T', 3, 0, 0, 0, 'a', 'b', 'c', 0};  // pad byte
    std::vector<std::uint8_t> shortFmt = wav::fmtChunk();
    shortFmt[4] = 14;
    shortFmt.resize(8 + 14);
    std::vector<std::uint8_t> extensible = wav::fmtChunk(0xFFFE);
    std::vector<std::uint8_t> badAlign = wav::fmtChunk(1, 2, 8000, 16);
    badAlign[8 + 12] = 3;
    std::vector<std::uint8_t> truncated = wav::pcmFile(wav::ramp(100));
    truncated.resize(truncated.size() - 10);
    std::vector<std::uint8_t> oneByte = wav::dataChunk(two);
    oneByte[4] = 1;
    oneByte.resize(9);

    const RiffCase cases[] = {
        {"plain", wav::pcmFile(two), RiffWaveResult::Ok},
        {"data before fmt", riff({wav::dataChunk(two), wav::fmtChunk()}), RiffWaveResult::Ok},
        {"odd chunk padded", riff({odd, wav::fmtChunk(), wav::dataChunk(two)}), RiffWaveResult::Ok},
        {"empty", {}, RiffWaveResult::NotRiff},
        {"not riff", {'R', 'I', 'F', 'X', 4, 0, 0, 0, 'W', 'A', 'V', 'E'}, RiffWaveResult::NotRiff},
        {"not wave", riff({wav::fmtChunk(), wav::dataChunk(two)}, "AVI "), RiffWaveResult::NotWave},
        {"no fmt", riff({wav::dataChunk(two)}), RiffWaveResult::NoFormat},
        {"fmt under 16", riff({shortFmt, wav::dataChunk(two)}), RiffWaveResult::ShortFormat},
        {"fmt past the file", riff({withData(wav::fmtChunk(), 4000)}), RiffWaveResult::ShortFormat},
        {"compressed", riff({wav::fmtChunk(6), wav::dataChunk(two)}), RiffWaveResult::NotPcm},
        {"extensible", riff({extensible, wav::dataChunk(two)}), RiffWaveResult::NotPcm},
        {"bad block align", riff({badAlign, wav::dataChunk(two)}), RiffWaveResult::BadFormat},
        {"8-bit stereo", riff({wav::fmtChunk(1, 2, 8000, 8), wav::dataChunk(two)}), RiffWaveResult::Ok},
        {"24-bit", riff({wav::fmtChunk(1, 1, 8000, 24), wav::dataChunk(two)}), RiffWaveResult::BadFormat},
        {"zero rate", riff({wav::fmtChunk(1, 1, 0), wav::dataChunk(two)}), RiffWaveResult::BadFormat},
        {"no data", riff({wav::fmtChunk()}), RiffWaveResult::NoData},
        {"data under one sample", riff({wav::fmtChunk(), oneByte}), RiffWaveResult::NoData},
        {"data past the file", truncated, RiffWaveResult::DataPastEnd},
        {"huge data size", riff({wav::fmtChunk(), withData(wav::dataChunk(two), 0xFFFFFFF0u)}),
         RiffWaveResult::DataPastEnd},
    };
    for (const RiffCase& c : cases) {
        RiffWave out;
        EXPECT_EQ(parseRiffWave(c.file, out), c.result) << c.name;
        if (c.result == RiffWaveResult::Ok) {
            EXPECT_LE(out.dataOffset + out.dataBytes, c.file.size()) << c.name;
            EXPECT_EQ(out.dataBytes % out.format.blockAlign, 0u) << c.name;
        }
    }
}

TEST(RiffWave, GivesTheSamplesAndADerivedRate) {
    std::vector<std::uint8_t> file = wav::pcmFile(wav::ramp(160), 16000);
    file[12 + 8 + 8] = 0;  // a wrong average rate in the file
    RiffWave out;
    ASSERT_EQ(parseRiffWave(file, out), RiffWaveResult::Ok);
    EXPECT_EQ(out.format.samplesPerSec, 16000u);
    EXPECT_EQ(out.format.avgBytesPerSec, 32000u);
    EXPECT_EQ(out.dataBytes, 320u);
    std::int16_t first = 0;
    std::memcpy(&first, file.data() + out.dataOffset, 2);
    EXPECT_EQ(first, wav::ramp(1)[0]);
}

}  // namespace
