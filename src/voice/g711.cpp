// G.711 by lookup: every conversion is one table read per sample. The
// compression tables are indexed by the sample with the bits that the
// segment search drops already shifted out, so they stay small (16 KB for
// u-law, 4 KB for A-law) and cache-resident.
#include "voice/g711.h"

#include <array>

namespace {

constexpr int kUlawClip = 0x1FDF;
constexpr int kUlawBias = 0x21;  // 0x84 in 16-bit terms
constexpr std::array<int, 8> kUlawSegmentEnds = {0x3F, 0x7F, 0xFF, 0x1FF, 0x3FF, 0x7FF, 0xFFF, 0x1FFF};
constexpr std::array<int, 8> kAlawSegmentEnds = {31, 63, 127, 255, 511, 1023, 2047, 4095};

template <std::size_t N>
constexpr int segmentOf(int value, const std::array<int, N>& ends) {
    int segment = 0;
    while (segment < static_cast<int>(N) && value > ends[segment]) ++segment;
    return segment;
}

// `scaled` is the sample shifted right by 2.
constexpr std::uint8_t ulawFromScaled(int scaled) {
    int mask = 0xFF;
    if (scaled < 0) {
        scaled = -scaled;
        mask = 0x7F;
    }
    if (scaled > kUlawClip) scaled = kUlawClip;
    scaled += kUlawBias;
    const int segment = segmentOf(scaled, kUlawSegmentEnds);
    if (segment >= 8) return static_cast<std::uint8_t>(0x7F ^ mask);
    return static_cast<std::uint8_t>(((segment << 4) | ((scaled >> (segment + 1)) & 0x0F)) ^ mask);
}

// `scaled` is the sample shifted right by 4, one more than the standard's 3.
constexpr std::uint8_t alawFromScaled(int scaled) {
    int mask = 0xD5;
    if (scaled < 0) {
        scaled = -scaled - 1;
        mask = 0x55;
    }
    const int segment = segmentOf(scaled, kAlawSegmentEnds);
    if (segment >= 8) return static_cast<std::uint8_t>(0x7F ^ mask);
    const int mantissa = segment < 2 ? (scaled >> 1) & 0x0F : (scaled >> segment) & 0x0F;
    return static_cast<std::uint8_t>(((segment << 4) | mantissa) ^ mask);
}

constexpr std::int16_t ulawDecode(std::uint8_t code) {
    const int complemented = ~code & 0xFF;
    int magnitude = ((complemented & 0x0F) << 3) + 0x84;
    magnitude <<= (complemented & 0x70) >> 4;
    return static_cast<std::int16_t>((complemented & 0x80) ? 0x84 - magnitude : magnitude - 0x84);
}

constexpr std::int16_t alawDecode(std::uint8_t code, int shift) {
    const int value = code ^ 0x55;
    int magnitude = (value & 0x0F) << shift;
    const int segment = (value & 0x70) >> 4;
    if (segment == 0) {
        magnitude += 8;
    } else {
        magnitude += 0x108;
        magnitude <<= segment - 1;
    }
    return static_cast<std::int16_t>((value & 0x80) ? magnitude : -magnitude);
}

// Indexed by (sample >> 2) + 8192.
constexpr auto kUlawCompress = [] {
    std::array<std::uint8_t, 16384> table{};
    for (int i = 0; i < 16384; ++i) table[i] = ulawFromScaled(i - 8192);
    return table;
}();

// Indexed by (sample >> 4) + 2048.
constexpr auto kAlawCompress = [] {
    std::array<std::uint8_t, 4096> table{};
    for (int i = 0; i < 4096; ++i) table[i] = alawFromScaled(i - 2048);
    return table;
}();

constexpr auto kUlawExpand = [] {
    std::array<std::int16_t, 256> table{};
    for (int i = 0; i < 256; ++i) table[i] = ulawDecode(static_cast<std::uint8_t>(i));
    return table;
}();

template <int Shift>
constexpr auto makeAlawExpand() {
    std::array<std::int16_t, 256> table{};
    for (int i = 0; i < 256; ++i) table[i] = alawDecode(static_cast<std::uint8_t>(i), Shift);
    return table;
}
constexpr auto kAlawExpandShift3 = makeAlawExpand<3>();
constexpr auto kAlawExpandShift4 = makeAlawExpand<4>();

const std::array<std::int16_t, 256>& alawExpandTable(int shift) {
    return shift == G711::kAlawShiftStandard ? kAlawExpandShift4 : kAlawExpandShift3;
}

}  // namespace

std::uint8_t G711::linearToUlaw(std::int16_t sample) {
    return kUlawCompress[(sample >> 2) + 8192];
}

std::int16_t G711::ulawToLinear(std::uint8_t code) {
    return kUlawExpand[code];
}

std::uint8_t G711::linearToAlaw(std::int16_t sample) {
    return kAlawCompress[(sample >> 4) + 2048];
}

std::int16_t G711::alawToLinear(std::uint8_t code, int shift) {
    return alawExpandTable(shift)[code];
}

void G711::ulawCompress(std::uint8_t* out, const std::int16_t* in) const {
    for (int i = 0; i < kFrameSamples; ++i) out[i] = kUlawCompress[(in[i] >> 2) + 8192];
}

void G711::alawCompress(std::uint8_t* out, const std::int16_t* in) const {
    for (int i = 0; i < kFrameSamples; ++i) out[i] = kAlawCompress[(in[i] >> 4) + 2048];
}

void G711::ulawExpand(const std::uint8_t* in, std::int16_t* out) const {
    for (int i = 0; i < kFrameSamples; ++i) out[i] = kUlawExpand[in[i]];
}

void G711::alawExpand(const std::uint8_t* in, std::int16_t* out, int shift) const {
    const auto& table = alawExpandTable(shift);
    for (int i = 0; i < kFrameSamples; ++i) out[i] = table[in[i]];
}
