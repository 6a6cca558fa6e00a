// Every sample and every code through the frame operations, against the
// simulator's independent coder and the laws written out below.
#include "voice/g711.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <vector>

#include "sim/reference_codec.h"

namespace {

// The standard's 14-bit u-law compression: the simulator's coder rounds some
// negative samples the other way.
std::uint8_t referenceUlaw(int sample) {
    int value = sample >> 2;
    const int mask = value < 0 ? 0x7F : 0xFF;
    if (value < 0) value = -value;
    if (value > 0x1FDF) value = 0x1FDF;
    value += 0x21;
    int segment = 0;
    for (int end = 0x3F; segment < 8 && value > end; end = (end << 1) | 1) ++segment;
    if (segment == 8) return static_cast<std::uint8_t>(0x7F ^ mask);
    return static_cast<std::uint8_t>(((segment << 4) | ((value >> (segment + 1)) & 0x0F)) ^ mask);
}

// The standard's A-law expansion with the terminal's choice of mantissa
// shift (the simulator's coder has only the standard's 4).
int referenceAlawExpand(std::uint8_t code, int shift) {
    const int c = code ^ 0x55;
    const int segment = (c & 0x70) >> 4;
    int t = (c & 0x0F) << shift;
    if (segment == 0) {
        t += 8;
    } else {
        t += 0x108;
        if (segment > 1) t <<= segment - 1;
    }
    return (c & 0x80) ? t : -t;
}

// Half the width of the u-law step that holds `linear`.
int ulawHalfStep(int linear) {
    const int magnitude = std::abs(linear) + 0x84;
    int step = 8;
    for (int end = 0x100; magnitude >= end && step < 1024; end <<= 1) step <<= 1;
    return step / 2;
}

// Every 16-bit sample, then every 8-bit code, in whole frames.
std::vector<std::int16_t> allSamples() {
    std::vector<std::int16_t> samples;
    for (int s = -32768; s <= 32767; ++s) samples.push_back(static_cast<std::int16_t>(s));
    samples.resize((samples.size() + kFrameSamples - 1) / kFrameSamples * kFrameSamples, 0);
    return samples;
}

std::vector<std::uint8_t> allCodes() {
    std::vector<std::uint8_t> codes(2 * kFrameSamples, 0);
    for (int c = 0; c < 256; ++c) codes[c] = static_cast<std::uint8_t>(c);
    return codes;
}

template <typename In, typename Out, typename Convert>
std::vector<Out> byFrames(const std::vector<In>& in, Convert convert) {
    std::vector<Out> out(in.size());
    for (std::size_t at = 0; at < in.size(); at += kFrameSamples) convert(in.data() + at, out.data() + at);
    return out;
}

TEST(G711, UlawOverEverySampleAndCode) {
    const G711 g711;
    const auto samples = allSamples();
    const auto coded = byFrames<std::int16_t, std::uint8_t>(
        samples, [&](const std::int16_t* in, std::uint8_t* out) { g711.ulawCompress(out, in); });
    const auto back = byFrames<std::uint8_t, std::int16_t>(
        coded, [&](const std::uint8_t* in, std::int16_t* out) { g711.ulawExpand(in, out); });
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const int sample = samples[i];
        ASSERT_EQ(coded[i], referenceUlaw(sample)) << sample;
        ASSERT_EQ(G711::linearToUlaw(samples[i]), coded[i]) << sample;
        // Within the clipping range the round trip stays inside one step.
        if (sample >= -32635 && sample <= 32635) {
            ASSERT_LE(std::abs(back[i] - sample), ulawHalfStep(back[i]) + 4) << sample;
        }
    }
    const auto codes = allCodes();
    const auto linear = byFrames<std::uint8_t, std::int16_t>(
        codes, [&](const std::uint8_t* in, std::int16_t* out) { g711.ulawExpand(in, out); });
    for (int c = 0; c < 256; ++c) {
        ASSERT_EQ(linear[c], sim::ulawToLinear(codes[c])) << c;
        ASSERT_EQ(G711::ulawToLinear(codes[c]), linear[c]) << c;
        ASSERT_EQ(linear[c], -linear[c ^ 0x80]) << c;
        // 0x7F is negative zero; it comes back as positive zero.
        ASSERT_EQ(G711::linearToUlaw(linear[c]), c == 0x7F ? 0xFF : c) << c;
    }
    EXPECT_EQ(linear[0xFF], 0);
    EXPECT_EQ(linear[0x7F], 0);
}

// The terminal's A-law compression is the standard's for half the sample;
// its expansion takes a mantissa shift of 4 (the standard's) or 3 (6 dB
// lower), and any other shift counts as 3.
TEST(G711, AlawOverEverySampleAndCode) {
    const G711 g711;
    const auto samples = allSamples();
    const auto coded = byFrames<std::int16_t, std::uint8_t>(
        samples, [&](const std::int16_t* in, std::uint8_t* out) { g711.alawCompress(out, in); });
    const auto back = byFrames<std::uint8_t, std::int16_t>(
        coded, [&](const std::uint8_t* in, std::int16_t* out) { g711.alawExpand(in, out, 4); });
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const int sample = samples[i];
        ASSERT_EQ(coded[i], sim::alawFromLinear(static_cast<std::int16_t>(sample >> 1))) << sample;
        ASSERT_EQ(G711::linearToAlaw(samples[i]), coded[i]) << sample;
        // The step is 16 below 512, doubling per segment up to 1024.
        const int half = sample / 2;
        int step = 16;
        for (int end = 512; std::abs(half) >= end && step < 1024; end <<= 1) step <<= 1;
        ASSERT_LE(std::abs(back[i] - half), step) << sample;
    }
    EXPECT_EQ(G711::linearToAlaw(32767), 0xBA);
    EXPECT_EQ(sim::alawFromLinear(16383), 0xBA);

    const auto codes = allCodes();
    for (int shift : {3, 4, 0, 7}) {
        const auto linear = byFrames<std::uint8_t, std::int16_t>(
            codes, [&](const std::uint8_t* in, std::int16_t* out) { g711.alawExpand(in, out, shift); });
        const int effective = shift == 4 ? 4 : 3;
        for (int c = 0; c < 256; ++c) {
            ASSERT_EQ(linear[c], referenceAlawExpand(codes[c], effective)) << c << " shift " << shift;
            ASSERT_EQ(G711::alawToLinear(codes[c], shift), linear[c]) << c << " shift " << shift;
            if (shift == 4) {
                ASSERT_EQ(sim::alawFromLinear(linear[c]), c) << c;
            }
        }
        EXPECT_EQ(linear[0xD5], 8) << shift;
    }
}

}  // namespace
