#include "voice/g711.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstdlib>

namespace {

// The companding laws written out from their description, one search per
// sample, as the reference for the tables.
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

// The standard's A-law compression (13-bit, shift by 3).
std::uint8_t referenceStandardAlaw(int sample) {
    int value = sample >> 3;
    const int mask = value >= 0 ? 0xD5 : 0x55;
    if (value < 0) value = -value - 1;
    int segment = 0;
    for (int end = 31; segment < 8 && value > end; end = (end << 1) | 1) ++segment;
    if (segment == 8) return static_cast<std::uint8_t>(0x7F ^ mask);
    const int mantissa = segment < 2 ? (value >> 1) & 0x0F : (value >> segment) & 0x0F;
    return static_cast<std::uint8_t>(((segment << 4) | mantissa) ^ mask);
}

int referenceUlawExpand(std::uint8_t code) {
    const int c = ~code & 0xFF;
    const int magnitude = (((c & 0x0F) << 3) + 0x84) << ((c >> 4) & 0x07);
    return (c & 0x80) ? 0x84 - magnitude : magnitude - 0x84;
}

// Half the width of the quantisation step that holds `linear`, u-law.
int ulawHalfStep(int linear) {
    const int magnitude = std::abs(linear) + 0x84;
    int step = 8;
    for (int end = 0x100; magnitude >= end && step < 1024; end <<= 1) step <<= 1;
    return step / 2;
}

TEST(G711, ExpandsTheDocumentedCodes) {
    EXPECT_EQ(G711::ulawToLinear(0xFF), 0);
    EXPECT_EQ(G711::ulawToLinear(0x7F), 0);
    EXPECT_EQ(G711::alawToLinear(0xD5, 4), 8);
    EXPECT_EQ(G711::alawToLinear(0xD5, 3), 8);
}

TEST(G711, CompressesFullScaleAlawAsTheStandardDoesHalfOfIt) {
    EXPECT_EQ(G711::linearToAlaw(32767), 0xBA);
    EXPECT_EQ(referenceStandardAlaw(16383), 0xBA);
}

struct UlawCase {
    int linear;
    std::uint8_t code;
};

TEST(G711, UlawCompressesKnownSamples) {
    const UlawCase cases[] = {
        {0, 0xFF},      {-1, 0x7E},    {1, 0xFF},      {4, 0xFE},    {32767, 0x80},
        {-32768, 0x00}, {32635, 0x80}, {-32635, 0x00}, {1000, 0xCE}, {-1000, 0x4E},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(G711::linearToUlaw(static_cast<std::int16_t>(c.linear)), c.code) << c.linear;
    }
}

struct AlawCase {
    std::uint8_t code;
    int shift4;
    int shift3;
};

TEST(G711, AlawExpandsWithEitherMantissaShift) {
    const AlawCase cases[] = {
        {0xD5, 8, 8},       {0x55, -8, -8},       {0xD4, 24, 16},         {0xC5, 264, 264},
        {0xE5, 1056, 1056}, {0xAA, 32256, 24576}, {0x2A, -32256, -24576},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(G711::alawToLinear(c.code, 4), c.shift4) << int{c.code};
        EXPECT_EQ(G711::alawToLinear(c.code, 3), c.shift3) << int{c.code};
    }
}

TEST(G711, UnknownAlawShiftCountsAsThree) {
    for (int code = 0; code < 256; ++code) {
        const auto c = static_cast<std::uint8_t>(code);
        EXPECT_EQ(G711::alawToLinear(c, 7), G711::alawToLinear(c, 3));
        EXPECT_EQ(G711::alawToLinear(c, 0), G711::alawToLinear(c, 3));
    }
}

TEST(G711, UlawMatchesTheReferenceOverEverySample) {
    for (int sample = -32768; sample <= 32767; ++sample) {
        const std::uint8_t code = G711::linearToUlaw(static_cast<std::int16_t>(sample));
        ASSERT_EQ(code, referenceUlaw(sample)) << sample;
        const int back = G711::ulawToLinear(code);
        ASSERT_EQ(back, referenceUlawExpand(code)) << sample;
        // Within the clipping range the round trip stays inside one step.
        if (sample >= -32635 && sample <= 32635) {
            ASSERT_LE(std::abs(back - sample), ulawHalfStep(back) + 4) << sample;
        }
    }
}

TEST(G711, UlawCodesSurviveExpandAndCompress) {
    for (int code = 0; code < 256; ++code) {
        const auto c = static_cast<std::uint8_t>(code);
        const std::uint8_t again = G711::linearToUlaw(G711::ulawToLinear(c));
        // 0x7F is negative zero; it comes back as positive zero.
        EXPECT_EQ(again, code == 0x7F ? 0xFF : c) << code;
        EXPECT_EQ(G711::ulawToLinear(c), -G711::ulawToLinear(static_cast<std::uint8_t>(c ^ 0x80))) << code;
    }
}

TEST(G711, AlawCompressIsTheStandardsCodeForHalfTheSample) {
    for (int sample = -32768; sample <= 32767; ++sample) {
        ASSERT_EQ(G711::linearToAlaw(static_cast<std::int16_t>(sample)), referenceStandardAlaw(sample >> 1)) << sample;
    }
}

TEST(G711, AlawRoundTripWithStandardShiftGivesHalfTheSignal) {
    for (int sample = -32768; sample <= 32767; ++sample) {
        const int back = G711::alawToLinear(G711::linearToAlaw(static_cast<std::int16_t>(sample)), 4);
        const int half = sample / 2;
        // The step is 16 below 512, doubling per segment up to 1024.
        int step = 16;
        for (int end = 512; std::abs(half) >= end && step < 1024; end <<= 1) step <<= 1;
        ASSERT_LE(std::abs(back - half), step) << sample;
    }
}

TEST(G711, AlawCodesSurviveStandardExpandAndCompressOfDoubleTheSample) {
    for (int code = 0; code < 256; ++code) {
        const auto c = static_cast<std::uint8_t>(code);
        const int linear = G711::alawToLinear(c, 4);
        EXPECT_EQ(referenceStandardAlaw(linear), c) << code;
    }
}

TEST(G711, FrameOperationsConvertEachSampleAlike) {
    G711 g711;
    std::array<std::int16_t, G711::kFrameSamples> pcm{};
    for (int i = 0; i < G711::kFrameSamples; ++i) pcm[i] = static_cast<std::int16_t>(i * 409 - 32768);
    std::array<std::uint8_t, G711::kFrameSamples> ulaw{};
    std::array<std::uint8_t, G711::kFrameSamples> alaw{};
    g711.ulawCompress(ulaw.data(), pcm.data());
    g711.alawCompress(alaw.data(), pcm.data());
    std::array<std::int16_t, G711::kFrameSamples> fromUlaw{};
    std::array<std::int16_t, G711::kFrameSamples> fromAlaw3{};
    std::array<std::int16_t, G711::kFrameSamples> fromAlaw4{};
    g711.ulawExpand(ulaw.data(), fromUlaw.data());
    g711.alawExpand(alaw.data(), fromAlaw3.data(), 3);
    g711.alawExpand(alaw.data(), fromAlaw4.data(), 4);
    for (int i = 0; i < G711::kFrameSamples; ++i) {
        EXPECT_EQ(ulaw[i], G711::linearToUlaw(pcm[i]));
        EXPECT_EQ(alaw[i], G711::linearToAlaw(pcm[i]));
        EXPECT_EQ(fromUlaw[i], G711::ulawToLinear(ulaw[i]));
        EXPECT_EQ(fromAlaw3[i], G711::alawToLinear(alaw[i], 3));
        EXPECT_EQ(fromAlaw4[i], G711::alawToLinear(alaw[i], 4));
    }
}

}  // namespace
